#pragma once
// clsDataFile: a small in-memory table of records addressed by a key, each record a set of named
// values, that can be written out as a comma-separated text file. Records and fields keep their
// insertion order. Every operation lower-cases the key it is given except SetValue, which stores
// the key as given: callers that mix the two pass lower-case keys.
// Owned by the caller; one thread. Save reports failure by its result; nothing throws.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class clsDataFile {
public:
    void Clear();
    void SetValue(std::string_view key, std::string_view field, std::string_view value);
    std::string GetValue(std::string_view key, std::string_view field) const;
    void DeleteKey(std::string_view key);
    // 0, 1, 2, ... on successive calls.
    std::int32_t MaxKey();
    bool KeyExists(std::string_view key) const;
    void AddKey(std::string_view key);
    long Count() const { return static_cast<long>(mRecords.size()); }

    // Heading "Key" + the first record's field names; then each record's values under those
    // headings, written as they are (no quoting).
    bool Save() const;
    bool SaveAs(const std::filesystem::path& file);

    const std::filesystem::path& FileName() const { return mFileName; }
    void SetFileName(std::filesystem::path file) { mFileName = std::move(file); }

private:
    using Record = std::vector<std::pair<std::string, std::string>>;
    using Entry = std::pair<std::string, Record>;

    std::vector<Entry>::iterator Find(std::string_view key);
    std::vector<Entry>::const_iterator Find(std::string_view key) const;

    std::vector<Entry> mRecords;
    std::filesystem::path mFileName;
    std::int32_t mKeyCounter = 0;
};
