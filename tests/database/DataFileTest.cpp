#include <gtest/gtest.h>

#include "database/clsDataFile.h"
#include "support/TestSupport.h"

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
