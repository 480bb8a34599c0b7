#pragma once
// clsDbConnection: one SQLite connection that speaks the Jet dialect. Every SQL text given to
// Query and Execute is a Jet statement (TRUE/FALSE, #mm/dd/yyyy hh:nn:ss# dates, double-quoted
// literals, [bracketed names], SELECT @@identity, Jet LIKE with [...] classes, LEFT()); it goes
// through clsJetTranslator and exactly one statement runs per call: a text holding a second
// statement is refused. On each connection LIKE is Jet's (case-insensitive, * % ? _ # [a-z] [!x])
// and NOCASE folds case beyond ASCII, so the same SQL gives Jet's answers. The text driver's
// bulk insert ("INSERT INTO [t] SELECT * FROM [Text;...].[file]") is run by clsTextDriverImport.
//
// Owned by classRulesDatabase (and the folder cache); event-loop thread only.
// Failure: Code::Database with SQLite's extended error code as number and its message as
// description; a text refused before it reaches SQLite gives Code::Invalid. Never throws.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbRow.h"
#include "database/clsRecordset.h"
#include "foundation/clsStatus.h"

struct sqlite3;

class clsDbConnection {
public:
    clsDbConnection();
    ~clsDbConnection();
    clsDbConnection(const clsDbConnection&) = delete;
    clsDbConnection& operator=(const clsDbConnection&) = delete;

    // Opens the file; create=false refuses a missing file (Code::NotFound). A file that is not an
    // SQLite database is refused with Code::Corrupt and left as it is.
    clsStatus Open(const std::filesystem::path& file, bool create);
    void Close();
    bool IsOpen() const;
    const std::filesystem::path& File() const { return mFile; }

    // Runs a Jet SELECT and reads all its rows.
    clsStatus Query(std::string_view jetSql, std::unique_ptr<clsRecordset>& recordset);
    // Runs a Jet SELECT and hands read each row in turn, without holding them; read returns false
    // to stop early. An exception from read ends the query with its text as the failure.
    using RowReader = std::function<bool(const clsDbRow&)>;
    clsStatus QueryEach(std::string_view jetSql, const RowReader& read);
    // Runs a Jet INSERT/UPDATE/DELETE/DDL statement; recordsAffected gets the changed row count.
    clsStatus Execute(std::string_view jetSql, long& recordsAffected);
    // Runs one statement in SQLite's own dialect, untranslated (schema code only).
    clsStatus ExecuteNative(std::string_view sqliteSql);

    bool TableExists(std::string_view table);
    bool ColumnExists(std::string_view table, std::string_view column);
    // Writes a compacted copy of the open database to target (VACUUM INTO).
    clsStatus CompactInto(const std::filesystem::path& target);

    // The changed fields of one row, for UpdateRows.
    struct RowChange {
        std::int64_t RowId = 0;
        std::vector<std::string> Columns;  // the table's column names
        std::vector<clsDbValue> Values;    // one per column
    };
    // For clsRecordset::UpdateBatch: writes every change in one transaction (a savepoint, so it
    // also works inside one); all or nothing. A row that no longer exists fails with NotFound.
    clsStatus UpdateRows(std::string_view table, const std::vector<RowChange>& changes);

private:
    clsStatus Configure();

    sqlite3* mDb = nullptr;
    std::filesystem::path mFile;
    // Recordsets hold a weak_ptr to this so they can tell when the connection is gone. Made anew
    // by every Open and dropped by Close, so a recordset never writes into a later file.
    std::shared_ptr<clsDbConnection*> mSelf;
};
