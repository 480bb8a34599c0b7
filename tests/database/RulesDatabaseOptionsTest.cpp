#include "RulesDatabaseTestSupport.h"

namespace {

class clsRecordingList final : public clsListControl {
public:
    void Clear() override { Items.clear(); }
    void AddItem(std::string text, std::int64_t data) override { Items.emplace_back(text, data); }
    int ItemCount() const override { return static_cast<int>(Items.size()); }
    void SetCurrentIndex(int) override {}
    std::vector<std::pair<std::string, std::int64_t>> Items;
};

}  // namespace

TEST(RulesDatabaseOptions, ASecondSaveReplacesTheRowAndTextsRoundTrip) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    std::string huge(1024 * 1024, 'x');
    huge += "'\"[]%_*#ÄÖÜ";
    const std::string hostile = "x'); DROP TABLE Options; --";
    f.Db.SaveOption("Antispam", "Minimum Spam Score", "0.8");
    f.Db.SaveOption("Antispam", "Minimum Spam Score", "0.9");
    f.Db.SaveOption("Big", "Value", huge);
    f.Db.SaveOption(hostile, hostile, hostile);
    EXPECT_EQ(f.Db.ReadOption("Antispam", "Minimum Spam Score", ""), "0.9");
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Options WHERE [Section]='Antispam'"), "1");
    EXPECT_EQ(f.Db.ReadOption("Big", "Value", ""), huge);
    EXPECT_EQ(f.Db.ReadOption(hostile, hostile, ""), hostile);
    // Jet compares text without regard to case, names of sections and options included.
    EXPECT_EQ(f.Db.ReadOption("ANTISPAM", "minimum spam score", ""), "0.9");
}

TEST(RulesDatabaseOptions, BooleansReadFalseOnlyForFalseOrZero) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    using Row = std::pair<std::string, bool>;
    int n = 0;  // a name of its own per row: the names compare without regard to case
    for (const auto& [stored, expected] :
         {Row{"FALSE", false}, Row{"0", false}, Row{"no", true}, Row{"", true}}) {
        const std::string name = "Flag" + std::to_string(n++);
        f.Db.SaveOption("Filters", name, stored);
        EXPECT_EQ(f.Db.ReadBooleanOption("Filters", name, !expected), expected) << stored;
    }
    EXPECT_TRUE(f.Db.ReadBooleanOption("Filters", "Never stored", true));
}

// Booleans are cached: a boolean write must reach both the cache and the table.
TEST(RulesDatabaseOptions, BooleanWritesReachTheCacheAndTheTable) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    EXPECT_FALSE(f.Db.ReadBooleanOption("Rules Engine", "Enabled", false));
    f.Db.SaveOptionBoolean("Rules Engine", "Enabled", true);
    EXPECT_TRUE(f.Db.ReadBooleanOption("Rules Engine", "Enabled", false));
    EXPECT_EQ(f.Db.ReadOption("Rules Engine", "Enabled", ""), "true");
}

TEST(RulesDatabaseGroups, GroupsAreFoundOrCreatedAndListedByName) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    const std::int32_t work = f.Db.GetGroupID("Work");
    const std::int32_t family = f.Db.GetGroupID("Family");
    EXPECT_GT(work, 0);
    EXPECT_NE(work, family);
    EXPECT_EQ(f.Db.GetGroupID("Work"), work);
    EXPECT_EQ(f.Db.GetGroupID("WORK"), work) << "group names compare without regard to case";
    // A quote in a name breaks only that query: no second statement runs.
    EXPECT_EQ(f.Db.GetGroupID("x\"); DROP TABLE Rules; --"), 0);
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Rules"), "0");
    EXPECT_NE(f.LogText().find("RulesDatabase->GetRS"), std::string::npos);

    clsRecordingList list;
    f.Db.PopulateRuleGroupCombo(list);
    EXPECT_EQ(list.Items, (std::vector<std::pair<std::string, std::int64_t>>{
                              {"No group", 0}, {"Family", family}, {"Work", work}}));
}
