#pragma once
// clsDbRow: the current row of a query being stepped through, read in place: a text is a view of
// SQLite's own copy, good until the next row. For reading many rows without holding them (the
// spam corpora); clsRecordset holds its rows, made from these.
// Made by clsDbConnection for one query and shown each of its rows in turn; never kept by the
// reader. Never throws but for allocation.

#include <cstdint>
#include <string>
#include <string_view>

#include "database/clsDbValue.h"

struct sqlite3_stmt;

class clsDbRow {
public:
    explicit clsDbRow(sqlite3_stmt* statement) : mStatement(statement) {}

    int FieldCount() const;
    // The index of the field of that name, any case; -1 when the query has none.
    int FieldIndex(std::string_view name) const;
    // Texts and blobs come back as their bytes, unchanged.
    clsDbValue Value(int column) const;
    // As Value(column).AsText() and AsLong() give them, without copying a text field.
    std::string_view Text(int column) const;
    std::int64_t Long(int column) const;

private:
    sqlite3_stmt* mStatement;
    mutable std::string mConverted;  // Text's answer for a field that is not text
};
