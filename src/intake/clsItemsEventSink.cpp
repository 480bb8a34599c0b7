// clsItemsEventSink: new items found by comparing a folder's listing with the last one.
#include "intake/clsItemsEventSink.h"

#include "foundation/clsLogFile.h"
#include "mailhost/clsMailItem.h"

clsItemsEventSink::clsItemsEventSink(clsEventLoop& loop, clsLogFile& log,
                                     const clsMailFolder& folder, clsItemAddHandler itemAdd,
                                     std::int64_t pollMilliseconds)
    : mLoop(loop),
      mLog(log),
      mFolder(folder),
      mItemAdd(std::move(itemAdd)),
      mPollMilliseconds(pollMilliseconds),
      mKnown(CurrentKeys()) {
    mTimer = mLoop.StartTimer(mPollMilliseconds, [this] { Poll(); });
}

clsItemsEventSink::~clsItemsEventSink() { mLoop.CancelTimer(mTimer); }

std::set<std::string> clsItemsEventSink::CurrentKeys() {
    std::set<std::string> keys;
    for (const clsItemEntry& entry : mFolder.Store().ListItems(mFolder.EntryID())) {
        keys.insert(entry.Key);
    }
    return keys;
}

void clsItemsEventSink::Poll() {
    mLoop.CancelTimer(mTimer);
    // A copy: the handler moves items and so changes the listing under the walk.
    const std::vector<clsItemEntry> entries = mFolder.Store().ListItems(mFolder.EntryID());
    std::set<std::string> current;
    for (const clsItemEntry& entry : entries) {
        current.insert(entry.Key);
        if (mKnown.count(entry.Key) != 0) {
            continue;
        }
        try {
            clsMailItem item(mFolder, entry);
            mItemAdd(item);
        } catch (const std::exception& error) {
            mLog.AddErrorLog("Connect->ItemAdd (" + mFolder.Name() + ")", error);
        }
    }
    mKnown = std::move(current);
    mTimer = mLoop.StartTimer(mPollMilliseconds, [this] { Poll(); });
}
