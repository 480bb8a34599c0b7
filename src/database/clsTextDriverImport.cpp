#include "database/clsTextDriverImport.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <memory>
#include <vector>

#include "database/clsCsvTable.h"
#include "foundation/CommonHelpers.h"
#include "foundation/clsRegExp.h"

namespace {

using Code = clsStatus::Code;
using Cells = std::vector<std::string>;

constexpr std::string_view kBlanks = " \t\r";

struct StatementCloser {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

clsStatus DatabaseError(sqlite3* db, std::string_view context) {
    return clsStatus::Error(Code::Database, std::string(context) + sqlite3_errmsg(db),
                            sqlite3_extended_errcode(db));
}

clsStatus Prepare(sqlite3* db, const std::string& sql, Statement& statement) {
    sqlite3_stmt* raw = nullptr;
    const int rc = sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr);
    statement.reset(raw);
    return rc == SQLITE_OK ? clsStatus::Ok() : DatabaseError(db, "");
}

clsStatus RunSql(sqlite3* db, const std::string& sql) {
    Statement statement;
    clsStatus status = Prepare(db, sql, statement);
    if (status.IsOk() && sqlite3_step(statement.get()) != SQLITE_DONE) {
        status = DatabaseError(db, "");
    }
    return status;
}

std::string QuotedName(std::string_view name) {
    std::string quoted = "\"";
    for (char c : name) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + "\"";
}

bool SameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

// The table's column names as the schema spells them; none when there is no such table.
Cells TableColumns(sqlite3* db, const std::string& table) {
    Cells columns;
    Statement statement;
    if (Prepare(db, "SELECT name FROM pragma_table_info(?1)", statement).IsOk() &&
        sqlite3_bind_text64(statement.get(), 1, table.data(), table.size(), SQLITE_STATIC,
                            SQLITE_UTF8) == SQLITE_OK) {
        while (sqlite3_step(statement.get()) == SQLITE_ROW) {
            columns.emplace_back(
                reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0)));
        }
    }
    return columns;
}

// One cell from pos, left at the comma or line end that follows it. False when the text ends
// inside a quoted cell.
bool ReadCell(std::string_view text, std::size_t& pos, std::string& cell) {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
    if (pos < text.size() && text[pos] == '"') {
        for (++pos;; ++pos) {
            if (pos >= text.size()) {
                return false;
            }
            if (text[pos] == '"' && (pos + 1 >= text.size() || text[pos + 1] != '"')) {
                break;
            }
            pos += text[pos] == '"' ? 1 : 0;  // a doubled quote is one quote
            cell += text[pos];
        }
        ++pos;
    }
    // An unquoted cell, or what follows a closing quote (kept, as a lenient reader would).
    const std::size_t end = std::min(text.find_first_of(",\n", pos), text.size());
    cell += Trimmed(text.substr(pos, end - pos), kBlanks);
    pos = end;
    return true;
}

enum class clsRecord { Read, End, Unterminated };

// The next line that has a non-empty cell; pos moves past it.
clsRecord NextRecord(std::string_view text, std::size_t& pos, Cells& cells) {
    while (pos < text.size()) {
        cells.clear();
        do {
            pos += cells.empty() ? 0 : 1;  // past the comma
            if (!ReadCell(text, pos, cells.emplace_back())) {
                return clsRecord::Unterminated;
            }
        } while (pos < text.size() && text[pos] == ',');
        pos += pos < text.size() ? 1 : 0;  // past the line feed
        if (std::any_of(cells.begin(), cells.end(), [](const auto& c) { return !c.empty(); })) {
            return clsRecord::Read;
        }
    }
    return clsRecord::End;
}

// "INSERT INTO "table" ("Token", "Count") VALUES (?, ?)" for the headings, in their order.
clsStatus InsertSql(const std::string& table, const Cells& columns, const Cells& headings,
                    std::string& sql) {
    std::string names;
    std::string values;
    for (const std::string& heading : headings) {
        const auto column = std::find_if(columns.begin(), columns.end(),
                                         [&](const auto& name) { return SameName(name, heading); });
        if (column == columns.end()) {
            return clsStatus::Error(Code::Invalid,
                                    "heading \"" + heading + "\" is no column of " + table);
        }
        names += (names.empty() ? "" : ", ") + QuotedName(*column);
        values += values.empty() ? "?" : ", ?";
    }
    sql = "INSERT INTO " + QuotedName(table) + " (" + names + ") VALUES (" + values + ")";
    return clsStatus::Ok();
}

clsStatus InsertRow(sqlite3* db, sqlite3_stmt* insert, const Cells& cells, long row) {
    const std::string context = "row " + std::to_string(row) + ": ";
    const int parameters = sqlite3_bind_parameter_count(insert);
    if (cells.size() > static_cast<std::size_t>(parameters)) {
        return clsStatus::Error(Code::Invalid, context + "more cells than headings");
    }
    sqlite3_reset(insert);
    sqlite3_clear_bindings(insert);  // cells missing at the end of a row stay Null
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const int index = static_cast<int>(i) + 1;
        const int rc = cells[i].empty()
                           ? sqlite3_bind_null(insert, index)
                           : sqlite3_bind_text64(insert, index, cells[i].data(), cells[i].size(),
                                                 SQLITE_STATIC, SQLITE_UTF8);
        if (rc != SQLITE_OK) {
            return DatabaseError(db, context);
        }
    }
    return sqlite3_step(insert) == SQLITE_DONE ? clsStatus::Ok() : DatabaseError(db, context);
}

}  // namespace

std::optional<clsTextDriverImport> clsTextDriverImport::Recognise(std::string_view jetSql) {
    try {
        static const clsRegExp form(R"(^\s*INSERT\s+INTO\s+\[([^\]]+)\]\s+SELECT\s+\*\s+FROM\s+)"
                                    R"(\[Text;Database=(.+?);HDR=YES\]\.\[([^\]]+)\]\s*;?\s*$)",
                                    true);
        const std::vector<std::string_view> parts = form.SubMatches(jetSql);
        if (parts.size() != 4) {
            return std::nullopt;
        }
        return clsTextDriverImport(std::string(parts[1]), std::filesystem::path(parts[2]),
                                   std::string(parts[3]));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

clsStatus clsTextDriverImport::Run(sqlite3* db, long& recordsAffected) const {
    recordsAffected = 0;
    try {
        // The name comes from SQL text: it may only name a file inside the folder.
        if (mFileName.find('/') != std::string::npos || mFileName.find("..") != std::string::npos ||
            mFileName.find('\0') != std::string::npos) {
            return clsStatus::Error(Code::Invalid, "file name refused: " + mFileName);
        }
        clsStatus status = RunSql(db, "SAVEPOINT corvel_text_import");
        if (!status.IsOk()) {
            return status;
        }
        status = InsertRows(db, recordsAffected);
        if (!status.IsOk()) {
            recordsAffected = 0;
            static_cast<void>(RunSql(db, "ROLLBACK TO corvel_text_import"));
        }
        const clsStatus released = RunSql(db, "RELEASE corvel_text_import");
        return status.IsOk() ? released : status;
    } catch (const std::exception& error) {
        static_cast<void>(RunSql(db, "ROLLBACK TO corvel_text_import"));
        static_cast<void>(RunSql(db, "RELEASE corvel_text_import"));
        recordsAffected = 0;
        return clsStatus::Error(Code::Database, error.what());
    }
}

clsStatus clsTextDriverImport::InsertRows(sqlite3* db, long& recordsAffected) const {
    const Cells columns = TableColumns(db, mTable);
    if (columns.empty()) {
        return clsStatus::Error(Code::NotFound, "no table " + mTable);
    }
    std::string text;
    if (clsStatus read = clsCsvTable::ReadText(mFolder / mFileName, text); !read.IsOk()) {
        return read;
    }
    std::size_t pos = 0;
    Cells cells;
    if (NextRecord(text, pos, cells) != clsRecord::Read) {
        return clsStatus::Error(Code::Corrupt, mFileName + " has no heading line");
    }
    std::string sql;
    Statement insert;
    clsStatus status = InsertSql(mTable, columns, cells, sql);
    if (status.IsOk()) {
        status = Prepare(db, sql, insert);
    }
    clsRecord next = clsRecord::End;
    while (status.IsOk() && (next = NextRecord(text, pos, cells)) == clsRecord::Read) {
        status = InsertRow(db, insert.get(), cells, recordsAffected + 1);
        recordsAffected += status.IsOk() ? 1 : 0;
    }
    if (status.IsOk() && next == clsRecord::Unterminated) {
        status = clsStatus::Error(Code::Corrupt, mFileName + " ends inside a quoted cell");
    }
    return status;
}

std::string clsTextDriverImport::ImportStatement(std::string_view table,
                                                 const std::filesystem::path& folder,
                                                 std::string_view fileName) {
    std::string folderText = folder.string();  // the driver wants no trailing separator
    while (folderText.size() > 1 && folderText.back() == '/') {
        folderText.pop_back();
    }
    return "INSERT INTO [" + std::string(table) + "] SELECT * FROM [Text;Database=" + folderText +
           ";HDR=YES].[" + std::string(fileName) + "]";
}
