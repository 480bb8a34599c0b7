#pragma once
// clsTextDriverImport: the old engine's text-driver bulk insert, run on SQLite:
//   INSERT INTO [table] SELECT * FROM [Text;Database=folder;HDR=YES].[file]
// (keywords in any case, the folder without its trailing separator, an optional ";" at the
// end). The file <folder>/<file> is comma-separated, its first line the column headings. Blanks
// around a cell are not part of it, since the writers put ", " between cells; a cell whose first
// non-blank character is a double quote is quoted as in RFC 4180 (commas, line breaks and doubled
// quotes inside), its blanks kept. An empty cell is Null; a line with only empty cells is no row.
// Each cell goes into the table's column of its heading's name (any case, any order; columns
// without a heading, such as an automatic ID, are left to SQLite); INTEGER columns store whole
// numbers as numbers through SQLite's column affinity.
//
// Made by clsDbConnection::Execute for a text of that form; event-loop thread only.
// Failure: Invalid for a file name holding "/" or "..", a heading that is no column of the table,
// or a row with more cells than headings; NotFound for a missing table or file; Corrupt for a file
// that ends inside a quoted cell or is too large; Database (SQLite's code, the row's number in the
// description) for a row SQLite refuses. Every row goes in, or none. Never throws.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/clsStatus.h"

struct sqlite3;

class clsTextDriverImport {
public:
    // The Jet text that imports folder/fileName into table (the form Recognise reads).
    static std::string ImportStatement(std::string_view table, const std::filesystem::path& folder,
                                       std::string_view fileName);
    // The import that jetSql asks for; nothing when the text has another form.
    static std::optional<clsTextDriverImport> Recognise(std::string_view jetSql);

    // Inserts every row of the file under one savepoint (so also inside a transaction);
    // recordsAffected gets the number of rows inserted, 0 on failure.
    clsStatus Run(sqlite3* db, long& recordsAffected) const;

private:
    clsTextDriverImport(std::string table, std::filesystem::path folder, std::string fileName)
        : mTable(std::move(table)), mFolder(std::move(folder)), mFileName(std::move(fileName)) {}

    clsStatus InsertRows(sqlite3* db, long& recordsAffected) const;

    std::string mTable;
    std::filesystem::path mFolder;
    std::string mFileName;
};
