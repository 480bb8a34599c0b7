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

// Several rows to a statement: a statement per row would cost SQLite its set-up, and a table with
// AUTOINCREMENT its sequence bookkeeping, once for every row.
constexpr std::size_t kRowsPerInsert = 64;
constexpr std::size_t kValuesPerInsert = 999;  // SQLite's oldest limit on bound values

// "INSERT INTO "table" ("Token", "Count") VALUES " and "(?, ?)" for the headings, in their order.
clsStatus InsertSql(const std::string& table, const Cells& columns, const Cells& headings,
                    std::string& head, std::string& values) {
    std::string names;
    for (const std::string& heading : headings) {
        const auto column = std::find_if(columns.begin(), columns.end(),
                                         [&](const auto& name) { return SameName(name, heading); });
        if (column == columns.end()) {
            return clsStatus::Error(Code::Invalid,
                                    "heading \"" + heading + "\" is no column of " + table);
        }
        names += (names.empty() ? "" : ", ") + QuotedName(*column);
        values += values.empty() ? "(?" : ", ?";
    }
    head = "INSERT INTO " + QuotedName(table) + " (" + names + ") VALUES ";
    values += ")";
    return clsStatus::Ok();
}

// The statements that insert rows of the headings' width: one row, and kRowsPerInsert rows (or
// as many as the limit on bound values allows).
struct clsInserts {
    Statement One;
    Statement Many;
    std::size_t Width = 0;
    std::size_t RowsPerMany = 1;
};

clsStatus PrepareInserts(sqlite3* db, const std::string& table, const Cells& columns,
                         const Cells& headings, clsInserts& inserts) {
    std::string head;
    std::string values;
    clsStatus status = InsertSql(table, columns, headings, head, values);
    inserts.Width = headings.size();
    inserts.RowsPerMany =
        std::clamp<std::size_t>(kValuesPerInsert / inserts.Width, 1, kRowsPerInsert);
    std::string many = head + values;
    for (std::size_t row = 1; row < inserts.RowsPerMany; ++row) {
        many.append(", ").append(values);
    }
    if (status.IsOk()) {
        status = Prepare(db, head + values, inserts.One);
    }
    return status.IsOk() ? Prepare(db, many, inserts.Many) : status;
}

// Binds rows (cells missing at a row's end are Null) and runs insert; SQLite's error is left
// for the caller to read.
bool BindAndStep(sqlite3_stmt* insert, const Cells* rows, std::size_t count, std::size_t width) {
    sqlite3_reset(insert);
    for (std::size_t row = 0; row < count; ++row) {
        for (std::size_t i = 0; i < width; ++i) {
            const int index = static_cast<int>(row * width + i) + 1;
            const std::string* cell = i < rows[row].size() ? &rows[row][i] : nullptr;
            const int rc = cell == nullptr || cell->empty()
                               ? sqlite3_bind_null(insert, index)
                               : sqlite3_bind_text64(insert, index, cell->data(), cell->size(),
                                                     SQLITE_STATIC, SQLITE_UTF8);
            if (rc != SQLITE_OK) {
                return false;
            }
        }
    }
    return sqlite3_step(insert) == SQLITE_DONE;
}

// Inserts count rows, the first of them the file's row firstRow. A refused statement undoes
// itself, so the rows are then tried one at a time to name the row SQLite refuses.
clsStatus InsertPending(sqlite3* db, const clsInserts& inserts, const std::vector<Cells>& rows,
                        std::size_t count, long firstRow) {
    if (count == inserts.RowsPerMany &&
        BindAndStep(inserts.Many.get(), rows.data(), count, inserts.Width)) {
        return clsStatus::Ok();
    }
    for (std::size_t row = 0; row < count; ++row) {
        if (!BindAndStep(inserts.One.get(), &rows[row], 1, inserts.Width)) {
            return DatabaseError(db,
                                 "row " + std::to_string(firstRow + static_cast<long>(row)) + ": ");
        }
    }
    return clsStatus::Ok();
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
    Cells headings;
    if (NextRecord(text, pos, headings) != clsRecord::Read) {
        return clsStatus::Error(Code::Corrupt, mFileName + " has no heading line");
    }
    clsInserts inserts;
    clsStatus status = PrepareInserts(db, mTable, columns, headings, inserts);
    std::vector<Cells> pending(inserts.RowsPerMany);
    std::size_t count = 0;
    clsRecord next = clsRecord::End;
    while (status.IsOk() && (next = NextRecord(text, pos, pending[count])) == clsRecord::Read) {
        const long row = recordsAffected + static_cast<long>(count) + 1;
        if (pending[count].size() > inserts.Width) {
            status = clsStatus::Error(Code::Invalid,
                                      "row " + std::to_string(row) + ": more cells than headings");
        } else if (++count == pending.size()) {
            status = InsertPending(db, inserts, pending, count, row + 1 - static_cast<long>(count));
            recordsAffected += status.IsOk() ? static_cast<long>(count) : 0;
            count = 0;
        }
    }
    if (status.IsOk() && next == clsRecord::Unterminated) {
        status = clsStatus::Error(Code::Corrupt, mFileName + " ends inside a quoted cell");
    }
    if (status.IsOk() && count > 0) {
        status = InsertPending(db, inserts, pending, count, recordsAffected + 1);
        recordsAffected += status.IsOk() ? static_cast<long>(count) : 0;
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
