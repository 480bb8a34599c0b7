#pragma once
// clsItemsEventSink: the "item added" event of one folder's items. The mail store has no push
// events of its own, so the sink looks at the folder's listing every poll interval on the event
// loop (the listing is re-read only when the folder changed) and raises ItemAdd once for each
// item it has not seen there before. Items present when the sink is made are not new.
// Owned by the daemon's lifecycle object (connect). Loop thread only. Failure: a listing that
// cannot be read raises nothing; an exception from the handler is logged and the sink goes on.

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "intake/clsEventLoop.h"
#include "mailhost/clsMailFolder.h"

class clsLogFile;
class clsMailItem;

class clsItemsEventSink {
public:
    using clsItemAddHandler = std::function<void(clsMailItem& item)>;

    clsItemsEventSink(clsEventLoop& loop, clsLogFile& log, const clsMailFolder& folder,
                      clsItemAddHandler itemAdd, std::int64_t pollMilliseconds = 1000);
    ~clsItemsEventSink();
    clsItemsEventSink(const clsItemsEventSink&) = delete;
    clsItemsEventSink& operator=(const clsItemsEventSink&) = delete;

    const clsMailFolder& Folder() const { return mFolder; }
    // Looks for new items now (the timer calls it too).
    void Poll();

private:
    std::set<std::string> CurrentKeys();

    clsEventLoop& mLoop;
    clsLogFile& mLog;
    clsMailFolder mFolder;
    clsItemAddHandler mItemAdd;
    std::int64_t mPollMilliseconds;
    clsEventLoop::clsTimerID mTimer = 0;
    std::set<std::string> mKnown;
};
