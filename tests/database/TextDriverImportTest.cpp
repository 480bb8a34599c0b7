// The text-driver bulk insert, run through the connection as the spam code runs it.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "database/clsDbConnection.h"
#include "support/TestSupport.h"

namespace {

using Code = clsStatus::Code;
using Rows = std::vector<std::string>;

class TextDriverImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(mDb.Open(mFolder.Path() / "Rules.mdb", true).IsOk());
        ASSERT_TRUE(
            mDb.ExecuteNative("CREATE TABLE \"Spam Headers\" (Header TEXT COLLATE NOCASE "
                              "CONSTRAINT PK_Header PRIMARY KEY, Criteria TEXT COLLATE NOCASE)")
                .IsOk());
    }
    void WriteFile(std::string_view name, std::string_view text) {
        std::ofstream(mFolder.Path() / name, std::ios::binary) << text;
    }
    clsStatus Import(std::string_view table, std::string_view file, long& affected) {
        return mDb.Execute("INSERT INTO [" + std::string(table) +
                               "] SELECT * FROM [Text;Database=" + mFolder.Path().string() +
                               ";HDR=YES].[" + std::string(file) + "]",
                           affected);
    }
    // Every row as "a|b|..." with Null shown as <null>, in insertion order.
    Rows Read(std::string_view sql) {
        std::unique_ptr<clsRecordset> rs;
        EXPECT_TRUE(mDb.Query(sql, rs).IsOk()) << sql;
        Rows rows;
        for (; rs && !rs->Eof(); rs->MoveNext()) {
            std::string row;
            for (int i = 0; i < rs->FieldCount(); ++i) {
                const clsDbValue value = rs->Field(i);
                row += (i ? "|" : "") + (value.IsNull() ? "<null>" : value.AsText());
            }
            rows.push_back(row);
        }
        return rows;
    }

    clsTempFolder mFolder;
    clsDbConnection mDb;
};

}  // namespace

TEST_F(TextDriverImportTest, CellsGoToTheColumnsOfTheirHeadings) {
    struct Case {
        std::string_view Text;
        Rows Expected;
    };
    for (const Case& c : {
             // As the spam filter writes it: quoted cells after ", ".
             Case{"\"Header\", \"Criteria\"\r\n\"X-Spam-Score\", \">5, <9\"\r\n",
                  {"X-Spam-Score|>5, <9"}},
             Case{"criteria , HEADER\r\n\"say \"\"hi\"\"\" , X-Quote\r\n", {"X-Quote|say \"hi\""}},
             Case{"Header,Criteria\n\"X-Two\",\"line\r\nbreak\"\n\n   \nX-Empty,\n",
                  {"X-Two|line\r\nbreak", "X-Empty|<null>"}},
             Case{"\xEF\xBB\xBFHeader, Criteria\r\n  X-Blanks  ,\t\" kept \" \r\nX-Short\r\n",
                  {"X-Blanks| kept ", "X-Short|<null>"}},
         }) {
        SCOPED_TRACE(c.Text);
        ASSERT_TRUE(mDb.ExecuteNative("DELETE FROM \"Spam Headers\"").IsOk());
        WriteFile("spam_headers.csv", c.Text);
        long affected = -1;
        const clsStatus status = Import("Spam Headers", "spam_headers.csv", affected);
        ASSERT_TRUE(status.IsOk()) << status.Description();
        EXPECT_EQ(affected, static_cast<long>(c.Expected.size()));
        EXPECT_EQ(Read("SELECT Header, Criteria FROM [Spam Headers]"), c.Expected);
    }
}

TEST_F(TextDriverImportTest, AFailureInsertsNothingAndSaysWhy) {
    // A refused row far into a file, after the rows of earlier statements, is named.
    std::string longFile = "Header";
    for (int row = 1; row <= 200; ++row) {
        longFile += "\r\nX-" + std::to_string(row == 130 ? 1 : row);  // a second X-1
    }
    struct Case {
        std::string_view Table, File, Text;
        Code Expected;
        std::string_view Why = "";
    };
    for (const Case& c : {
             Case{"Spam Headers", "h.csv", "Header, Colour\r\nX-A, red\r\n", Code::Invalid},
             Case{"Spam Headers", "h.csv", "Header\r\nX-New\r\nX-Old\r\nX-Later\r\n",
                  Code::Database, "row 2:"},
             Case{"Spam Headers", "h.csv", longFile, Code::Database, "row 130:"},
             Case{"Spam Headers", "h.csv", "Header, Criteria\r\nX-New, \"open\r\n", Code::Corrupt},
             Case{"Spam Headers", "missing.csv", "", Code::NotFound},
             Case{"No Such Table", "h.csv", "Header\r\nX-New\r\n", Code::NotFound},
             Case{"Spam Headers", "../h.csv", "Header\r\nX-New\r\n", Code::Invalid},
             Case{"Spam Headers", "sub/h.csv", "Header\r\nX-New\r\n", Code::Invalid},
             Case{"Spam Headers", "..", "", Code::Invalid},
         }) {
        SCOPED_TRACE(std::string(c.File) + ": " + std::string(c.Text.substr(0, 40)));
        ASSERT_TRUE(mDb.ExecuteNative("DELETE FROM \"Spam Headers\"").IsOk());
        ASSERT_TRUE(mDb.ExecuteNative("INSERT INTO \"Spam Headers\" VALUES ('X-Old', '1')").IsOk());
        std::filesystem::create_directories(mFolder.Path() / "sub");
        if (!c.Text.empty()) {
            WriteFile("h.csv", c.Text);
            WriteFile("sub/h.csv", c.Text);
        }
        long affected = -1;
        const clsStatus status = Import(c.Table, c.File, affected);
        EXPECT_EQ(status.GetCode(), c.Expected) << status.Description();
        EXPECT_NE(status.Description().find(c.Why), std::string::npos) << status.Description();
        EXPECT_EQ(affected, 0);
        EXPECT_EQ(Read("SELECT Header FROM [Spam Headers]"), Rows{"X-Old"});
    }
}

TEST_F(TextDriverImportTest, AFailedImportInsideATransactionUndoesOnlyItself) {
    WriteFile("bad.csv", "Header\r\nX-Dup\r\nX-Dup\r\n");
    WriteFile("good.csv", "Header\r\nX-Imported\r\n");
    long affected = 0;
    ASSERT_TRUE(mDb.ExecuteNative("BEGIN").IsOk());
    ASSERT_TRUE(
        mDb.Execute("INSERT INTO [Spam Headers] (Header) VALUES (\"X-Before\")", affected).IsOk());
    EXPECT_FALSE(Import("Spam Headers", "bad.csv", affected).IsOk());
    EXPECT_TRUE(Import("Spam Headers", "good.csv", affected).IsOk());
    ASSERT_TRUE(mDb.ExecuteNative("COMMIT").IsOk());
    EXPECT_EQ(Read("SELECT Header FROM [Spam Headers]"), (Rows{"X-Before", "X-Imported"}));
}

TEST_F(TextDriverImportTest, LongFilesGoInWholeInOrderWhateverTheirWidth) {
    // Files longer than the rows that share one statement, and a table so wide that fewer do.
    for (const auto& [columns, rows] : {std::pair{3, 300}, std::pair{40, 95}}) {
        SCOPED_TRACE(std::to_string(columns) + " columns, " + std::to_string(rows) + " rows");
        std::string create = "CREATE TABLE Wide (ID INTEGER PRIMARY KEY AUTOINCREMENT";
        std::string text;
        Rows expected;
        for (int column = 0; column < columns; ++column) {
            create += ", C" + std::to_string(column) + " TEXT";
            text += (column ? ", C" : "C") + std::to_string(column);
        }
        ASSERT_TRUE(mDb.ExecuteNative("DROP TABLE IF EXISTS Wide").IsOk());
        ASSERT_TRUE(mDb.ExecuteNative(create + ")").IsOk());
        for (int row = 1; row <= rows; ++row) {
            std::string line = std::to_string(row);
            text += "\r\n";
            for (int column = 0; column < columns; ++column) {
                const std::string cell = "r" + std::to_string(row) + "c" + std::to_string(column);
                text += (column ? ", " : "") + cell;
                line += "|" + cell;
            }
            expected.push_back(line);
        }
        WriteFile("wide.csv", text + "\r\n");
        long affected = 0;
        ASSERT_TRUE(Import("Wide", "wide.csv", affected).IsOk());
        EXPECT_EQ(affected, rows);
        EXPECT_EQ(Read("SELECT * FROM Wide ORDER BY ID"), expected);
    }
}
