#pragma once
// A rules database in a temporary folder, with helpers that read it back.

#include <gtest/gtest.h>

#include "database/classRulesDatabase.h"
#include "support/TestSupport.h"

struct clsDatabaseFixture : clsTestEnvironment {
    std::filesystem::path File = Folder.Path() / "Rules.mdb";
    classRulesDatabase Db{Log, Ui};

    bool Open() { return Db.OpenDatabase(File, true); }
    void Reopen() {
        Db.CloseDatabase();
        ASSERT_TRUE(Open());
    }
    std::string Scalar(std::string_view sql) {
        const std::unique_ptr<clsRecordset> rs = Db.GetRS(sql);
        return rs && !rs->Eof() ? rs->Field(0).AsText() : "<none>";
    }
    void Run(std::string_view sql) {
        long affected = 0;
        ASSERT_TRUE(Db.RunCommand(sql, affected)) << sql;
    }
    // Builds a database from raw SQLite statements, as an older version of the program left it.
    void BuildRaw(std::initializer_list<std::string_view> statements) {
        clsDbConnection raw;
        ASSERT_TRUE(raw.Open(File, true).IsOk());
        for (std::string_view sql : statements) {
            ASSERT_TRUE(raw.ExecuteNative(sql).IsOk()) << sql;
        }
    }
};

// The same, opened before each test.
struct clsOpenDatabaseTest : clsDatabaseFixture, ::testing::Test {
    using clsDatabaseFixture::Run;
    void SetUp() override { ASSERT_TRUE(Open()); }
};
