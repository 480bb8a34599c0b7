#pragma once
// clsUserPropertyStore: the user properties of one store's items ("RRCV", "CVProcessed", ...),
// keyed by the item's key, kept in an SQLite file of the store's own. The whole table is held in
// memory and re-read when another process changed the file; every write goes to the file at once,
// or, inside a batch (clsUserPropertyBatch), in one transaction with the batch's other writes.
// Property names compare without regard to case.
// Owned by its clsMailStore. Event-loop thread only. Failure: reads give nothing, writes false,
// LastError() says why; nothing throws.

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "foundation/clsStatus.h"
#include "mailhost/clsMailTypes.h"

struct sqlite3;
struct sqlite3_stmt;

enum class UserPropertyType { Text = 1, Number = 3, YesNo = 6, DateTime = 5 };

struct clsUserPropertyValue {
    UserPropertyType Type = UserPropertyType::Text;
    std::string Text;  // the value as text: numbers in decimal, yes/no "true"/"false", dates
                       // "yyyy-mm-dd hh:nn:ss" in local time; "" is an empty value
};

class clsUserPropertyStore {
public:
    using Properties = std::map<std::string, clsUserPropertyValue, std::less<>>;

    clsUserPropertyStore() = default;
    ~clsUserPropertyStore();
    clsUserPropertyStore(const clsUserPropertyStore&) = delete;
    clsUserPropertyStore& operator=(const clsUserPropertyStore&) = delete;

    bool Open(const std::filesystem::path& file);
    void Close();

    std::optional<clsUserPropertyValue> Find(std::string_view itemKey, std::string_view name);
    bool Set(std::string_view itemKey, std::string_view name, const clsUserPropertyValue& value);
    bool Remove(std::string_view itemKey, std::string_view name);
    // Every property of the item (names in their stored spelling).
    Properties All(std::string_view itemKey);
    // A copy of an item gets its properties; a removed item loses them; a re-keyed item keeps them.
    bool CopyAll(std::string_view fromKey, std::string_view toKey);
    bool RemoveAll(std::string_view itemKey);
    bool Rename(std::string_view fromKey, std::string_view toKey);

    // A batch, for many writes in a row: they go in one transaction, committed every
    // kBatchWrites writes and at EndBatch, and reads trust the memory copy, the file having been
    // checked for other writers once at BeginBatch. Pairs nest; the outermost counts. EndBatch
    // is false when its commit failed (the batch's uncommitted writes are then lost).
    static constexpr std::size_t kBatchWrites = 200;
    void BeginBatch();
    bool EndBatch();

    const clsStatus& LastError() const { return mLastError; }

private:
    struct StatementCloser {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

    bool Refresh();
    // Refresh, but inside a batch only when a failed commit left the memory copy in doubt.
    void RefreshOutsideBatch();
    bool Run(std::string_view sql, std::initializer_list<std::string_view> values);
    // Run for a change: inside a batch it joins the batch's transaction.
    bool Write(std::string_view sql, std::initializer_list<std::string_view> values);
    bool Exec(const char* sql);
    bool Commit();

    sqlite3* mDb = nullptr;
    // Prepared once per text: the writes of a batch differ only in their values.
    std::map<std::string, Statement, std::less<>> mStatements;
    std::size_t mBatchDepth = 0;
    std::size_t mUncommitted = 0;  // writes in the open transaction
    bool mInTransaction = false;
    std::int64_t mDataVersion = -1;
    // item key -> (lower-cased name -> stored name and value)
    std::map<std::string, std::map<std::string, std::pair<std::string, clsUserPropertyValue>>,
             std::less<>>
        mCache;
    clsStatus mLastError = clsStatus::Ok();
};
