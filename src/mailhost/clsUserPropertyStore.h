#pragma once
// clsUserPropertyStore: the user properties of one store's items ("RRCV", "CVProcessed", ...),
// keyed by the item's key, kept in an SQLite file of the store's own. The whole table is held in
// memory and re-read when another process changed the file; every write goes to the file at once.
// Property names compare without regard to case.
// Owned by its clsMailStore. Event-loop thread only. Failure: reads give nothing, writes false,
// LastError() says why; nothing throws.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "foundation/clsStatus.h"
#include "mailhost/clsMailTypes.h"

struct sqlite3;

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

    const clsStatus& LastError() const { return mLastError; }

private:
    bool Refresh();
    bool Run(std::string_view sql, std::initializer_list<std::string_view> values);

    sqlite3* mDb = nullptr;
    std::int64_t mDataVersion = -1;
    // item key -> (lower-cased name -> stored name and value)
    std::map<std::string, std::map<std::string, std::pair<std::string, clsUserPropertyValue>>,
             std::less<>>
        mCache;
    clsStatus mLastError = clsStatus::Ok();
};
