// The mail commands of the corvel binary end to end: the first profile, folders, items, show,
// watch.
#include "CliTestSupport.h"
#include "cli/clsRunLock.h"

class MailCommands : public clsCorvelCommandTest {};

TEST_F(MailCommands, AFirstRunMakesADefaultProfileWhoseMailTheCommandsRead) {
    EXPECT_EQ(Must({"folders"}),
              "\\\\Mailbox\n  \\\\Mailbox\\Deleted Items\n  \\\\Mailbox\\Drafts\n  "
              "\\\\Mailbox\\Inbox\n  \\\\Mailbox\\Junk E-mail\n  \\\\Mailbox\\Outbox\n  "
              "\\\\Mailbox\\Sent Items\n");
    EXPECT_TRUE(std::filesystem::is_directory(DefaultMaildir() / "cur"));
    EXPECT_EQ(Run({"profile", "list"}).Out,
              "Default (default)\t" + DefaultMaildir().string() + "\n");

    // Mail another program delivered.
    Must({"folders", "create", "\\\\Mailbox\\Inbox\\Clients\\Acme"});
    std::ofstream(DefaultMaildir() / ".INBOX.Clients.Acme" / "cur" / "1.A.host:2,S")
        << "From: =?ISO-8859-1?Q?Ren=E9?= <rene@example.fr>\nTo: Bob <bob@example.net>\n"
           "Subject: =?UTF-8?B?w4ljaMOpYW5jZQ==?=\n\nPayez.\n";
    EXPECT_EQ(Must({"items", "Acme"}),
              "1\tINBOX/Clients/Acme/1.A.host\tMailItem\trene@example.fr\tÉchéance\n");
    const std::string show = Must({"show", "INBOX/Clients/Acme/1.A.host"});
    for (const char* expected : {"Subject: Échéance\n", "From: René <rene@example.fr>\n",
                                 "Recipient: Bob <bob@example.net>\n", "Unread: no\n",
                                 "Folder: \\\\Mailbox\\Inbox\\Clients\\Acme\n", "\nPayez.\n"}) {
        EXPECT_TRUE(Holds(show, expected)) << expected << show;
    }
}

TEST_F(MailCommands, WatchedFoldersAreChangedOnlyWhileNoDaemonRuns) {
    const std::string added = Must({"watch", "add", "Inbox"});
    EXPECT_TRUE(Holds(added, "Watching \\\\Mailbox\\Inbox\n")) << added;
    EXPECT_TRUE(Holds(added, "\"Enable background check\" true")) << "no hint while it is off";
    Must({"options", "set", "Rules Engine", "Enable background check", "true"});
    EXPECT_EQ(Must({"watch", "add", "Inbox", "--interval", "40"}),
              "\\\\Mailbox\\Inbox is watched already; interval now 40 s\n");
    EXPECT_EQ(Must({"watch", "list"}), "\\\\Mailbox\\Inbox\t40 s\n");

    clsRunLock daemon(DataFolder());  // what `corvel run` holds while it works
    ASSERT_TRUE(daemon.Acquire());
    const clsRun refused = Run({"watch", "remove", "Inbox"});
    EXPECT_EQ(refused.ExitCode, 1);
    EXPECT_TRUE(Holds(refused.Err, "process " + std::to_string(getpid()))) << refused.Err;
    EXPECT_EQ(Must({"watch", "list"}), "\\\\Mailbox\\Inbox\t40 s\n");
}
