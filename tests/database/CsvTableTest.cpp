#include <gtest/gtest.h>

#include "database/clsCsvTable.h"
#include "support/TestSupport.h"

using Records = std::vector<std::vector<std::string>>;

TEST(CsvTable, FieldsFollowTheQuotingRules) {
    struct Case {
        std::string Text;
        Records Expected;
        bool Complete = true;
    };
    for (const Case& c : {
             Case{"\"say \"\"hi\"\"\",\"\"\n", {{"say \"hi\"", ""}}},
             Case{"\"two\nlines\",\"crlf\r\nkept\"\r\nnext\r\n",
                  {{"two\nlines", "crlf\r\nkept"}, {"next"}}},
             Case{"a\"b,\"c\"d\n", {{"a\"b", "cd"}}},
             Case{",\n\n\r\n,,\n", {{"", ""}, {"", "", ""}}},
             Case{"\xE9t\xE9,\xC3\xA9\n", {{"\xE9t\xE9", "\xC3\xA9"}}},
             Case{"a,\"open\nto the end", {{"a", "open\nto the end"}}, false},
         }) {
        SCOPED_TRACE(c.Text);
        Records records;
        EXPECT_EQ(clsCsvTable::Parse(c.Text, records), c.Complete);
        EXPECT_EQ(records, c.Expected);
    }
}

TEST(CsvTable, ADamagedFileGivesAStatusAndWhatCouldBeRead) {
    clsTempFolder temp;
    clsCsvTable table;
    WriteWholeFile(temp.Path() / "open.csv", "From,To\na,\"b\nc,d\n");
    EXPECT_EQ(table.Open(temp.Path() / "open.csv").GetCode(), clsStatus::Code::Corrupt);
    EXPECT_EQ(table.RowCount(), 1);
    EXPECT_EQ(table.Cell(1, "To"), "b\nc,d\n");

    WriteWholeFile(temp.Path() / "empty.csv", "");
    EXPECT_TRUE(table.Open(temp.Path() / "empty.csv").IsOk());
    EXPECT_EQ(table.RowCount(), 0);  // the rows of the damaged file are gone
    EXPECT_FALSE(table.HasColumn("From"));
}
