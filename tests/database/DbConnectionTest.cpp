// The SQLite connection speaking Jet's dialect, against a real database file.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbConnection.h"
#include "support/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using Code = clsStatus::Code;

class DbConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        const clsStatus status = mDb.Open(mFile, true);
        ASSERT_TRUE(status.IsOk()) << status.Description();
        Exec(
            "CREATE TABLE Rules (ID INTEGER CONSTRAINT PK_ID PRIMARY KEY AUTOINCREMENT, "
            "Name VARCHAR(255) COLLATE NOCASE, Path VARCHAR(255) COLLATE NOCASE, "
            "Created DATETIME, Ord INTEGER, Active BIT)");
    }

    long Exec(std::string_view sql) {
        long affected = -1;
        const clsStatus status = mDb.Execute(sql, affected);
        EXPECT_TRUE(status.IsOk()) << sql << ": " << status.Description();
        return affected;
    }
    std::unique_ptr<clsRecordset> Query(std::string_view sql) {
        std::unique_ptr<clsRecordset> recordset;
        const clsStatus status = mDb.Query(sql, recordset);
        EXPECT_TRUE(status.IsOk()) << sql << ": " << status.Description();
        return recordset;
    }
    // The field of every row, as text.
    Strings Values(std::string_view sql, std::string_view field = "Name") {
        Strings values;
        for (auto recordset = Query(sql); recordset && !recordset->Eof(); recordset->MoveNext()) {
            values.push_back(recordset->Field(field).AsText());
        }
        return values;
    }
    void AddRules(std::initializer_list<std::pair<std::string_view, int>> rules) {
        for (const auto& [name, ord] : rules) {
            Exec("INSERT INTO Rules (Name, Ord) VALUES (\"" + std::string(name) + "\", " +
                 std::to_string(ord) + ")");
        }
    }

    clsTempFolder mFolder;
    fs::path mFile = mFolder.Path() / "Rules.mdb";
    clsDbConnection mDb;
};

TEST_F(DbConnectionTest, InsertsJetLiteralsAndReadsEachStorageClassBack) {
    EXPECT_EQ(Exec("INSERT INTO Rules (Name, Created, Active) "
                   "VALUES (\"\xC3\x84rger \"\"x\"\" it's\", #1/2/2003 10:30#, TRUE)"),
              1);
    EXPECT_EQ(Exec("INSERT INTO Rules (Name, Active) VALUES ('second', FALSE)"), 1);
    EXPECT_EQ(Values("SELECT @@identity AS ID", "ID"), Strings{"2"});
    auto rule = Query("SELECT Name, Created, Active FROM Rules WHERE ID = 1");
    ASSERT_TRUE(rule && !rule->Eof());
    EXPECT_EQ(rule->Field("Name").AsText(), "\xC3\x84rger \"x\" it's");
    EXPECT_EQ(rule->Field("Created").AsText(), "2003-01-02 10:30:00");
    EXPECT_TRUE(rule->Field("Active").AsBool());
    // LEFT counts characters, not bytes: "Ä" is two.
    using Row = std::pair<std::string, clsDbValue>;
    for (const auto& [expression, value] :
         {Row{"NULL", {}}, Row{"1", 1}, Row{"1.5", 1.5}, Row{"'x'", "x"},
          Row{"X'00FF'", std::string("\0\xFF", 2)}, Row{"LEFT('Ärger', 3)", "Ärg"},
          Row{"left('Ärger', 99)", "Ärger"}, Row{"LEFT(NULL, 1)", {}}}) {
        auto row = Query("SELECT " + expression + " AS V");
        ASSERT_TRUE(row);
        EXPECT_EQ(row->Field("V"), value) << expression;
    }
}

TEST_F(DbConnectionTest, ComparesTextWithoutRegardToCaseBeyondAscii) {
    AddRules({{"apple", 1},
              {"Banana", 2},
              {"ärger", 3},
              {"Ärger2", 4},
              {"ÉCOLE", 5},
              {"ÄRGER", 6},
              {"a[b]%_?#c", 7}});
    using Row = std::pair<std::string_view, Strings>;
    for (const auto& [where, names] :
         {Row{"Name = \"ärger\" ORDER BY Ord", {"ärger", "ÄRGER"}},
          Row{"Ord < 6 ORDER BY Name", {"apple", "Banana", "ärger", "Ärger2", "ÉCOLE"}},
          Row{"Name LIKE '*RGER?' ORDER BY Ord", {"Ärger2"}},
          Row{"Name LIKE 'A[[]B[]][%][_][?][#]*'", {"a[b]%_?#c"}},
          Row{"Name NOT LIKE '[!a]*' ORDER BY Ord", {"apple", "a[b]%_?#c"}}}) {
        EXPECT_EQ(Values("SELECT Name FROM Rules WHERE " + std::string(where)), names) << where;
    }
}

TEST_F(DbConnectionTest, RenumberingWritesBackInOrderAndTiesKeepStoreOrder) {
    AddRules({{"r1", 5}, {"r2", 1}, {"r3", 5}, {"r4", 1}, {"r5", 3}});
    // An index that would hand ties over by name, last inserted first, if nothing broke them.
    ASSERT_TRUE(mDb.ExecuteNative("CREATE INDEX ByOrd ON Rules (Ord, Name DESC)").IsOk());
    auto rules = Query("SELECT * FROM Rules ORDER BY Ord");
    ASSERT_TRUE(rules);
    EXPECT_EQ(rules->FieldCount(), 6);  // the rowid that makes it updatable stays hidden
    Exec("UPDATE Rules SET Name = 'renamed' WHERE ID = 4");
    long order = 0;
    for (rules->MoveFirst(); !rules->Eof(); rules->MoveNext()) {
        ASSERT_TRUE(rules->SetField("Ord", order += 10)) << rules->LastError().Description();
    }
    ASSERT_TRUE(rules->UpdateBatch()) << rules->LastError().Description();
    EXPECT_EQ(Values("SELECT ID FROM Rules ORDER BY Ord", "ID"),
              (Strings{"2", "4", "5", "1", "3"}));
    EXPECT_EQ(Values("SELECT Ord FROM Rules ORDER BY Ord", "Ord"),
              (Strings{"10", "20", "30", "40", "50"}));
    // Only changed fields are written: the rename made after reading survives.
    EXPECT_EQ(Values("SELECT Name FROM Rules WHERE ID = 4"), Strings{"renamed"});
}

TEST_F(DbConnectionTest, OnlyPlainRowsOfOneTableAreUpdatable) {
    AddRules({{"r1", 1}, {"r2", 2}});
    Exec("CREATE TABLE Other (ID INTEGER PRIMARY KEY)");
    Exec("INSERT INTO Other (ID) VALUES (1)");
    ASSERT_TRUE(mDb.ExecuteNative("CREATE VIEW RulesView AS SELECT Ord FROM Rules").IsOk());
    using Row = std::pair<std::string_view, bool>;
    for (const auto& [sql, updatable] :
         {Row{"SELECT Ord FROM Rules", true},
          Row{"SELECT R.Ord, Name AS N FROM Rules AS R WHERE R.ID IN "
              "(SELECT MAX(ID) FROM Rules GROUP BY Ord) ORDER BY R.Ord, N",
              true},
          Row{"SELECT Rules.Ord FROM Rules, Other", false},
          Row{"SELECT Ord FROM (SELECT Ord FROM Rules)", false},
          Row{"SELECT Ord FROM RulesView", false}}) {
        SCOPED_TRACE(sql);
        auto rows = Query(sql);
        ASSERT_TRUE(rows && !rows->Eof());
        const std::string field = rows->FieldInfo(0).Name;
        const clsDbValue before = rows->Field(field);
        EXPECT_EQ(rows->SetField(field, 99), updatable);
        EXPECT_EQ(rows->Field(field), updatable ? clsDbValue(99) : before);
        EXPECT_EQ(rows->UpdateBatch(), updatable) << rows->LastError().Description();
        EXPECT_EQ(Values("SELECT COUNT(*) AS N FROM Rules WHERE Ord = 99", "N"),
                  Strings{updatable ? "1" : "0"});
        Exec("UPDATE Rules SET Ord = " + before.AsText() + " WHERE Ord = 99");
    }
    EXPECT_FALSE(Query("SELECT Ord + 1 AS Next, Ord FROM Rules")->SetField("Next", 7));
}

TEST_F(DbConnectionTest, OpenSetsUpJetsWays) {
    // In SQLite's own dialect a double-quoted word is a name, never quietly a string.
    EXPECT_FALSE(mDb.ExecuteNative("SELECT \"nosuchcolumn\" FROM Rules").IsOk());
    EXPECT_TRUE(mDb.TableExists("RULES") && mDb.ColumnExists("rules", "NAME"));
    EXPECT_FALSE(mDb.TableExists("Missing") || mDb.ColumnExists("Rules", "Nope") ||
                 mDb.ColumnExists("Missing", "ID"));
}

TEST_F(DbConnectionTest, OneStatementRunsAtATimeAndErrorsCarrySqlitesCodeAndMessage) {
    Exec(R"(INSERT INTO Rules (Name) VALUES ("'; DROP TABLE Rules; --"))");
    Exec(R"(INSERT INTO Rules (Name) VALUES ('''; DROP TABLE Rules; --'))");
    const Strings both = {"'; DROP TABLE Rules; --", "'; DROP TABLE Rules; --"};
    EXPECT_EQ(Values("SELECT Name FROM Rules"), both);
    long affected = -1;
    EXPECT_EQ(mDb.Execute("DELETE FROM Rules; DROP TABLE Rules", affected).GetCode(),
              Code::Invalid);
    using namespace std::string_view_literals;
    for (std::string_view native : {"DELETE FROM Rules; DROP TABLE Rules"sv,
                                    "DELETE FROM Rules; --"sv, "DELETE FROM Rules\0 x"sv}) {
        EXPECT_EQ(mDb.ExecuteNative(native).GetCode(), Code::Invalid) << native;
    }
    EXPECT_EQ(Values("SELECT Name FROM Rules"), both);
    EXPECT_TRUE(mDb.ExecuteNative("DELETE FROM Rules ;; \n").IsOk());
    EXPECT_EQ(Values("SELECT Name FROM Rules"), Strings{});

    AddRules({{"r1", 1}, {"r2", 1}, {"r3", 2}});
    EXPECT_EQ(Exec("UPDATE Rules SET Active = TRUE WHERE Ord = 1"), 2);
    EXPECT_EQ(Exec("DELETE FROM Rules"), 3);
    std::unique_ptr<clsRecordset> rows;
    clsStatus status = mDb.Query("SELECT * FROM Missing", rows);
    EXPECT_EQ(status.GetCode(), Code::Database);
    EXPECT_EQ(status.Number(), SQLITE_ERROR);
    EXPECT_EQ(status.Description(), "no such table: Missing");
    EXPECT_EQ(rows, nullptr);
    Exec("INSERT INTO Rules (ID) VALUES (7)");
    affected = -1;
    status = mDb.Execute("INSERT INTO Rules (ID) VALUES (7)", affected);
    EXPECT_EQ(status.Number(), SQLITE_CONSTRAINT_PRIMARYKEY);
    EXPECT_EQ(affected, 0);
}

TEST_F(DbConnectionTest, AnUpdateBatchAfterTheConnectionIsGoneFailsCleanly) {
    AddRules({{"r1", 1}});
    auto fromClosed = Query("SELECT Ord FROM Rules");
    std::unique_ptr<clsRecordset> fromDestroyed;
    {
        clsDbConnection other;
        ASSERT_TRUE(other.Open(mFile, false).IsOk());
        ASSERT_TRUE(other.Query("SELECT Ord FROM Rules", fromDestroyed).IsOk());
    }
    mDb.Close();
    ASSERT_TRUE(mDb.Open(mFile, false).IsOk());  // a new session of the file
    for (clsRecordset* rows : {fromClosed.get(), fromDestroyed.get()}) {
        ASSERT_TRUE(rows->SetField("Ord", 5));
        EXPECT_FALSE(rows->UpdateBatch());
        EXPECT_FALSE(rows->LastError().IsOk());
    }
    EXPECT_EQ(Values("SELECT Ord FROM Rules", "Ord"), Strings{"1"});
}

}  // namespace

// Rows read in place must read as the held recordset's do, and a reader may stop or fail.
TEST_F(DbConnectionTest, QueryEachReadsRowsInPlaceAsTheRecordsetReadsThem) {
    Exec("INSERT INTO Rules (Name, Ord) VALUES ('Apple', 1)");
    Exec("INSERT INTO Rules (Name, Ord) VALUES ('12', 2.75)");
    Exec("INSERT INTO Rules (Name, Ord) VALUES (NULL, NULL)");
    Exec("INSERT INTO Rules (Name, Ord) VALUES ('2.5e1', -3.5)");
    const char* sql = "SELECT Name AS N, Ord, 'x' AS Third FROM Rules ORDER BY ID";
    const auto held = Query(sql);
    ASSERT_TRUE(held);
    int rows = 0;
    EXPECT_TRUE(
        mDb.QueryEach(sql,
                      [&](const clsDbRow& row) {
                          EXPECT_EQ(row.FieldCount(), 3);
                          EXPECT_EQ(row.FieldIndex("ORD"), 1);
                          EXPECT_EQ(row.FieldIndex("Name"), -1);  // only by the query's own names
                          for (int field = 0; field < 2; ++field) {
                              const clsDbValue value = held->Field(field);
                              EXPECT_EQ(row.Value(field), value);
                              EXPECT_EQ(row.Text(field), value.AsText()) << rows << "/" << field;
                              EXPECT_EQ(row.Long(field), value.AsLong()) << rows << "/" << field;
                          }
                          held->MoveNext();
                          return ++rows < 3;
                      })
            .IsOk());
    EXPECT_EQ(rows, 3);  // the reader stopped after the third

    const auto count = [this](std::string_view query) {
        return mDb.QueryEach(query, [](const clsDbRow&) { return true; });
    };
    EXPECT_EQ(count("SELECT * FROM Missing").Description(), "no such table: Missing");
    EXPECT_EQ(count("SELECT 1; DROP TABLE Rules").GetCode(), Code::Invalid);
    const clsStatus thrown = mDb.QueryEach(
        sql, [](const clsDbRow&) -> bool { throw std::runtime_error("reader failed"); });
    EXPECT_EQ(thrown.Description(), "reader failed");
    EXPECT_EQ(Values("SELECT Name FROM Rules WHERE Ord = 1"), Strings{"Apple"});
}
