// Start-up: the data folder, settings and their stores, the folder cache, and the counters.
#include "EngineTestSupport.h"

TEST(EngineStart, SettingsAreStoredWhereTheyBelongAndReadAtTheNextStart) {
    clsEngineFixture f;
    f.Start();
    classCorvel& engine = *f.Engine;
    EXPECT_EQ(engine.RulesLocation(), f.DataFolder);
    EXPECT_EQ(engine.RulesDatabase().ReadOption("Antispam", "Minimum Spam Score", ""), "0.8");
    EXPECT_EQ(engine.RulesDatabase().ReadOption("Antispam", "Maximum Ham Score", ""), "0.2");
    engine.SetDuplicateCheck(true);
    EXPECT_EQ(f.Settings.ReadText("Options", "Skip Duplicate Check", ""), "false");
    engine.SetDuplicateCheck(false);
    EXPECT_EQ(f.Settings.ReadText("Options", "Skip Duplicate Check", ""), "true");
    engine.SetProcessDelay(30);
    EXPECT_EQ(engine.RulesDatabase().ReadOption("Rules Engine", "Process Delay", ""), "30");
    engine.Setenabled(true);
    engine.SetSpamEngineEnabled(true);
    engine.SetSearchAllMailboxes(true);  // the settings store only: gone at the next start
    EXPECT_EQ(f.Settings.ReadText("Options", "Multiple Mailbox Search", ""), "true");
    engine.Quit();
    EXPECT_TRUE(Holds(f.LogText(), "Corvel->Quit: Corvel engine stopped."));

    f.Start();
    EXPECT_EQ(f.Engine->ProcessDelay(), 30);
    EXPECT_TRUE(f.Engine->enabled());
    EXPECT_TRUE(f.Engine->SpamEngineEnabled());
    EXPECT_FALSE(f.Engine->DuplicateCheck());
    EXPECT_FALSE(f.Engine->SearchAllMailboxes());
}

TEST(EngineStart, DataFolderFromProfileSupportOrTheStoredLocation) {
    clsEngineFixture f;
    const std::filesystem::path stored = f.Folder.Path() / "stored";
    f.Settings.SaveText("Rules", "Data File Location", stored.string());
    f.Settings.SaveBoolean("Rules", "Profile Support", true);
    f.Start();
    EXPECT_EQ(f.Engine->RulesLocation(), stored / "Test");  // the namespace's profile is "Test"
    EXPECT_TRUE(std::filesystem::exists(stored / "Test" / "Rules.mdb"));
    f.Engine->SetOutlookProfileSupport(false);
    f.Start();
    EXPECT_EQ(f.Engine->RulesLocation(), stored);
    EXPECT_TRUE(f.Engine->ChangeRulesLocation(f.Folder.Path() / "moved"));
    EXPECT_TRUE(std::filesystem::exists(f.Folder.Path() / "moved" / "Rules.mdb"));
    EXPECT_EQ(f.Settings.ReadText("Rules", "Data File Location", ""),
              (f.Folder.Path() / "moved").string());
}

TEST(EngineStart, AValidCacheIsNotBuiltAgain) {
    clsEngineFixture f;
    f.Start({"Inbox/Clients"});
    const char* const built = "InitialiseEngine: build folder cache";
    EXPECT_EQ(Occurrences(f.LogText(), built), 1U);
    f.Engine->RulesDatabase().SaveOptionBoolean("Folder Cache", "Assume Valid", true);
    f.Start();
    EXPECT_EQ(Occurrences(f.LogText(), built), 1U);
    EXPECT_FALSE(Holds(f.LogText(), "InitialiseEngine: rebuild folder cache"));
    EXPECT_TRUE(f.Engine->cvFolderCache()->FindFolder("Clients"));
}

TEST(EngineStart, CountersOnlyGrowAndCountsFollowTheDatabase) {
    clsStatistics statistics;
    statistics.IncrementEmailsProcessed(0);
    statistics.IncrementEmailsProcessed(-5);
    EXPECT_EQ(statistics.EmailsProcessedCount(), 0);
    statistics.IncrementEmailsProcessed(3);
    EXPECT_EQ(statistics.EmailsProcessedCount(), 3);
    EXPECT_EQ(statistics.IncomingRuleCount(), 0) << "no database: 0";

    clsEngineFixture f;
    f.Start();
    clsRuleRecord rule;
    rule.SubjectContains = "x";
    const std::int32_t id = f.AddRule(rule);
    EXPECT_EQ(f.Engine->InboxRulesCount(), 1);
    f.Engine->RulesDatabase().DeleteRule(id);
    EXPECT_EQ(f.Engine->InboxRulesCount(), 0);
}
