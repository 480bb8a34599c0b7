#include "spam/clsParsedItems.h"

std::optional<clsParsedItems::clsParsedItem> clsParsedItems::Next() {
    clsMailStore& store = mFolder.Store();
    for (; mNext < mEntries.size() && mRead.size() < kAhead; ++mNext) {
        if (auto raw = store.ReadMessage(mFolder.EntryID(), mEntries[mNext].Key)) {
            mParser.Add(std::move(*raw));
            mRead.push_back(mNext);
        }  // else gone since the listing
    }
    if (mRead.empty()) {
        return std::nullopt;
    }
    const clsItemEntry& entry = mEntries[mRead.front()];
    mRead.pop_front();
    return clsParsedItem{clsMailItem(mFolder, entry), mParser.Take()};
}
