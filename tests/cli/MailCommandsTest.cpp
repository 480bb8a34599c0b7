// The mail commands of the corvel binary end to end: profiles, folders, items, show.
#include "CliTestSupport.h"

class MailCommands : public clsCorvelCommandTest {};

TEST_F(MailCommands, AFirstRunMakesADefaultProfileOnAMaildirInTheDataFolder) {
    const clsRun folders = Run({"folders"});
    ASSERT_EQ(folders.ExitCode, 0) << folders.Err;
    EXPECT_EQ(folders.Out,
              "\\\\Mailbox\n  \\\\Mailbox\\Deleted Items\n  \\\\Mailbox\\Drafts\n  "
              "\\\\Mailbox\\Inbox\n  \\\\Mailbox\\Junk E-mail\n  \\\\Mailbox\\Outbox\n  "
              "\\\\Mailbox\\Sent Items\n");
    EXPECT_TRUE(std::filesystem::is_directory(DefaultMaildir() / "cur"));
    EXPECT_EQ(Run({"profile", "list"}).Out,
              "Default (default)\t" + DefaultMaildir().string() + "\n");
}

TEST_F(MailCommands, ItemsAndShowReadWhatAnotherProgramDelivered) {
    ASSERT_EQ(Run({"folders", "create", "\\\\Mailbox\\Inbox\\Clients\\Acme"}).ExitCode, 0);
    const std::filesystem::path acme = DefaultMaildir() / ".INBOX.Clients.Acme";
    std::ofstream(acme / "cur" / "1.A.host:2,S")
        << "From: =?ISO-8859-1?Q?Ren=E9?= <rene@example.fr>\nTo: Bob <bob@example.net>\n"
           "Subject: =?UTF-8?B?w4ljaMOpYW5jZQ==?=\n\nPayez.\n";
    const clsRun items = Run({"items", "Acme"});
    ASSERT_EQ(items.ExitCode, 0) << items.Err;
    EXPECT_EQ(items.Out, "1\tINBOX/Clients/Acme/1.A.host\tMailItem\trene@example.fr\tÉchéance\n");
    EXPECT_EQ(Run({"folders", "find", "cme"}).Out, "\\\\Mailbox\\Inbox\\Clients\\Acme\n");

    const clsRun show = Run({"show", "INBOX/Clients/Acme/1.A.host"});
    ASSERT_EQ(show.ExitCode, 0) << show.Err;
    for (const char* expected : {"Subject: Échéance\n", "From: René <rene@example.fr>\n",
                                 "Recipient: Bob <bob@example.net>\n", "Unread: no\n",
                                 "Folder: \\\\Mailbox\\Inbox\\Clients\\Acme\n", "\nPayez.\n"}) {
        EXPECT_NE(show.Out.find(expected), std::string::npos) << expected << show.Out;
    }
    EXPECT_EQ(Run({"items", "Acme", "--limit", "0"}).Out, "");
}

TEST_F(MailCommands, ProfilesAreAddedShownAndChosen) {
    const std::filesystem::path work = mFolder.Path() / "Work Mail";
    const clsRun add =
        Run({"profile", "add", "Work", "--maildir", work.string(), "--store-name", "Work",
             "--transport", "smtp://mail.example.org:587", "--smtp-user", "me",
             "--password-command", "echo secret", "--address", "me@example.org", "--default"});
    ASSERT_EQ(add.ExitCode, 0) << add.Err;
    const clsRun show = Run({"profile", "show", "Work"});
    for (const char* expected : {"Name: Work (default)\n", "Store name: Work\n",
                                 "Transport: smtp://mail.example.org:587\n", "SMTP user: me\n",
                                 "Address: me@example.org\n"}) {
        EXPECT_NE(show.Out.find(expected), std::string::npos) << expected << show.Out;
    }
    EXPECT_NE(Run({"folders"}).Out.find("\\\\Work\\Inbox"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_directory(work / "cur"));
    EXPECT_NE(Run({"--profile", "Nobody", "folders"}).Err.find("corvel profile list"),
              std::string::npos);
    EXPECT_NE(Run({"profile", "add", "Bad", "--maildir", "x", "--transport", "ftp://x"}).ExitCode,
              0);
}

TEST_F(MailCommands, UnknownItemsAndFoldersAreReportedWithWhatToDo) {
    struct Case {
        std::vector<std::string> Args;
        std::string Message;
    };
    for (const Case& c : {Case{{"show", "INBOX/no-such-item"}, "corvel items FOLDER"},
                          Case{{"items", "Nowhere"}, "corvel folders"},
                          Case{{"folders", "create", "Relative"}, "full path"},
                          Case{{"folders", "create", "\\\\Mailbox\\a.b"}, "cannot create"},
                          Case{{"profile", "show", "Nobody"}, "corvel profile list"}}) {
        const clsRun run = Run(c.Args);
        EXPECT_NE(run.ExitCode, 0) << c.Args.front();
        EXPECT_NE(run.Err.find(c.Message), std::string::npos) << run.Err;
    }
}
