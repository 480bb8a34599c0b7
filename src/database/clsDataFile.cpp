#include "database/clsDataFile.h"

#include <algorithm>
#include <fstream>

#include "foundation/CommonHelpers.h"

std::vector<clsDataFile::Entry>::iterator clsDataFile::Find(std::string_view key) {
    return std::find_if(mRecords.begin(), mRecords.end(),
                        [key](const Entry& entry) { return entry.first == key; });
}

std::vector<clsDataFile::Entry>::const_iterator clsDataFile::Find(std::string_view key) const {
    return std::find_if(mRecords.begin(), mRecords.end(),
                        [key](const Entry& entry) { return entry.first == key; });
}

void clsDataFile::Clear() { mRecords.clear(); }

void clsDataFile::SetValue(std::string_view key, std::string_view field, std::string_view value) {
    auto entry = Find(key);
    if (entry == mRecords.end()) {
        mRecords.push_back({std::string(key), {}});
        entry = std::prev(mRecords.end());
    }
    Record& record = entry->second;
    auto existing = std::find_if(record.begin(), record.end(),
                                 [field](const auto& pair) { return pair.first == field; });
    if (existing != record.end()) {
        existing->second = value;
    } else {
        record.emplace_back(field, value);
    }
}

std::string clsDataFile::GetValue(std::string_view key, std::string_view field) const {
    const auto entry = Find(AsciiLower(key));
    if (entry == mRecords.end()) {
        return {};
    }
    for (const auto& [name, value] : entry->second) {
        if (name == field) {
            return value;
        }
    }
    return {};
}

void clsDataFile::DeleteKey(std::string_view key) {
    const auto entry = Find(AsciiLower(key));
    if (entry != mRecords.end()) {
        mRecords.erase(entry);
    }
}

std::int32_t clsDataFile::MaxKey() { return mKeyCounter++; }

bool clsDataFile::KeyExists(std::string_view key) const {
    return Find(AsciiLower(key)) != mRecords.end();
}

void clsDataFile::AddKey(std::string_view key) {
    std::string lower = AsciiLower(key);
    if (Find(lower) == mRecords.end()) {
        mRecords.push_back({std::move(lower), {}});
    }
}

bool clsDataFile::Save() const {
    std::ofstream file(mFileName, std::ios::binary | std::ios::trunc);
    if (!file) {
        return false;
    }
    if (mRecords.empty()) {
        return true;
    }
    const Record& first = mRecords.front().second;
    file << "Key";
    for (const auto& [name, value] : first) {
        file << ',' << name;
    }
    file << "\r\n";
    for (const auto& [key, record] : mRecords) {
        file << key;
        for (const auto& heading : first) {
            const auto cell = std::find_if(record.begin(), record.end(), [&](const auto& pair) {
                return pair.first == heading.first;
            });
            file << ',' << (cell != record.end() ? cell->second : std::string());
        }
        file << "\r\n";
    }
    return static_cast<bool>(file.flush());
}

bool clsDataFile::SaveAs(const std::filesystem::path& file) {
    mFileName = file;
    return Save();
}
