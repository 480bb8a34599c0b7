// Blocked senders: the list, addresses built to break its queries, and mail diverted to Junk.
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
