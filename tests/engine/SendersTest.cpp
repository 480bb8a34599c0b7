// Blocked senders (the list, addresses built to break its queries, mail diverted to Junk) and
// quick filing (a folder guessed for a message, rules made from it).
#include <tuple>

#include "EngineTestSupport.h"

TEST(BlockedSenders, AddRemoveAndDivertToJunk) {
    clsEngineFixture f;
    f.Start();
    classCorvel& engine = *f.Engine;
    EXPECT_TRUE(engine.AddJunkSenderEmail("spam@example.org"));
    EXPECT_FALSE(engine.AddJunkSenderEmail("spam@example.org"));  // the key refuses a second
    EXPECT_TRUE(engine.AddJunkSenderEmail("other@example.org"));
    EXPECT_TRUE(engine.IsJunkSender("SPAM@example.org"));  // the database ignores case
    EXPECT_FALSE(engine.IsJunkSender("pam@example.org"));
    for (const char* hostile : {"x\" OR \"1\"=\"1", "x@y.z\"); DELETE"}) {
        EXPECT_FALSE(engine.AddJunkSenderEmail(hostile)) << hostile;
        EXPECT_FALSE(engine.RemoveJunkSenderEmail(hostile)) << hostile;
        EXPECT_FALSE(engine.IsJunkSender(hostile)) << hostile;
    }
    EXPECT_TRUE(engine.RemoveJunkSenderEmail("spam@example.org"));
    EXPECT_EQ(engine.JunkAddressCount(), 1);

    clsMailItem item = f.DeliverMail("buy now", "x", "Other <other@example.org>");
    EXPECT_FALSE(engine.ProcessJunk(item, true)) << "\"Junk List\" is off";
    engine.RulesDatabase().SaveOptionBoolean("Filters", "Junk List", true);
    EXPECT_FALSE(engine.ProcessJunk(item)) << "check junk is off";
    EXPECT_TRUE(engine.ProcessJunk(item, true));
    const auto junk = f.Mapi().GetDefaultFolder(DefaultFolder::Junk);
    EXPECT_EQ(f.Subjects(junk->EntryID()), (std::vector<std::string>{"buy now"}));

    clsMailItem nobody = f.DeliverMail("no sender", "x", "Nobody <>");
    engine.AddJunkSender(nobody);
    EXPECT_EQ(engine.JunkAddressCount(), 1);
    EXPECT_TRUE(Holds(f.LogText(),
                      "Couldn't determine the sender of the email.  Cannot add to Junk list."));
}

TEST(QuickFile, GuessesAFolderAndFilesTheSenderOrTheRecipientsByRule) {
    clsEngineFixture f;
    f.Start({"Inbox/Acme", "Inbox/Invoices", "Inbox/Travel", "Archive/Widgets"});
    classCorvel& engine = *f.Engine;
    for (const auto& [from, subject, expected] :
         {std::tuple{"ann@acme.widgets.example", "hello", "\\\\Mailbox\\Inbox\\Acme"},
          {"ann@mail.example", "travel and invoices", "\\\\Mailbox\\Inbox\\Travel"},
          {"ann@mail.example", "nothing fits", ""}}) {
        clsMailItem item = f.DeliverMail(subject, "x", from);
        EXPECT_EQ(engine.FindBestFolderMatch(item), expected) << from << " " << subject;
    }
    // By folder names: the sender's address weighs more than the subject.
    clsMailItem mixed = f.DeliverMail("Travel plans", "x", "sales@widgets.example");
    EXPECT_EQ(engine.FindBestFolderMatchByFolder(mixed), "\\\\Mailbox\\Archive\\Widgets");

    // Filing rules for the sender, or on sending for each recipient; the same rule only once.
    const std::string acme = "\\\\Mailbox\\Inbox\\Acme";
    clsMailItem received = f.DeliverMail("hi", "x", "Ann <ann@acme.example>",
                                         "me@example.org, Bob <bob@acme.example>");
    ASSERT_TRUE(engine.CreateFileRule(received, acme, true));
    ASSERT_TRUE(engine.CreateFileRule(received, acme, true));
    ASSERT_TRUE(engine.CreateFileRule(received, acme, false));
    EXPECT_EQ(engine.InboxRulesCount(), 1);
    EXPECT_EQ(engine.SentRulesCount(), 2);
    clsRuleRecord rule;
    ASSERT_TRUE(engine.RulesDatabase().GetRule(1, rule));
    EXPECT_EQ(rule.RuleName, "Move messages from ann@acme.example");
    EXPECT_EQ(classRulesDatabase::RuleSingleLineDescription(rule),
              "On arrival, if from ann@acme.example move to " + acme);
}
