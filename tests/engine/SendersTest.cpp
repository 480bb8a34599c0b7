// Blocked senders, and the rules made from a message with the folder guessed for it.
#include "EngineTestSupport.h"

TEST(BlockedSenders, AddRemoveAndDivertToJunk) {
    clsEngineFixture f;
    f.Start();
    classCorvel& engine = *f.Engine;
    EXPECT_TRUE(engine.AddJunkSenderEmail("spam@example.org"));
    EXPECT_FALSE(engine.AddJunkSenderEmail("spam@example.org"));  // the key refuses a second
    EXPECT_TRUE(engine.AddJunkSenderEmail("other@example.org"));
    EXPECT_EQ(engine.JunkAddressCount(), 2);
    EXPECT_TRUE(engine.IsJunkSender("SPAM@example.org"));  // the database ignores case
    EXPECT_FALSE(engine.IsJunkSender("pam@example.org"));
    EXPECT_FALSE(engine.IsJunkSender(""));
    for (const char* hostile : {"x\" OR \"1\"=\"1", "a\"b@example.org", "x@y.z\"); DELETE"}) {
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
                      "Couldn't determine the sender of the email.  Cannot add to Junk "
                      "list."));
    EXPECT_FALSE(engine.ProcessJunk(nobody, true));
}

TEST(QuickFile, GuessesAFolderAndFilesTheSenderOrTheRecipientsByRule) {
    clsEngineFixture f;
    f.Start({"Inbox/Acme", "Inbox/Invoices", "Inbox/Travel", "Archive/Widgets"});
    classCorvel& engine = *f.Engine;
    struct {
        const char* From;
        const char* Subject;
        const char* Expected;
    } const cases[] = {
        {"ann@acme.widgets.example", "hello", "\\\\Mailbox\\Inbox\\Acme"},
        {"ann@mail.example", "Your invoices for May", "\\\\Mailbox\\Inbox\\Invoices"},
        {"ann@mail.example", "travel and invoices", "\\\\Mailbox\\Inbox\\Travel"},
        {"ann@mail.example", "nothing fits", ""},
    };
    for (const auto& c : cases) {
        clsMailItem item = f.DeliverMail(c.Subject, "x", c.From);
        EXPECT_EQ(engine.FindBestFolderMatch(item), c.Expected) << c.From << " " << c.Subject;
    }
    // By folder names: the sender's address weighs more than the subject, whatever the order.
    clsMailItem mixed = f.DeliverMail("Travel plans", "x", "sales@widgets.example");
    EXPECT_EQ(engine.FindBestFolderMatchByFolder(mixed), "\\\\Mailbox\\Archive\\Widgets");
    clsMailItem subjectOnly = f.DeliverMail("Travel plans", "x", "sales@mail.example");
    EXPECT_EQ(engine.FindBestFolderMatchByFolder(subjectOnly), "\\\\Mailbox\\Inbox\\Travel");

    // Filing rules for the sender, or on sending for each recipient.
    const std::string acme = "\\\\Mailbox\\Inbox\\Acme";
    clsMailItem received = f.DeliverMail("hi", "x", "Ann <ann@acme.example>",
                                         "me@example.org, Bob <bob@acme.example>");
    ASSERT_TRUE(engine.CreateFileRule(received, acme, true));
    ASSERT_TRUE(engine.CreateFileRule(received, acme, true));  // the same rule again
    ASSERT_TRUE(engine.CreateFileRule(received, acme, false));
    EXPECT_EQ(engine.InboxRulesCount(), 1);
    EXPECT_EQ(engine.SentRulesCount(), 2);
    clsRuleRecord rule;
    ASSERT_TRUE(engine.RulesDatabase().GetRule(1, rule));
    EXPECT_EQ(rule.RuleName, "Move messages from ann@acme.example");
    EXPECT_EQ(classRulesDatabase::RuleSingleLineDescription(rule),
              "On arrival, if from ann@acme.example move to " + acme);
    engine.RulesDatabase().SaveOptionBoolean("Quick File", "Create Copy Rule", true);
    clsMailItem other = f.DeliverMail("hi", "x", "Cy <cy@acme.example>");
    ASSERT_TRUE(engine.CreateFileRule(other, acme, true));
    ASSERT_TRUE(engine.RulesDatabase().GetRule(4, rule));
    EXPECT_TRUE(rule.Actions.at(0).Copy);
}
