#pragma once
// clsFlatTable: token text -> Value, as one flat open-addressing table with linear probing. The
// spam filter looks up every token of every message and training adds them, so a lookup must
// cost about one cache line rather than the chain of nodes of a standard map. The keys' text is
// kept back to back in one string and a slot holds only where its key starts, so a slot is small
// and making a table of tens of thousands of tokens touches little memory. Keys compare exactly;
// callers that want case folded give lower-case keys.
// Owned by its user; one thread. Never throws but for allocation failure.

#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <vector>

template <class Value>
class clsFlatTable {
public:
    void Clear() {
        mSlots.clear();
        mKeys.clear();
        mSize = 0;
    }
    std::size_t Size() const { return mSize; }
    // The hash of key, for the forms of Add and Find that take it and for Prefetch.
    static std::uint64_t HashOf(std::string_view key) {
        std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
        for (char c : key) {
            hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
        }
        return hash | 1;  // never 0, which marks an empty slot
    }
    struct clsHashedKey {
        std::string_view Key;
        std::uint64_t Hash;  // HashOf(Key)
    };
    // Add for each key in order, calling f(std::string_view key, Value&) with its entry. A table
    // larger than the cache costs a memory wait per look-up: the run's slots are fetched a few
    // keys ahead, so the waits overlap.
    template <class F>
    void AddEach(std::span<const clsHashedKey> keys, F f) {
        ForEachAhead(keys, [&](const clsHashedKey& key) { f(key.Key, Add(key.Key, key.Hash)); });
    }
    // Find for each key in order, calling f(std::string_view key, Value*), slots fetched ahead.
    template <class F>
    void FindEach(std::span<const clsHashedKey> keys, F f) {
        ForEachAhead(keys, [&](const clsHashedKey& key) { f(key.Key, Find(key.Key, key.Hash)); });
    }

    // The entry of key, made (value-initialised) when missing.
    Value& Add(std::string_view key) { return Add(key, HashOf(key)); }
    Value& Add(std::string_view key, std::uint64_t hash) {
        if ((mSize + 1) * 2 > mSlots.size()) {  // at most half full keeps the probes short
            Grow();
        }
        clsSlot& slot = mSlots[SlotOf(key, hash)];
        if (slot.Hash == 0) {
            if (mKeys.size() + key.size() > std::numeric_limits<std::uint32_t>::max()) {
                throw std::bad_alloc();  // past what a slot can point into
            }
            slot.Hash = hash;
            slot.KeyStart = static_cast<std::uint32_t>(mKeys.size());
            slot.KeySize = static_cast<std::uint32_t>(key.size());
            mKeys.append(key);
            ++mSize;
        }
        return slot.Data;
    }
    // Nothing when key is not in the table.
    Value* Find(std::string_view key) { return Find(key, HashOf(key)); }
    const Value* Find(std::string_view key) const { return Find(key, HashOf(key)); }
    Value* Find(std::string_view key, std::uint64_t hash) {
        return const_cast<Value*>(static_cast<const clsFlatTable*>(this)->Find(key, hash));
    }
    const Value* Find(std::string_view key, std::uint64_t hash) const {
        if (mSize == 0) {
            return nullptr;
        }
        const clsSlot& slot = mSlots[SlotOf(key, hash)];
        return slot.Hash != 0 ? &slot.Data : nullptr;
    }
    // Calls f(std::string_view key, const Value&) for every entry, in no set order.
    template <class F>
    void ForEach(F f) const {
        for (const clsSlot& slot : mSlots) {
            if (slot.Hash != 0) {
                f(KeyOf(slot), slot.Data);
            }
        }
    }

private:
    struct clsSlot {
        std::uint64_t Hash = 0;      // 0: empty
        std::uint32_t KeyStart = 0;  // the key is mKeys.substr(KeyStart, KeySize)
        std::uint32_t KeySize = 0;
        Value Data{};
    };

    std::string_view KeyOf(const clsSlot& slot) const {
        return std::string_view(mKeys.data() + slot.KeyStart, slot.KeySize);
    }

    static constexpr std::size_t kFetchAhead = 8;

    template <class F>
    void ForEachAhead(std::span<const clsHashedKey> keys, F lookUp) {
        for (std::size_t i = 0; i < keys.size() && i < kFetchAhead; ++i) {
            Prefetch(keys[i].Hash);
        }
        for (std::size_t i = 0; i < keys.size(); ++i) {
            if (i + kFetchAhead < keys.size()) {
                Prefetch(keys[i + kFetchAhead].Hash);
            }
            lookUp(keys[i]);
        }
    }
    // Starts loading the slot where the search for the key of hash begins (a table that grows
    // meanwhile makes it a wasted load, no more).
    void Prefetch(std::uint64_t hash) const {
        if (!mSlots.empty()) {
            __builtin_prefetch(&mSlots[static_cast<std::size_t>(hash) & (mSlots.size() - 1)]);
        }
    }
    // The slot holding key, or the empty slot where it would go.
    std::size_t SlotOf(std::string_view key, std::uint64_t hash) const {
        const std::size_t mask = mSlots.size() - 1;
        std::size_t index = static_cast<std::size_t>(hash) & mask;
        while (mSlots[index].Hash != 0 &&
               (mSlots[index].Hash != hash || KeyOf(mSlots[index]) != key)) {
            index = (index + 1) & mask;
        }
        return index;
    }
    void Grow() {
        std::vector<clsSlot> old = std::move(mSlots);
        mSlots = std::vector<clsSlot>(old.empty() ? 1024 : old.size() * 2);
        for (const clsSlot& slot : old) {
            if (slot.Hash != 0) {
                mSlots[SlotOf(KeyOf(slot), slot.Hash)] = slot;
            }
        }
    }

    std::vector<clsSlot> mSlots;
    std::string mKeys;  // every key's text, in the order they were added
    std::size_t mSize = 0;
};
