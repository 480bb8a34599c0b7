#pragma once
// clsFolderMonitor: the set of watched folders, keyed by the folder's EntryID. The mail timer
// pulses it (Timer); each watched folder then checks itself when it is due. The set and each
// folder's positions survive restarts as the stored option "State" of a section, one line per
// folder joined by CR LF.
// Owned by the intake (clsIntake). Event-loop thread only. Failure: every member traps its
// failures and logs them under "FolderMonitor->Member"; a failing folder never stops the others.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsTickCounter.h"
#include "intake/clsMonitoredFolder.h"

class classCorvel;
class clsListControl;

class clsFolderMonitor {
public:
    clsFolderMonitor(classCorvel& engine, const clsTickCounter& ticks);

    clsStatistics* Statistics() const { return mStatistics; }
    void SetStatistics(clsStatistics* statistics) { mStatistics = statistics; }
    clsQueue* Queue() const { return mQueue; }
    void SetQueue(clsQueue* queue) { mQueue = queue; }
    clsMessageAnalyser* MessageAnalyser() const { return mAnalyser; }
    // A null analyser is refused with a log line.
    void SetMessageAnalyser(clsMessageAnalyser* analyser);

    // A folder already watched only gets the new interval.
    void AddFolder(const clsMailFolder& folder, std::int16_t interval);
    void RemoveFolder(const clsMailFolder& folder);
    void UpdateInterval(const clsMailFolder& folder, std::int16_t interval);
    void Reset();
    long FolderCount() const { return static_cast<long>(mFolders.size()); }
    // Clears list, then one entry per watched folder: its path and interval.
    void ListFolders(clsListControl& list) const;
    // The watched folders in key order, for callers that need more than the list shows.
    std::vector<const clsMonitoredFolder*> Folders() const;

    void SaveState(std::string_view section);
    void LoadState(std::string_view section);

    // One pulse of every watched folder, in key order.
    void Timer();
    // A full pass over every watched folder on the user's request.
    void ProcessAllMessages();

private:
    // Hands the analyser, statistics and queue on to a folder.
    void Wire(clsMonitoredFolder& folder) const;
    std::vector<std::string> Keys() const;
    // Lifts the queue suspension of a folder that stops being watched.
    void Forget(const std::string& key);

    classCorvel& mEngine;
    const clsTickCounter& mTicks;
    clsStatistics* mStatistics = nullptr;
    clsQueue* mQueue = nullptr;
    clsMessageAnalyser* mAnalyser = nullptr;
    std::map<std::string, std::unique_ptr<clsMonitoredFolder>> mFolders;
};
