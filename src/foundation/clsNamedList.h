#pragma once
// clsNamedList: items kept in the order they were added and found by name without regard to ASCII
// case, each keeping the spelling it was added with (how the registry matches key and value names).
// Owned by its container; no shared state, so any thread that owns it. Does not throw beyond
// std::bad_alloc.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// ASCII only: the registry folds no other letters, and UTF-8 bytes pass through unchanged.
inline char FoldAsciiCase(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

template <typename T>
class clsNamedList {
public:
    struct Entry {
        std::string Name;
        T Item;
    };

    // The entry with its stored spelling; nullptr when there is none of that name.
    const Entry* FindEntry(std::string_view name) const {
        auto found = mIndex.find(Fold(name));
        return found == mIndex.end() ? nullptr : &mEntries[found->second];
    }
    const T* Find(std::string_view name) const {
        const Entry* entry = FindEntry(name);
        return entry == nullptr ? nullptr : &entry->Item;
    }
    T* Find(std::string_view name) { return const_cast<T*>(std::as_const(*this).Find(name)); }
    // Adds the item at the end, or replaces the item of that name in place (keeping the name's
    // first spelling and its position). Returns the stored item.
    T& Set(std::string_view name, T item) {
        auto [found, added] = mIndex.try_emplace(Fold(name), mEntries.size());
        if (added) {
            mEntries.push_back(Entry{std::string(name), std::move(item)});
        } else {
            mEntries[found->second].Item = std::move(item);
        }
        return mEntries[found->second].Item;
    }
    // False when there is no item of that name.
    bool Remove(std::string_view name) {
        auto found = mIndex.find(Fold(name));
        if (found == mIndex.end()) {
            return false;
        }
        const std::size_t position = found->second;
        mIndex.erase(found);
        mEntries.erase(mEntries.begin() + static_cast<std::ptrdiff_t>(position));
        for (auto& [folded, index] : mIndex) {
            if (index > position) {
                --index;
            }
        }
        return true;
    }
    const std::vector<Entry>& Entries() const { return mEntries; }

private:
    static std::string Fold(std::string_view name) {
        std::string folded(name);
        for (char& c : folded) {
            c = FoldAsciiCase(c);
        }
        return folded;
    }

    std::vector<Entry> mEntries;
    std::unordered_map<std::string, std::size_t> mIndex;  // folded name -> position in mEntries
};
