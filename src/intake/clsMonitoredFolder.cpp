// clsMonitoredFolder: the new-item check, the background walk and the saved line of one folder.
#include "intake/clsMonitoredFolder.h"

#include <charconv>
#include <exception>
#include <limits>
#include <vector>

#include "engine/classCorvel.h"
#include "intake/clsMessageAnalyser.h"
#include "intake/clsQueue.h"
#include "mailhost/clsMailItem.h"
#include "mailhost/clsMailItems.h"

namespace {

constexpr std::int32_t kBudget = 100;  // milliseconds of one check's slice
constexpr std::string_view kMailItem = "MailItem";
constexpr std::string_view kEngineSection = "Rules Engine";
constexpr std::string_view kBackgroundOption = "Enable background check";
// Per-check chatter: written only when the log is set to its most detailed levels.
constexpr int kDetail = 5;

// The end of a slice that starts at start. A sum past the 32-bit range ends the slice at 100,
// which makes a slice started just before the counter wraps stop after its first item.
std::int32_t BudgetEnd(std::int32_t start) {
    return start > std::numeric_limits<std::int32_t>::max() - kBudget ? kBudget : start + kBudget;
}

std::vector<std::string_view> SplitAtTabs(std::string_view line) {
    std::vector<std::string_view> fields;
    for (size_t start = 0;;) {
        const size_t tab = line.find('\t', start);
        fields.push_back(line.substr(start, tab == std::string_view::npos ? tab : tab - start));
        if (tab == std::string_view::npos) {
            return fields;
        }
        start = tab + 1;
    }
}

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

clsMonitoredFolder::clsMonitoredFolder(classCorvel& engine, const clsTickCounter& ticks)
    : mEngine(engine), mTicks(ticks) {}

void clsMonitoredFolder::SetMessageAnalyser(clsMessageAnalyser* analyser) {
    if (analyser == nullptr) {
        mEngine.CorvelLog().AddLog("MonitoredFolder->MessageAnalyser: null database passed");
        return;
    }
    mAnalyser = analyser;
}

void clsMonitoredFolder::SetFolder(const clsMailFolder& folder) {
    mFolder = folder;
    mFolderKey = folder.EntryID();
    mFolderName = folder.Name();
}

void clsMonitoredFolder::SetCheckInterval(std::int16_t seconds) {
    mCheckInterval = seconds;
    // A folder waiting for its next check waits the new interval from now; one that is due at
    // once (new, just restored, or with an interval past 32 s) stays due.
    if (mNextDue != 0) {
        Rearm();
    }
}

void clsMonitoredFolder::Rearm() {
    const std::int32_t product = std::int32_t{mCheckInterval} * 1000;
    const std::int64_t due = std::int64_t{mTicks.Ticks()} + product;
    // The product is a 16-bit quantity: from 33 s on it overflows and the folder is due again
    // at the next pulse. Kept on purpose: an interval above 32 s means a check at every pulse.
    const bool overflows = product > std::numeric_limits<std::int16_t>::max() ||
                           product < std::numeric_limits<std::int16_t>::min() ||
                           due > std::numeric_limits<std::int32_t>::max() ||
                           due < std::numeric_limits<std::int32_t>::min();
    mNextDue = overflows ? 0 : static_cast<std::int32_t>(due);
}

std::string clsMonitoredFolder::Serialize() const {
    const std::string path = mFolder ? mFolder->FolderPath() : "";
    std::string line;
    for (const std::string& field :
         {mFolderKey, path, std::to_string(mLastItemCount), std::to_string(mCurrentIndex),
          std::to_string(mCheckInterval), std::to_string(mScanPosition)}) {
        line += field + '\t';
    }
    return line;
}

bool clsMonitoredFolder::Unserialize(std::string_view line) {
    try {
        const std::vector<std::string_view> fields = SplitAtTabs(line);
        clsFolderCache* cache = mEngine.cvFolderCache();
        if (fields.size() < 6 || cache == nullptr) {
            return false;
        }
        const std::optional<clsMailFolder> folder = cache->FindFolder(fields[1]);
        // A folder moved or made anew under the old path is another folder: stop watching.
        if (!folder || folder->EntryID() != fields[0]) {
            return false;
        }
        const auto lastCount = ParseNumber<std::int32_t>(fields[2]);
        const auto index = ParseNumber<std::int32_t>(fields[3]);
        const auto interval = ParseNumber<std::int16_t>(fields[4]);
        const auto scan = ParseNumber<std::int32_t>(fields[5]);
        if (!lastCount || !index || !interval || !scan) {
            mEngine.CorvelLog().AddLog("MonitoredFolder->Unserialize: unreadable line " +
                                       std::string(line));
            return false;
        }
        SetFolder(*folder);
        mLastItemCount = *lastCount;
        mScanPosition = *scan;
        mCurrentIndex = *index;
        mCheckInterval = *interval;
        return true;
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->Unserialize", error);
    }
    return false;
}

void clsMonitoredFolder::TimerPulse() {
    try {
        const std::int32_t now = mTicks.Ticks();
        // 0 is "due at once" whatever the counter says: after about 24.8 days of uptime the
        // counter reads negative, and a plain comparison would hold such a folder back.
        if (mNextDue != 0 && now < mNextDue) {
            return;
        }
        mLastCheckTicks = now;
        clsLogFile& log = mEngine.CorvelLog();
        log.AddLog("MonitoredFolder->TimerPulse: " + mFolderName, kDetail);
        if (!CheckNew()) {
            CheckFolder(true);
        }
        log.AddLog("MonitoredFolder->TimerPulse: reset interval " + mFolderName, kDetail);
        Rearm();
        log.AddLog("MonitoredFolder->TimerPulse: quit " + mFolderName, kDetail);
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->TimerPulse", error);
    }
}

bool clsMonitoredFolder::FolderReachable() const {
    return mFolder && (mFolder->IsStoreRoot() || mFolder->Store().Folder(mFolderKey));
}

void clsMonitoredFolder::SetSuspended(bool suspended) {
    if (mQueue == nullptr) {
        return;
    }
    if (suspended) {
        mQueue->Suspend(mFolderKey);
    } else {
        mQueue->Unsuspend(mFolderKey);
    }
}

bool clsMonitoredFolder::CheckNew() {
    mProgress = "Start";
    try {
        clsLogFile& log = mEngine.CorvelLog();
        if (!FolderReachable()) {
            log.AddLog("MonitoredFolder->CheckNew: folder reference invalid");
            return false;
        }
        log.AddLog("MonitoredFolder->CheckNew: scanning " + mFolderName, kDetail);
        mProgress = "Get item count";
        const clsMailItems items = mFolder->Items();
        const auto count = static_cast<std::int32_t>(items.Count());
        mLastItemCount = count;
        if (count == 0) {
            log.AddLog("MonitoredFolder->CheckNew: no items found", kDetail);
            SetSuspended(false);
            return false;
        }
        if (mScanPosition < 1) {
            mScanPosition = count;  // what is there already is left to the background walk
        }
        if (count <= mScanPosition) {
            mScanPosition = count;
            SetSuspended(false);
            log.AddLog("MonitoredFolder->CheckNew: no new items found in " + mFolderName, kDetail);
            return false;
        }
        ScanNewItems(items, count);
        log.AddLog("MonitoredFolder->CheckNew: " + mFolderName, kDetail);
        return true;
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->CheckNew (" + mProgress + ")", error);
    }
    return false;
}

void clsMonitoredFolder::ScanNewItems(const clsMailItems& items, std::int32_t count) {
    clsLogFile& log = mEngine.CorvelLog();
    const std::int32_t end = BudgetEnd(mTicks.Ticks());
    // Until a check finds the folder quiet, the queue leaves its items alone: acting on them
    // (moving them away) would shift the indexes this check counts on.
    SetSuspended(true);
    mProgress = "Get next item";
    std::optional<clsMailItem> item = FetchUpwards(items, count);
    log.AddLog("MonitoredFolder->CheckNew: Exit loop 1", kDetail);
    while (item && mScanPosition <= count) {
        log.AddLog("MonitoredFolder->CheckNew: scanning item " + std::to_string(mScanPosition),
                   kDetail);
        if (item->TypeName() == kMailItem) {
            AnalyseItem(*item);
        }
        ++mScanPosition;
        mProgress = "Get next item";
        item = FetchUpwards(items, count);
        if (mTicks.Ticks() > end && mScanPosition != count) {
            break;
        }
    }
    log.AddLog("MonitoredFolder->CheckNew: Exit loop 2", kDetail);
}

std::optional<clsMailItem> clsMonitoredFolder::FetchUpwards(const clsMailItems& items,
                                                            std::int32_t count) {
    std::optional<clsMailItem> item = items.Item(mScanPosition);
    while (!item && mScanPosition <= count) {
        ++mScanPosition;
        item = items.Item(mScanPosition);
    }
    return item;
}

std::optional<clsMailItem> clsMonitoredFolder::FetchDownwards(const clsMailItems& items,
                                                              std::int32_t end) {
    std::optional<clsMailItem> item = items.Item(mCurrentIndex);
    while (!item && mCurrentIndex >= 1 && mTicks.Ticks() <= end) {
        --mCurrentIndex;
        item = items.Item(mCurrentIndex);
    }
    return item;
}

bool clsMonitoredFolder::BackgroundCheckOn(classCorvel& engine) {
    return engine.RulesDatabase().ReadBooleanOption(kEngineSection, kBackgroundOption, false);
}

void clsMonitoredFolder::CheckFolder(bool background) {
    mProgress = "Start";
    try {
        if (background && !BackgroundCheckOn(mEngine)) {
            return;
        }
        clsLogFile& log = mEngine.CorvelLog();
        if (!FolderReachable()) {
            log.AddLog("MonitoredFolder->CheckFolder: folder reference invalid");
            return;
        }
        log.AddLog("MonitoredFolder->CheckFolder: scanning " + mFolderName, kDetail);
        mProgress = "Get item count";
        const clsMailItems items = mFolder->Items();
        const auto count = static_cast<std::int32_t>(items.Count());
        if (count == 0) {
            log.AddLog("MonitoredFolder->CheckFolder: no items found", kDetail);
            return;
        }
        WalkSlice(items, count);
        // After deletions the new-item check would otherwise wait for the count to climb back.
        if (count <= mScanPosition) {
            mScanPosition = count;
        }
        mProgress = "Finish";
        log.AddLog("MonitoredFolder->CheckFolder: " + mFolderName, kDetail);
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->CheckFolder (" + mProgress + ")", error);
    }
}

void clsMonitoredFolder::WalkSlice(const clsMailItems& items, std::int32_t count) {
    clsLogFile& log = mEngine.CorvelLog();
    if (mCurrentIndex < 1) {
        mCurrentIndex = count;  // a finished walk starts again from the end
    }
    const std::int32_t end = BudgetEnd(mTicks.Ticks());
    mProgress = "Get next item";
    std::optional<clsMailItem> item = FetchDownwards(items, end);
    if (!item) {
        log.AddLog("MonitoredFolder->CheckFolder: failed to get item", kDetail);
    }
    while (item && mCurrentIndex >= 1) {
        log.AddLog("MonitoredFolder->CheckFolder: scanning item " + std::to_string(mCurrentIndex),
                   kDetail);
        if (item->TypeName() == kMailItem) {
            AnalyseItem(*item);
        }
        --mCurrentIndex;
        mProgress = "Get next item";
        item = FetchDownwards(items, end);
        if (mTicks.Ticks() > end) {
            break;
        }
    }
}

bool clsMonitoredFolder::ProcessAllMessages() {
    mProgress = "Start";
    try {
        clsUserInterface& ui = mEngine.Ui();
        if (!FolderReachable()) {
            mEngine.CorvelLog().AddLog(
                "MonitoredFolder->ProcessAllMessages: folder reference invalid");
            return true;
        }
        mProgress = "Get item count";
        const clsMailItems items = mFolder->Items();
        const long count = items.Count();
        const std::string total = "/" + std::to_string(count);
        ui.ShowStatus("0" + total);
        for (long index = count; index >= 1; --index) {
            if (ui.CancelRequested()) {
                ui.ShowStatus("Cancelled");
                return false;
            }
            mProgress = "Get next item";
            if (std::optional<clsMailItem> item = items.Item(index);
                item && item->TypeName() == kMailItem) {
                AnalyseItem(*item);
            }
            ui.ShowStatus(std::to_string(count - index + 1) + total);
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->ProcessAllMessages (" + mProgress + ")",
                                        error);
    }
    return true;
}

void clsMonitoredFolder::AnalyseItem(clsMailItem& item) {
    try {
        if (mAnalyser == nullptr) {
            mEngine.CorvelLog().AddLog("MonitoredFolder->ProcessItem: no message analyser", 4);
            return;
        }
        mProgress = "Analyse item";
        mAnalyser->AnalyseMessage(item);
        mProgress = "Item analysed";
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MonitoredFolder->ProcessItem (" + mProgress + ")", error);
    }
}
