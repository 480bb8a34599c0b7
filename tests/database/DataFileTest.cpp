#include <gtest/gtest.h>

#include "database/clsDataFile.h"
#include "support/TestSupport.h"

TEST(DataFile, KeysAreLowerCasedEverywhereButSetValue) {
    clsDataFile data;
    data.SetValue("rule1", "SubjectContains", "invoice");
    data.SetValue("Rule2", "SubjectContains", "report");
    EXPECT_EQ(data.GetValue("RULE1", "SubjectContains"), "invoice");
    EXPECT_TRUE(data.KeyExists("Rule1"));
    EXPECT_EQ(data.GetValue("Rule2", "SubjectContains"), "");  // stored as given, looked up lower
    EXPECT_FALSE(data.KeyExists("Rule2"));
    EXPECT_EQ(data.GetValue("rule1", "BodyContains"), "");

    data.AddKey("NEW");
    EXPECT_TRUE(data.KeyExists("new"));
    data.AddKey("new");
    EXPECT_EQ(data.Count(), 3);
    data.DeleteKey("RULE1");
    EXPECT_FALSE(data.KeyExists("rule1"));
    EXPECT_EQ(data.MaxKey(), 0);
    EXPECT_EQ(data.MaxKey(), 1);
    data.Clear();
    EXPECT_EQ(data.Count(), 0);
}

TEST(DataFile, SaveWritesTheFirstRecordsFieldsOnlyAndValuesAsTheyAre) {
    clsTempFolder folder;
    clsDataFile data;
    EXPECT_TRUE(data.SaveAs(folder.Path() / "empty.csv"));
    EXPECT_EQ(ReadWholeFile(folder.Path() / "empty.csv"), "");

    data.SetValue("a", "SubjectContains", "x");
    data.SetValue("a", "BodyContains", "y");
    data.SetValue("b", "BodyContains", "one, two");  // the comma shifts this line's columns
    data.SetValue("b", "Extra", "never written");
    data.SetValue("a", "SubjectContains", "x2");  // replaces, keeps the field's place
    ASSERT_TRUE(data.SaveAs(folder.Path() / "rules.csv"));
    EXPECT_EQ(ReadLines(folder.Path() / "rules.csv"),
              (std::vector<std::string>{"Key,SubjectContains,BodyContains\r", "a,x2,y\r",
                                        "b,,one, two\r"}));
    EXPECT_FALSE(data.SaveAs(folder.Path() / "missing" / "rules.csv"));
}
