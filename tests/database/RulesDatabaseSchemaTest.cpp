#include "RulesDatabaseTestSupport.h"

using RulesDatabaseSchema = clsOpenDatabaseTest;

TEST_F(RulesDatabaseSchema, ANewDatabaseHasEveryTableButTheGatedOnesVersion19AndJetDefaults) {
    for (const char* table :
         {"Rules", "Spam Senders", "RuleActions", "Actions", "Groups", "Group Members", "Options",
          "Spam Headers", "Good_Corpus", "Bad_Corpus", "Good_Headers", "Bad_Headers", "Version"}) {
        EXPECT_NE(Scalar("SELECT COUNT(*) FROM [" + std::string(table) + "]"), "<none>") << table;
    }
    for (const char* gated : {"FromEmail", "ToEmail"}) {
        EXPECT_EQ(Scalar(std::string("SELECT COUNT(*) FROM ") + gated), "<none>") << gated;
    }
    EXPECT_DOUBLE_EQ(Db.GetVersion(), 1.9);
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Version WHERE ID=1"), "1");
    EXPECT_NE(LogText().find("RulesDatabase->UpgradeDatabase: Upgrading from v0 to v1.9"),
              std::string::npos);
    // Jet's defaults hold for new rows: Yes/No fields are never Null, Enabled is True.
    Run("INSERT INTO Rules (RuleName) VALUES ('bare')");
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Rules WHERE StopProcessing=FALSE AND Enabled=TRUE"),
              "1");
    Run("INSERT INTO [Spam Senders] (EmailAddress) VALUES ('a@example.com')");
    long affected = 0;
    EXPECT_FALSE(Db.RunCommand("INSERT INTO [Spam Senders] (EmailAddress) VALUES ('A@Example.COM')",
                               affected))
        << "the key compares addresses without regard to case";
}

// Neither a missing file nor one that is not a database is created or changed.
TEST_F(RulesDatabaseSchema, OpeningAMissingFileOrOneThatIsNotADatabaseFailsAndLeavesIt) {
    const std::filesystem::path missing = Folder.Path() / "Other.mdb";
    EXPECT_FALSE(Db.OpenDatabase(missing, false));
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_NE(LogText().find(missing.string() + " not found"), std::string::npos);
    EXPECT_FALSE(Db.IsOpen());
    const std::string garbage = "This is not a database\n" + std::string(5000, '\x7f');
    WriteWholeFile(missing, garbage);
    EXPECT_FALSE(Db.OpenDatabase(missing, true));
    EXPECT_EQ(ReadWholeFile(missing), garbage);
    EXPECT_NE(LogText().find("RulesDatabase->OpenDatabase: "), std::string::npos);
    EXPECT_EQ(Db.GetRS("SELECT * FROM Rules"), nullptr);
}

TEST(RulesDatabaseUpgrade, Version10RulesMoveTheirActionIntoRuleActions) {
    clsDatabaseFixture f;
    f.BuildRaw(
        {"CREATE TABLE Rules (ID INTEGER PRIMARY KEY AUTOINCREMENT, RuleName TEXT, Priority "
         "INTEGER, FromEmail TEXT, ToEmail TEXT, SubjectContains TEXT, BodyContains TEXT, "
         "StopProcessing BOOLEAN, IncomingRule BOOLEAN, GroupID INTEGER, TargetFolder TEXT, "
         "Copy BOOLEAN, MarkAsRead BOOLEAN)",
         "CREATE TABLE \"Spam Senders\" (EmailAddress TEXT PRIMARY KEY)",
         "CREATE TABLE Version (ID INTEGER, Version DOUBLE, \"Last Update\" DATETIME)",
         "INSERT INTO Version VALUES (1, 1.0, '2004-01-01 00:00:00')",
         "INSERT INTO Rules (RuleName, Priority, FromEmail, IncomingRule, TargetFolder, Copy, "
         "MarkAsRead) VALUES ('a', 7, 'boss@example.com', 1, '\\\\Mailbox\\Boss', 0, 1), "
         "('b', 3, '@lists.org', 1, '\\\\Mailbox\\Lists', 1, 0)"});
    ASSERT_TRUE(f.Open());
    EXPECT_DOUBLE_EQ(f.Db.GetVersion(), 1.9);
    clsRuleRecord first, second;
    ASSERT_TRUE(f.Db.GetRule(1, first));
    ASSERT_TRUE(f.Db.GetRule(2, second));
    EXPECT_EQ(first.Priority, 1);  // renumbered in reading order
    EXPECT_EQ(second.Priority, 2);
    EXPECT_TRUE(first.Enabled && second.Enabled);
    ASSERT_EQ(first.Actions.size(), 1U);
    EXPECT_EQ(first.Actions[0].TargetFolder, "\\\\Mailbox\\Boss");
    EXPECT_FALSE(first.Actions[0].Copy);
    EXPECT_TRUE(first.Actions[0].MarkAsRead);
    ASSERT_EQ(second.Actions.size(), 1U);
    EXPECT_TRUE(second.Actions[0].Copy);
    for (const char* dropped : {"TargetFolder", "Copy", "MarkAsRead"}) {
        EXPECT_EQ(f.Scalar(std::string("SELECT ") + dropped + " FROM Rules"), "<none>") << dropped;
    }
}

TEST(RulesDatabaseUpgrade, Version185EnablesEveryRuleAndVersion19IsLeftAlone) {
    for (const char* version : {"1.85", "1.9"}) {
        SCOPED_TRACE(version);
        clsDatabaseFixture f;
        ASSERT_TRUE(f.Open());
        f.Run("INSERT INTO Rules (RuleName, Priority, Enabled) VALUES ('off', 1, FALSE)");
        f.Run(std::string("UPDATE Version SET Version=") + version +
              ", [Last Update]=#01/02/2003 04:05:06# WHERE ID=1");
        f.Reopen();
        const bool upgraded = std::string(version) == "1.85";
        EXPECT_EQ(f.Scalar("SELECT Enabled FROM Rules"), upgraded ? "1" : "0");
        EXPECT_EQ(f.Scalar("SELECT [Last Update] FROM Version") == "2003-01-02 04:05:06",
                  !upgraded);
        EXPECT_DOUBLE_EQ(f.Db.GetVersion(), 1.9);
    }
}

TEST_F(RulesDatabaseSchema, DuplicatePrioritiesAreRenumberedOnTheNextOpenInPriorityOrder) {
    for (const char* values : {"('c', 9)", "('a', 5)", "('b', 5)", "('d', 20)"}) {
        Run(std::string("INSERT INTO Rules (RuleName, Priority) VALUES ") + values);
    }
    Reopen();
    std::string order;
    for (auto rs = Db.GetRS("SELECT RuleName, Priority FROM Rules ORDER BY Priority"); !rs->Eof();
         rs->MoveNext()) {
        order += rs->Field("RuleName").AsText() + rs->Field("Priority").AsText() + " ";
    }
    EXPECT_EQ(order, "a1 b2 c3 d4 ");
    EXPECT_NE(LogText().find("RulesDatabase->ValidateRulePriorities: Updating rule priorities"),
              std::string::npos);
}

TEST_F(RulesDatabaseSchema, CompactKeepsTheDataAndLeavesNoTemporaryFiles) {
    Run("INSERT INTO Options ([Section], [Name], [Value]) VALUES ('s', 'n', '" +
        std::string(200000, 'v') + "')");
    Run("DELETE FROM Options");
    Run("INSERT INTO Options ([Section], [Name], [Value]) VALUES ('s', 'kept', 'yes')");
    const auto before = std::filesystem::file_size(File);
    ASSERT_TRUE(Db.CompactDatabase());
    EXPECT_LT(std::filesystem::file_size(File), before);
    EXPECT_EQ(Db.ReadOption("s", "kept", ""), "yes");
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Folder.Path())) {
        files += entry.path().filename().string().rfind("Rules.mdb", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(files, 1U);
}
