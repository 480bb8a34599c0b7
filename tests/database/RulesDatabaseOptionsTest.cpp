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

using RulesDatabaseOptions = clsOpenDatabaseTest;

TEST_F(RulesDatabaseOptions, ASecondSaveReplacesTheRowAndTextsRoundTrip) {
    std::string huge(1024 * 1024, 'x');
    huge += "'\"[]%_*#ÄÖÜ";
    const std::string hostile = "x'); DROP TABLE Options; --";
    Db.SaveOption("Antispam", "Minimum Spam Score", "0.8");
    Db.SaveOption("Antispam", "Minimum Spam Score", "0.9");
    Db.SaveOption("Big", "Value", huge);
    Db.SaveOption(hostile, hostile, hostile);
    EXPECT_EQ(Db.ReadOption("Antispam", "Minimum Spam Score", ""), "0.9");
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Options WHERE [Section]='Antispam'"), "1");
    EXPECT_EQ(Db.ReadOption("Big", "Value", ""), huge);
    EXPECT_EQ(Db.ReadOption(hostile, hostile, ""), hostile);
    // Jet compares text without regard to case, names of sections and options included.
    EXPECT_EQ(Db.ReadOption("ANTISPAM", "minimum spam score", ""), "0.9");
}

// Booleans are cached: a boolean write must reach both the cache and the table.
TEST_F(RulesDatabaseOptions, BooleansReadFalseOnlyForFalseOrZeroAndWritesReachTheTable) {
    using Row = std::pair<std::string, bool>;
    int n = 0;  // a name of its own per row: the names compare without regard to case
    for (const auto& [stored, expected] :
         {Row{"FALSE", false}, Row{"0", false}, Row{"no", true}, Row{"", true}}) {
        const std::string name = "Flag" + std::to_string(n++);
        Db.SaveOption("Filters", name, stored);
        EXPECT_EQ(Db.ReadBooleanOption("Filters", name, !expected), expected) << stored;
    }
    EXPECT_TRUE(Db.ReadBooleanOption("Filters", "Never stored", true));
    EXPECT_FALSE(Db.ReadBooleanOption("Rules Engine", "Enabled", false));
    Db.SaveOptionBoolean("Rules Engine", "Enabled", true);
    EXPECT_TRUE(Db.ReadBooleanOption("Rules Engine", "Enabled", false));
    EXPECT_EQ(Db.ReadOption("Rules Engine", "Enabled", ""), "true");
}

TEST_F(RulesDatabaseOptions, GroupsAreFoundOrCreatedAndListedByName) {
    const std::int32_t work = Db.GetGroupID("Work");
    const std::int32_t family = Db.GetGroupID("Family");
    EXPECT_GT(work, 0);
    EXPECT_NE(work, family);
    EXPECT_EQ(Db.GetGroupID("Work"), work);
    EXPECT_EQ(Db.GetGroupID("WORK"), work) << "group names compare without regard to case";
    // A quote in a name breaks only that query: no second statement runs.
    EXPECT_EQ(Db.GetGroupID("x\"); DROP TABLE Rules; --"), 0);
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Rules"), "0");
    EXPECT_NE(LogText().find("RulesDatabase->GetRS"), std::string::npos);

    clsRecordingList list;
    Db.PopulateRuleGroupCombo(list);
    EXPECT_EQ(list.Items, (std::vector<std::pair<std::string, std::int64_t>>{
                              {"No group", 0}, {"Family", family}, {"Work", work}}));
}
