#include "spam/clsTokenTable.h"

void clsTokenTable::Clear() {
    mSlots.clear();
    mSize = 0;
}

std::uint64_t clsTokenTable::HashOf(std::string_view token) {
    std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
    for (char c : token) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    }
    return hash | 1;  // never 0, which marks an empty slot
}

// The slot holding token, or the empty slot where it would go (linear probing).
std::size_t clsTokenTable::SlotOf(std::string_view token, std::uint64_t hash) const {
    const std::size_t mask = mSlots.size() - 1;
    std::size_t index = static_cast<std::size_t>(hash) & mask;
    while (mSlots[index].Hash != 0 &&
           (mSlots[index].Hash != hash || mSlots[index].Token != token)) {
        index = (index + 1) & mask;
    }
    return index;
}

clsTokenCounts* clsTokenTable::Find(std::string_view token) {
    if (mSize == 0) {
        return nullptr;
    }
    clsSlot& slot = mSlots[SlotOf(token, HashOf(token))];
    return slot.Hash != 0 ? &slot.Counts : nullptr;
}

clsTokenCounts& clsTokenTable::Add(std::string_view token) {
    if ((mSize + 1) * 2 > mSlots.size()) {  // at most half full keeps the probes short
        Grow();
    }
    const std::uint64_t hash = HashOf(token);
    clsSlot& slot = mSlots[SlotOf(token, hash)];
    if (slot.Hash == 0) {
        slot.Hash = hash;
        slot.Token = token;
        ++mSize;
    }
    return slot.Counts;
}

void clsTokenTable::Grow() {
    std::vector<clsSlot> old = std::move(mSlots);
    mSlots = std::vector<clsSlot>(old.empty() ? 1024 : old.size() * 2);
    for (clsSlot& slot : old) {
        if (slot.Hash != 0) {
            mSlots[SlotOf(slot.Token, slot.Hash)] = std::move(slot);
        }
    }
}
