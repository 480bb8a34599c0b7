#pragma once
// clsRecordset: the rows of one query, read in full when it opens (a static snapshot, like the
// keyset cursors the rules code was written against), with a current-row cursor. Fields are found
// by name without regard to case, either plain ("ID") or qualified by their table ("Rules.ID").
//
// A recordset over one table (a SELECT with a single table in FROM and no GROUP BY, DISTINCT or
// aggregate) is updatable: SetField changes the current row in memory and UpdateBatch writes every
// changed field back, by rowid, in one transaction; its rows that tie in the ORDER BY (all rows,
// without one) come in store order, as Jet's did. Owned by the caller; may outlive the
// clsDbConnection that opened it, but UpdateBatch then fails, as it does once the connection was
// closed. Event-loop thread only.
// Failure: Field() of an unknown name or with no current row gives Null and sets LastError().

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbValue.h"
#include "foundation/clsStatus.h"

class clsDbConnection;

class clsRecordset {
public:
    struct Column {
        std::string Name;         // as the query names it ("ID", "Dups")
        std::string Table;        // the table it comes from, "" for an expression
        std::string Origin = {};  // the table's column it reads ("" for an expression): what
                                  // UpdateBatch writes, also when the query renamed the field
    };

    clsRecordset(std::vector<Column> columns, std::vector<std::vector<clsDbValue>> rows,
                 std::string updateTable, std::vector<std::int64_t> rowIds,
                 std::weak_ptr<clsDbConnection*> connection);

    // Eof: past the last row (or no rows). Bof: before the first row (or no rows).
    bool Eof() const;
    bool Bof() const;
    void MoveFirst();
    void MoveNext();
    void MovePrevious();
    void MoveLast();
    long RecordCount() const;

    int FieldCount() const;
    const Column& FieldInfo(int index) const;
    bool HasField(std::string_view name) const;
    clsDbValue Field(std::string_view name) const;
    clsDbValue Field(int index) const;

    // Updatable recordsets only; returns false (and sets LastError) otherwise.
    bool SetField(std::string_view name, clsDbValue value);
    bool UpdateBatch();
    void Close();

    const clsStatus& LastError() const { return mLastError; }

private:
    int FindField(std::string_view name) const;
    bool HasCurrentRow() const;

    std::vector<Column> mColumns;
    std::vector<std::vector<clsDbValue>> mRows;
    std::string mUpdateTable;           // "" when not updatable
    std::vector<std::int64_t> mRowIds;  // one per row when updatable
    std::vector<bool> mChanged;         // per field: row * FieldCount() + column
    std::weak_ptr<clsDbConnection*> mConnection;
    long mPosition = 0;
    mutable clsStatus mLastError = clsStatus::Ok();
};
