#pragma once
// clsMonitoredFolder: one watched folder. On each pulse of the mail timer it checks, once its
// interval has run out, for items that arrived since its last look (the new-item check from its
// scan position), or else walks a slice of the whole folder from the end (the background check);
// every mail item found goes to the message analyser. While new mail keeps arriving it suspends
// the queue for its own items. Its state is one tab-separated line (Serialize / Unserialize).
// Owned by clsFolderMonitor. Event-loop thread only. Failure: members trap their failures, log
// them under "MonitoredFolder->Member" with the step reached, and leave the other folders alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/clsTickCounter.h"
#include "mailhost/clsMailFolder.h"

class classCorvel;
class clsMailItem;
class clsMailItems;
class clsMessageAnalyser;
class clsQueue;
class clsStatistics;

class clsMonitoredFolder {
public:
    clsMonitoredFolder(classCorvel& engine, const clsTickCounter& ticks);

    clsStatistics* Statistics() const { return mStatistics; }
    void SetStatistics(clsStatistics* statistics) { mStatistics = statistics; }
    clsQueue* Queue() const { return mQueue; }
    void SetQueue(clsQueue* queue) { mQueue = queue; }
    clsMessageAnalyser* MessageAnalyser() const { return mAnalyser; }
    // A null analyser is refused with a log line.
    void SetMessageAnalyser(clsMessageAnalyser* analyser);
    const std::optional<clsMailFolder>& Folder() const { return mFolder; }
    void SetFolder(const clsMailFolder& folder);

    std::int32_t LastItemCount() const { return mLastItemCount; }
    void SetLastItemCount(std::int32_t count) { mLastItemCount = count; }
    std::int32_t CurrentIndex() const { return mCurrentIndex; }
    void SetCurrentIndex(std::int32_t index) { mCurrentIndex = index; }
    // Seconds between checks; 33 or more overflows the 16-bit product and means every pulse.
    // A folder waiting for its next check is re-armed from now; one due at once stays due.
    std::int16_t CheckInterval() const { return mCheckInterval; }
    void SetCheckInterval(std::int16_t seconds);
    std::int32_t LastCheckTicks() const { return mLastCheckTicks; }

    // EntryID, path, LastItemCount, CurrentIndex, CheckInterval, scan position: each + tab.
    std::string Serialize() const;
    // Restores from a Serialize line; false when the folder at the path is not the same folder.
    bool Unserialize(std::string_view line);

    void TimerPulse();
    // True when it handled new items.
    bool CheckNew();
    void CheckFolder(bool background);
    // The stored option that lets the background walk run; off unless the user turns it on.
    static bool BackgroundCheckOn(classCorvel& engine);
    // Every item from the last to the first; false when the user cancelled.
    bool ProcessAllMessages();

private:
    // Next-due from now and CheckInterval; 0 (due at once) when the product or sum overflows.
    void Rearm();
    // False when the folder was never found or its store no longer has it.
    bool FolderReachable() const;
    void SetSuspended(bool suspended);
    // The new-item loop from the scan position up to count, within one slice.
    void ScanNewItems(const clsMailItems& items, std::int32_t count);
    // One slice of the background walk, from CurrentIndex down.
    void WalkSlice(const clsMailItems& items, std::int32_t count);
    // The item at the position, skipping those that cannot be fetched.
    std::optional<clsMailItem> FetchUpwards(const clsMailItems& items, std::int32_t count);
    std::optional<clsMailItem> FetchDownwards(const clsMailItems& items, std::int32_t end);
    void AnalyseItem(clsMailItem& item);

    classCorvel& mEngine;
    const clsTickCounter& mTicks;
    clsStatistics* mStatistics = nullptr;
    clsQueue* mQueue = nullptr;
    clsMessageAnalyser* mAnalyser = nullptr;
    std::optional<clsMailFolder> mFolder;
    std::string mFolderKey;   // the folder's EntryID: the key it suspends the queue under
    std::string mFolderName;  // for log lines
    std::int32_t mLastItemCount = 0;
    std::int32_t mCurrentIndex = 0;
    std::int16_t mCheckInterval = 0;
    std::int32_t mLastCheckTicks = 0;
    std::int32_t mNextDue = 0;       // 0: due at once
    std::int32_t mScanPosition = 0;  // below 1: not yet set
    std::string mProgress;           // the step reached, for error entries
};
