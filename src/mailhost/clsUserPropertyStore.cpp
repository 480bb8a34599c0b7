#include "mailhost/clsUserPropertyStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <memory>

namespace {

constexpr std::string_view kSchema =
    "CREATE TABLE IF NOT EXISTS Properties (ItemKey TEXT NOT NULL, Name TEXT NOT NULL COLLATE "
    "NOCASE, Type INTEGER NOT NULL, Value TEXT NOT NULL, PRIMARY KEY (ItemKey, Name))";

std::string Folded(std::string_view name) {
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return folded;
}

std::string Column(sqlite3_stmt* statement, int column) {
    const auto* text = sqlite3_column_text(statement, column);
    return text ? std::string(reinterpret_cast<const char*>(text),
                              static_cast<size_t>(sqlite3_column_bytes(statement, column)))
                : std::string();
}

}  // namespace

void clsUserPropertyStore::StatementCloser::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

clsUserPropertyStore::~clsUserPropertyStore() { Close(); }

bool clsUserPropertyStore::Open(const std::filesystem::path& file) {
    Close();
    if (sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
            SQLITE_OK ||
        !Run(kSchema, {})) {
        mLastError = clsStatus::Error(clsStatus::Code::Io, "cannot open the user properties " +
                                                               file.string() + ": " +
                                                               (mDb ? sqlite3_errmsg(mDb) : ""));
        Close();
        return false;
    }
    sqlite3_busy_timeout(mDb, 5000);
    // A write-ahead log synced at checkpoints: a crash of the process loses nothing, and marking
    // a thousand items does not cost three disk flushes each.
    sqlite3_exec(mDb, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr,
                 nullptr);
    return Refresh();
}

void clsUserPropertyStore::Close() {
    if (mInTransaction) {
        Commit();
    }
    mStatements.clear();  // finalized before their connection closes
    if (mDb != nullptr) {
        sqlite3_close_v2(mDb);
        mDb = nullptr;
    }
    mCache.clear();
    mDataVersion = -1;
    mBatchDepth = 0;
}

bool clsUserPropertyStore::Exec(const char* sql) {
    if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK) {
        return true;
    }
    mLastError = clsStatus::Error(clsStatus::Code::Database, sqlite3_errmsg(mDb),
                                  sqlite3_extended_errcode(mDb));
    return false;
}

void clsUserPropertyStore::BeginBatch() {
    if (mBatchDepth++ == 0) {
        Refresh();
    }
}

bool clsUserPropertyStore::EndBatch() {
    if (mBatchDepth == 0 || --mBatchDepth > 0 || !mInTransaction) {
        return true;
    }
    return Commit();
}

bool clsUserPropertyStore::Commit() {
    mInTransaction = false;
    mUncommitted = 0;
    if (Exec("COMMIT")) {
        return true;
    }
    sqlite3_exec(mDb, "ROLLBACK", nullptr, nullptr, nullptr);
    mDataVersion = -1;  // the memory copy holds writes the file has not: read the file again
    return false;
}

// The marks of a batch say no more than "done already"; a crash before a commit loses at most
// kBatchWrites of them, and the work they stood for is simply done again.
bool clsUserPropertyStore::Write(std::string_view sql,
                                 std::initializer_list<std::string_view> values) {
    if (mBatchDepth > 0 && !mInTransaction && mDb != nullptr) {
        if (!Exec("BEGIN IMMEDIATE")) {
            return false;
        }
        mInTransaction = true;
    }
    if (!Run(sql, values)) {
        return false;
    }
    return !mInTransaction || ++mUncommitted < kBatchWrites || Commit();
}

void clsUserPropertyStore::RefreshOutsideBatch() {
    if (mBatchDepth == 0 || mDataVersion < 0) {
        Refresh();
    }
}

bool clsUserPropertyStore::Run(std::string_view sql,
                               std::initializer_list<std::string_view> values) {
    if (mDb == nullptr) {
        mLastError = clsStatus::Error(clsStatus::Code::Invalid, "the user properties are not open");
        return false;
    }
    auto prepared = mStatements.find(sql);
    if (prepared == mStatements.end()) {
        sqlite3_stmt* made = nullptr;
        if (sqlite3_prepare_v3(mDb, sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &made, nullptr) != SQLITE_OK) {
            mLastError = clsStatus::Error(clsStatus::Code::Database, sqlite3_errmsg(mDb),
                                          sqlite3_extended_errcode(mDb));
            return false;
        }
        prepared = mStatements.emplace(std::string(sql), Statement(made)).first;
    }
    sqlite3_stmt* raw = prepared->second.get();
    int index = 1;
    for (std::string_view value : values) {
        sqlite3_bind_text64(raw, index++, value.data(), value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8);
    }
    const int stepped = sqlite3_step(raw);
    sqlite3_reset(raw);  // the next use starts afresh, and no statement is left open
    if (stepped != SQLITE_DONE) {
        mLastError = clsStatus::Error(clsStatus::Code::Database, sqlite3_errmsg(mDb),
                                      sqlite3_extended_errcode(mDb));
        return false;
    }
    return true;
}

// Another process (the daemon beside a command, say) may have written: re-read when the file's
// data version moved.
bool clsUserPropertyStore::Refresh() {
    if (mDb == nullptr) {
        return false;
    }
    sqlite3_stmt* raw = nullptr;
    sqlite3_prepare_v2(mDb, "PRAGMA data_version", -1, &raw, nullptr);
    Statement version(raw);
    const std::int64_t dataVersion =
        raw && sqlite3_step(raw) == SQLITE_ROW ? sqlite3_column_int64(raw, 0) : -2;
    if (dataVersion == mDataVersion && dataVersion >= 0) {
        return true;
    }
    mCache.clear();
    sqlite3_prepare_v2(mDb, "SELECT ItemKey, Name, Type, Value FROM Properties", -1, &raw, nullptr);
    Statement rows(raw);
    while (raw && sqlite3_step(raw) == SQLITE_ROW) {
        const std::string name = Column(raw, 1);
        clsUserPropertyValue value{static_cast<UserPropertyType>(sqlite3_column_int(raw, 2)),
                                   Column(raw, 3)};
        mCache[Column(raw, 0)][Folded(name)] = {name, std::move(value)};
    }
    mDataVersion = dataVersion;
    return raw != nullptr;
}

std::optional<clsUserPropertyValue> clsUserPropertyStore::Find(std::string_view itemKey,
                                                               std::string_view name) {
    RefreshOutsideBatch();
    const auto item = mCache.find(itemKey);
    if (item == mCache.end()) {
        return std::nullopt;
    }
    const auto property = item->second.find(Folded(name));
    if (property == item->second.end()) {
        return std::nullopt;
    }
    return property->second.second;
}

bool clsUserPropertyStore::Set(std::string_view itemKey, std::string_view name,
                               const clsUserPropertyValue& value) {
    const std::string type = std::to_string(static_cast<int>(value.Type));
    if (!Write(
            "INSERT INTO Properties (ItemKey, Name, Type, Value) VALUES (?, ?, ?, ?) ON CONFLICT "
            "(ItemKey, Name) DO UPDATE SET Type=excluded.Type, Value=excluded.Value",
            {itemKey, name, type, value.Text})) {
        return false;
    }
    auto& properties = mCache[std::string(itemKey)];
    const std::string folded = Folded(name);
    const auto existing = properties.find(folded);
    const std::string storedName =
        existing != properties.end() ? existing->second.first : std::string(name);
    properties[folded] = {storedName, value};
    return true;
}

bool clsUserPropertyStore::Remove(std::string_view itemKey, std::string_view name) {
    if (!Write("DELETE FROM Properties WHERE ItemKey=? AND Name=?", {itemKey, name})) {
        return false;
    }
    if (const auto item = mCache.find(itemKey); item != mCache.end()) {
        item->second.erase(Folded(name));
    }
    return true;
}

clsUserPropertyStore::Properties clsUserPropertyStore::All(std::string_view itemKey) {
    RefreshOutsideBatch();
    Properties all;
    if (const auto item = mCache.find(itemKey); item != mCache.end()) {
        for (const auto& [folded, property] : item->second) {
            all.emplace(property.first, property.second);
        }
    }
    return all;
}

bool clsUserPropertyStore::CopyAll(std::string_view fromKey, std::string_view toKey) {
    if (!Write("INSERT OR REPLACE INTO Properties (ItemKey, Name, Type, Value) SELECT ?, Name, "
               "Type, Value FROM Properties WHERE ItemKey=?",
               {toKey, fromKey})) {
        return false;
    }
    if (const auto item = mCache.find(fromKey); item != mCache.end()) {
        mCache[std::string(toKey)] = item->second;
    }
    return true;
}

bool clsUserPropertyStore::RemoveAll(std::string_view itemKey) {
    if (!Write("DELETE FROM Properties WHERE ItemKey=?", {itemKey})) {
        return false;
    }
    if (const auto item = mCache.find(itemKey); item != mCache.end()) {
        mCache.erase(item);
    }
    return true;
}

bool clsUserPropertyStore::Rename(std::string_view fromKey, std::string_view toKey) {
    if (fromKey == toKey) {
        return true;
    }
    if (!Write("UPDATE OR REPLACE Properties SET ItemKey=? WHERE ItemKey=?", {toKey, fromKey})) {
        return false;
    }
    if (const auto item = mCache.find(fromKey); item != mCache.end()) {
        auto moved = std::move(item->second);
        mCache.erase(item);
        mCache[std::string(toKey)] = std::move(moved);
    }
    return true;
}
