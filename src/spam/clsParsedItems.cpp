#include "spam/clsParsedItems.h"

std::optional<clsParsedItems::clsParsedItem> clsParsedItems::Next() {
    clsMailStore& store = mFolder.Store();
    for (; mNext < mEntries.size() && mRead.size() < kAhead &&
           (mRead.empty() || mReadBytes < kAheadBytes);
         ++mNext) {
        if (auto raw = store.ReadMessage(mFolder.EntryID(), mEntries[mNext].Key)) {
            mRead.push_back({mNext, raw->size()});
            mReadBytes += raw->size();
            mParser.Add(std::move(*raw));
        }  // else gone since the listing
    }
    if (mRead.empty()) {
        return std::nullopt;
    }
    const clsItemEntry& entry = mEntries[mRead.front().Entry];
    mReadBytes -= mRead.front().Bytes;
    mRead.pop_front();
    return clsParsedItem{clsMailItem(mFolder, entry), mParser.Take()};
}
