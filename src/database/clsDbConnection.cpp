#include "database/clsDbConnection.h"

#include <sqlite3.h>

#include <climits>
#include <exception>
#include <initializer_list>

#include "database/clsDbRow.h"
#include "database/clsJetFunctions.h"
#include "database/clsJetTranslator.h"
#include "database/clsTextDriverImport.h"
#include "database/clsUpdatableSelect.h"

namespace {

using Code = clsStatus::Code;

constexpr int kBusyTimeoutMs = 5000;

struct StatementCloser {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

clsStatus DatabaseError(sqlite3* db) {
    return clsStatus::Error(Code::Database, sqlite3_errmsg(db), sqlite3_extended_errcode(db));
}

clsStatus NotOpen() { return clsStatus::Error(Code::Invalid, "no database is open"); }

clsStatus Failure(const std::exception& ex) { return clsStatus::Error(Code::Database, ex.what()); }

// Only blanks and semicolons may follow the one statement, or a second one could run later.
bool OnlyStatementEnds(std::string_view rest) {
    return rest.find_first_not_of(" \t\r\n\f\v;") == std::string_view::npos;
}

clsStatus Prepare(sqlite3* db, std::string_view sql, Statement& statement) {
    statement.reset();
    if (sql.size() > static_cast<std::size_t>(INT_MAX)) {
        return clsStatus::Error(Code::Invalid, "SQL text too long");
    }
    sqlite3_stmt* raw = nullptr;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &raw, &tail);
    statement.reset(raw);
    if (rc != SQLITE_OK) {
        return DatabaseError(db);
    }
    if (!statement) {
        return clsStatus::Error(Code::Invalid, "empty SQL statement");
    }
    const auto used = static_cast<std::size_t>(tail - sql.data());
    if (!OnlyStatementEnds(sql.substr(used))) {
        statement.reset();
        return clsStatus::Error(Code::Invalid, "more than one statement in SQL text");
    }
    return clsStatus::Ok();
}

// A Jet statement, translated and prepared.
clsStatus PrepareJet(sqlite3* db, std::string_view jetSql, Statement& statement) {
    std::string sql;
    const clsStatus status = clsJetTranslator::Translate(jetSql, sql);
    return status.IsOk() ? Prepare(db, sql, statement) : status;
}

clsStatus StepToEnd(sqlite3* db, sqlite3_stmt* statement) {
    int rc = SQLITE_ROW;
    while (rc == SQLITE_ROW) {
        rc = sqlite3_step(statement);
    }
    return rc == SQLITE_DONE ? clsStatus::Ok() : DatabaseError(db);
}

clsStatus Run(sqlite3* db, std::string_view sql) {
    Statement statement;
    clsStatus status = Prepare(db, sql, statement);
    return status.IsOk() ? StepToEnd(db, statement.get()) : status;
}

int BindText(sqlite3_stmt* statement, int index, std::string_view text) {
    return sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
}

int BindValue(sqlite3_stmt* statement, int index, const clsDbValue& value) {
    if (value.IsNull()) {
        return sqlite3_bind_null(statement, index);
    }
    if (value.IsText()) {
        return BindText(statement, index, value.AsText());
    }
    if (value.IsDouble()) {
        return sqlite3_bind_double(statement, index, value.AsDouble());
    }
    return sqlite3_bind_int64(statement, index, value.AsLong());
}

std::string TextOrEmpty(const char* text) { return text == nullptr ? std::string() : text; }

std::vector<clsRecordset::Column> ReadColumns(sqlite3_stmt* statement, int count) {
    std::vector<clsRecordset::Column> columns;
    columns.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        columns.push_back({TextOrEmpty(sqlite3_column_name(statement, i)),
                           TextOrEmpty(sqlite3_column_table_name(statement, i)),
                           TextOrEmpty(sqlite3_column_origin_name(statement, i))});
    }
    return columns;
}

// Steps through all rows. With hasRowId the last result column is the rowid that
// clsUpdatableSelect added: it is kept apart from the fields.
clsStatus ReadRecordset(sqlite3* db, sqlite3_stmt* statement, bool hasRowId,
                        std::weak_ptr<clsDbConnection*> connection,
                        std::unique_ptr<clsRecordset>& recordset) {
    const int fieldCount = sqlite3_column_count(statement) - (hasRowId ? 1 : 0);
    const std::string updateTable =
        hasRowId ? TextOrEmpty(sqlite3_column_table_name(statement, fieldCount)) : std::string();
    std::vector<std::vector<clsDbValue>> rows;
    std::vector<std::int64_t> rowIds;
    int rc = sqlite3_step(statement);
    for (; rc == SQLITE_ROW; rc = sqlite3_step(statement)) {
        std::vector<clsDbValue>& row = rows.emplace_back();
        row.reserve(static_cast<std::size_t>(fieldCount));
        for (int i = 0; i < fieldCount; ++i) {
            row.push_back(clsDbRow(statement).Value(i));
        }
        if (!updateTable.empty()) {
            rowIds.push_back(
                static_cast<std::int64_t>(sqlite3_column_int64(statement, fieldCount)));
        }
    }
    if (rc != SQLITE_DONE) {
        return DatabaseError(db);
    }
    recordset =
        std::make_unique<clsRecordset>(ReadColumns(statement, fieldCount), std::move(rows),
                                       updateTable, std::move(rowIds), std::move(connection));
    return clsStatus::Ok();
}

bool HasRow(sqlite3* db, std::string_view sql, std::initializer_list<std::string_view> values) {
    Statement statement;
    if (db == nullptr || !Prepare(db, sql, statement).IsOk()) {
        return false;
    }
    int index = 1;
    for (std::string_view value : values) {
        if (BindText(statement.get(), index++, value) != SQLITE_OK) {
            return false;
        }
    }
    return sqlite3_step(statement.get()) == SQLITE_ROW;
}

std::string QuotedName(std::string_view name) {
    std::string quoted = "\"";
    for (char c : name) {
        quoted += c;
        if (c == '"') {
            quoted += c;
        }
    }
    return quoted + "\"";
}

clsStatus UpdateRow(sqlite3* db, std::string_view table, const clsDbConnection::RowChange& change) {
    if (change.Columns.empty() || change.Columns.size() != change.Values.size()) {
        return clsStatus::Error(Code::Invalid, "row change without matching columns and values");
    }
    std::string sql = "UPDATE " + QuotedName(table) + " SET ";
    for (std::size_t i = 0; i < change.Columns.size(); ++i) {
        sql += (i == 0 ? "" : ", ") + QuotedName(change.Columns[i]) + " = ?";
    }
    sql += " WHERE rowid = ?";
    Statement statement;
    clsStatus status = Prepare(db, sql, statement);
    int rc = SQLITE_OK;
    int index = 1;
    for (std::size_t i = 0; status.IsOk() && rc == SQLITE_OK && i < change.Values.size(); ++i) {
        rc = BindValue(statement.get(), index++, change.Values[i]);
    }
    if (status.IsOk() && rc == SQLITE_OK) {
        rc = sqlite3_bind_int64(statement.get(), index, change.RowId);
    }
    if (status.IsOk()) {
        status = rc == SQLITE_OK ? StepToEnd(db, statement.get()) : DatabaseError(db);
    }
    if (status.IsOk() && sqlite3_changes64(db) == 0) {
        return clsStatus::Error(Code::NotFound, "the row to update no longer exists");
    }
    return status;
}

}  // namespace

clsDbConnection::clsDbConnection() = default;

clsDbConnection::~clsDbConnection() { Close(); }

clsStatus clsDbConnection::Open(const std::filesystem::path& file, bool create) {
    try {
        Close();
        std::error_code error;
        // Absolute, so that a name starting with "file:" is never read as a URI.
        const std::filesystem::path absolute = std::filesystem::absolute(file, error);
        if (error) {
            return clsStatus::Error(Code::Io, error.message(), error.value());
        }
        if (!create && !std::filesystem::exists(absolute, error) && !error) {
            return clsStatus::Error(Code::NotFound, "the database file does not exist");
        }
        const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
        clsStatus status = sqlite3_open_v2(absolute.c_str(), &mDb, flags, nullptr) == SQLITE_OK
                               ? Configure()
                               : DatabaseError(mDb);
        if (!status.IsOk()) {
            Close();
            return status;
        }
        mFile = file;
        mSelf = std::make_shared<clsDbConnection*>(this);
        return clsStatus::Ok();
    } catch (const std::exception& ex) {
        Close();
        return Failure(ex);
    }
}

clsStatus clsDbConnection::Configure() {
    sqlite3_extended_result_codes(mDb, 1);
    // The translator turns every Jet "..." into a literal, so in the SQLite text a double-quoted
    // word is a name; SQLite must not quietly read an unknown name as a string either.
    for (int option : {SQLITE_DBCONFIG_DQS_DML, SQLITE_DBCONFIG_DQS_DDL}) {
        if (sqlite3_db_config(mDb, option, 0, static_cast<int*>(nullptr)) != SQLITE_OK) {
            return DatabaseError(mDb);
        }
    }
    sqlite3_busy_timeout(mDb, kBusyTimeoutMs);
    // Reads the file header: a file that is not a database fails here, before anything is
    // written. The default rollback journal is kept, so the database stays one copyable file.
    clsStatus status = Run(mDb, "PRAGMA schema_version");
    const long primaryCode = status.Number() & 0xFF;
    if (!status.IsOk() && (primaryCode == SQLITE_NOTADB || primaryCode == SQLITE_CORRUPT)) {
        return clsStatus::Error(Code::Corrupt, status.Description(), status.Number());
    }
    if (status.IsOk()) {
        status = Run(mDb, "PRAGMA foreign_keys = OFF");  // Jet enforced none here
    }
    if (status.IsOk() && clsJetFunctions::Register(mDb) != SQLITE_OK) {
        status = DatabaseError(mDb);
    }
    return status;
}

void clsDbConnection::Close() {
    mSelf.reset();  // recordsets of this file can no longer write
    if (mDb != nullptr) {
        sqlite3_close_v2(mDb);
        mDb = nullptr;
    }
    mFile.clear();
}

bool clsDbConnection::IsOpen() const { return mDb != nullptr; }

clsStatus clsDbConnection::Query(std::string_view jetSql,
                                 std::unique_ptr<clsRecordset>& recordset) {
    recordset.reset();
    try {
        if (mDb == nullptr) {
            return NotOpen();
        }
        std::string sql;
        clsStatus status = clsJetTranslator::Translate(jetSql, sql);
        if (!status.IsOk()) {
            return status;
        }
        Statement statement;
        // Views and WITHOUT ROWID tables have no rowid: then the statement runs as written.
        const auto withRowId = clsUpdatableSelect::AddRowId(sql);
        if (withRowId && Prepare(mDb, *withRowId, statement).IsOk()) {
            return ReadRecordset(mDb, statement.get(), true, mSelf, recordset);
        }
        status = Prepare(mDb, sql, statement);
        return status.IsOk() ? ReadRecordset(mDb, statement.get(), false, mSelf, recordset)
                             : status;
    } catch (const std::exception& ex) {
        recordset.reset();
        return Failure(ex);
    }
}

clsStatus clsDbConnection::QueryEach(std::string_view jetSql, const RowReader& read) {
    try {
        if (mDb == nullptr) {
            return NotOpen();
        }
        Statement statement;
        if (const clsStatus status = PrepareJet(mDb, jetSql, statement); !status.IsOk()) {
            return status;
        }
        const clsDbRow row(statement.get());
        int rc = sqlite3_step(statement.get());
        for (; rc == SQLITE_ROW; rc = sqlite3_step(statement.get())) {
            if (!read(row)) {
                return clsStatus::Ok();
            }
        }
        return rc == SQLITE_DONE ? clsStatus::Ok() : DatabaseError(mDb);
    } catch (const std::exception& ex) {
        return Failure(ex);
    }
}

clsStatus clsDbConnection::Execute(std::string_view jetSql, long& recordsAffected) {
    recordsAffected = 0;
    try {
        if (mDb == nullptr) {
            return NotOpen();
        }
        if (const auto import = clsTextDriverImport::Recognise(jetSql)) {
            return import->Run(mDb, recordsAffected);
        }
        Statement statement;
        clsStatus status = PrepareJet(mDb, jetSql, statement);
        if (!status.IsOk()) {
            return status;
        }
        // sqlite3_changes keeps the count of the last INSERT/UPDATE/DELETE, so a statement
        // that changed nothing (DDL, SELECT) must not report it.
        const sqlite3_int64 before = sqlite3_total_changes64(mDb);
        status = StepToEnd(mDb, statement.get());
        if (status.IsOk() && sqlite3_total_changes64(mDb) != before) {
            recordsAffected = static_cast<long>(sqlite3_changes64(mDb));
        }
        return status;
    } catch (const std::exception& ex) {
        return Failure(ex);
    }
}

clsStatus clsDbConnection::ExecuteNative(std::string_view sqliteSql) {
    try {
        return mDb == nullptr ? NotOpen() : Run(mDb, sqliteSql);
    } catch (const std::exception& ex) {
        return Failure(ex);
    }
}

bool clsDbConnection::TableExists(std::string_view table) {
    try {
        return HasRow(mDb,
                      "SELECT 1 FROM sqlite_master WHERE type IN ('table', 'view') "
                      "AND name = ?1 COLLATE NOCASE",
                      {table});
    } catch (const std::exception&) {
        return false;
    }
}

bool clsDbConnection::ColumnExists(std::string_view table, std::string_view column) {
    try {
        return HasRow(mDb, "SELECT 1 FROM pragma_table_info(?1) WHERE name = ?2 COLLATE NOCASE",
                      {table, column});
    } catch (const std::exception&) {
        return false;
    }
}

clsStatus clsDbConnection::CompactInto(const std::filesystem::path& target) {
    try {
        if (mDb == nullptr) {
            return NotOpen();
        }
        std::error_code error;
        const std::string path = std::filesystem::absolute(target, error).string();  // not a URI
        if (error) {
            return clsStatus::Error(Code::Io, error.message(), error.value());
        }
        Statement statement;
        clsStatus status = Prepare(mDb, "VACUUM INTO ?1", statement);
        if (status.IsOk() && BindText(statement.get(), 1, path) != SQLITE_OK) {
            status = DatabaseError(mDb);
        }
        return status.IsOk() ? StepToEnd(mDb, statement.get()) : status;
    } catch (const std::exception& ex) {
        return Failure(ex);
    }
}

clsStatus clsDbConnection::UpdateRows(std::string_view table,
                                      const std::vector<RowChange>& changes) {
    clsStatus status = clsStatus::Ok();
    bool started = false;
    bool ownTransaction = false;
    try {
        if (mDb == nullptr) {
            return NotOpen();
        }
        // Outside a transaction the savepoint starts one; a failure then rolls all of it back.
        ownTransaction = sqlite3_get_autocommit(mDb) != 0;
        status = Run(mDb, "SAVEPOINT corvel_update_rows");
        started = status.IsOk();
        for (std::size_t i = 0; status.IsOk() && i < changes.size(); ++i) {
            status = UpdateRow(mDb, table, changes[i]);
        }
        if (status.IsOk()) {
            status = Run(mDb, "RELEASE corvel_update_rows");
        }
    } catch (const std::exception& ex) {
        status = Failure(ex);
    }
    if (started && !status.IsOk() && ownTransaction) {
        static_cast<void>(Run(mDb, "ROLLBACK"));
    } else if (started && !status.IsOk()) {
        static_cast<void>(Run(mDb, "ROLLBACK TO corvel_update_rows"));
        static_cast<void>(Run(mDb, "RELEASE corvel_update_rows"));
    }
    return status;
}
