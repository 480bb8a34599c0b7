#include <gtest/gtest.h>

#include <tuple>

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
             Case{"a,b\nc,d\n", {{"a", "b"}, {"c", "d"}}},
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

TEST(CsvTable, CellsAreFoundByRowAndHeading) {
    clsTempFolder temp;
    const std::filesystem::path file = temp.Path() / "Incoming Mail.csv";
    WriteWholeFile(file,
                   "\xEF\xBB\xBF"
                   "From,Target Folder, Mark as read \r\n"
                   "ann@example.org,\"\\\\Mailbox\\Inbox\\A, B\",True\r\n"
                   "bob@example.org\r\n");
    using Row = std::tuple<long, std::string, std::string, bool>;  // row, heading, cell, found?
    for (const auto& [row, heading, expected, found] :
         {Row{1, "To", "", false}, Row{0, "From", "", false},
          Row{1, "target folder", "\\\\Mailbox\\Inbox\\A, B", true},
          Row{1, "Mark as read", "True", true}, Row{3, "From", "", false},
          Row{2, "Target Folder", "", true}}) {
        SCOPED_TRACE(std::to_string(row) + " " + heading);
        clsCsvTable table;  // LastError holds the last failure, so each case reads anew
        ASSERT_TRUE(table.Open(file).IsOk());
        EXPECT_EQ(std::tuple(table.RowCount(), table.ColumnCount()), std::tuple(2, 3));
        EXPECT_EQ(table.Cell(row, heading), expected);
        EXPECT_EQ(table.LastError().GetCode(),
                  found ? clsStatus::Code::Ok : clsStatus::Code::NotFound);
    }
}

TEST(CsvTable, MissingOrDamagedFilesGiveAStatusAndWhatCouldBeRead) {
    clsTempFolder temp;
    clsCsvTable table;
    EXPECT_EQ(table.Open(temp.Path() / "missing.csv").GetCode(), clsStatus::Code::NotFound);
    EXPECT_EQ(std::tuple(table.RowCount(), table.ColumnCount()), std::tuple(0, 0));
    EXPECT_EQ(table.Cell(1, "From"), "");
    EXPECT_EQ(table.Open(temp.Path()).GetCode(), clsStatus::Code::NotFound);

    WriteWholeFile(temp.Path() / "open.csv", "From,To\na,\"b\nc,d\n");
    EXPECT_EQ(table.Open(temp.Path() / "open.csv").GetCode(), clsStatus::Code::Corrupt);
    EXPECT_EQ(table.RowCount(), 1);
    EXPECT_EQ(table.Cell(1, "To"), "b\nc,d\n");

    WriteWholeFile(temp.Path() / "empty.csv", "");
    EXPECT_TRUE(table.Open(temp.Path() / "empty.csv").IsOk());
    EXPECT_EQ(table.RowCount(), 0);  // the rows of the damaged file are gone
    EXPECT_FALSE(table.HasColumn("From"));
}
