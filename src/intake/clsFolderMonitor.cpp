// clsFolderMonitor: the watched set, its saved state and the pulse that drives each folder.
#include "intake/clsFolderMonitor.h"

#include <exception>

#include "engine/classCorvel.h"
#include "foundation/clsListControl.h"
#include "intake/clsQueue.h"

namespace {

constexpr std::string_view kStateOption = "State";
constexpr std::string_view kLineEnd = "\r\n";

std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (size_t start = 0;;) {
        const size_t end = text.find(kLineEnd, start);
        lines.push_back(text.substr(start, end == std::string_view::npos ? end : end - start));
        if (end == std::string_view::npos) {
            return lines;
        }
        start = end + kLineEnd.size();
    }
}

std::string NameOf(const clsMonitoredFolder& folder, const std::string& key) {
    return folder.Folder() ? folder.Folder()->Name() : key;
}

}  // namespace

clsFolderMonitor::clsFolderMonitor(classCorvel& engine, const clsTickCounter& ticks)
    : mEngine(engine), mTicks(ticks) {}

void clsFolderMonitor::SetMessageAnalyser(clsMessageAnalyser* analyser) {
    if (analyser == nullptr) {
        mEngine.CorvelLog().AddLog("FolderMonitor->MessageAnalyser: null analyser passed");
        return;
    }
    mAnalyser = analyser;
    for (auto& [key, folder] : mFolders) {
        folder->SetMessageAnalyser(analyser);
    }
}

void clsFolderMonitor::AddFolder(const clsMailFolder& folder, std::int16_t interval) {
    try {
        if (const auto found = mFolders.find(folder.EntryID()); found != mFolders.end()) {
            found->second->SetCheckInterval(interval);
            return;
        }
        if (mAnalyser == nullptr) {
            mEngine.CorvelLog().AddLog("FolderMonitor->AddFolder: no message analyser", 4);
            return;
        }
        auto watched = std::make_unique<clsMonitoredFolder>(mEngine, mTicks);
        Wire(*watched);
        watched->SetFolder(folder);
        watched->SetCheckInterval(interval);
        watched->SetLastItemCount(0);
        watched->SetCurrentIndex(0);
        mFolders.emplace(folder.EntryID(), std::move(watched));
        mEngine.CorvelLog().AddLog("FolderMonitor->AddFolder: " + folder.Name() +
                                   " added to monitored folders");
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->AddFolder", error);
    }
}

void clsFolderMonitor::RemoveFolder(const clsMailFolder& folder) {
    try {
        const auto found = mFolders.find(folder.EntryID());
        if (found == mFolders.end()) {
            return;
        }
        Forget(found->first);
        mFolders.erase(found);
        mEngine.CorvelLog().AddLog("FolderMonitor->RemoveFolder: " + folder.Name() +
                                   " removed from monitored folders");
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->RemoveFolder", error);
    }
}

void clsFolderMonitor::UpdateInterval(const clsMailFolder& folder, std::int16_t interval) {
    try {
        if (const auto found = mFolders.find(folder.EntryID()); found != mFolders.end()) {
            found->second->SetCheckInterval(interval);
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->UpdateInterval", error);
    }
}

void clsFolderMonitor::Reset() {
    try {
        for (const auto& [key, folder] : mFolders) {
            Forget(key);
        }
        mFolders.clear();
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->Reset", error);
    }
}

void clsFolderMonitor::ListFolders(clsListControl& list) const {
    try {
        list.Clear();
        std::int64_t index = 0;
        for (const auto& [key, folder] : mFolders) {
            const std::string path = folder->Folder() ? folder->Folder()->FolderPath() : key;
            list.AddItem(path + " (" + std::to_string(folder->CheckInterval()) + " s)", index++);
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->ListFolders", error);
    }
}

std::vector<const clsMonitoredFolder*> clsFolderMonitor::Folders() const {
    std::vector<const clsMonitoredFolder*> folders;
    try {
        for (const auto& [key, folder] : mFolders) {
            folders.push_back(folder.get());
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->Folders", error);
        folders.clear();
    }
    return folders;
}

void clsFolderMonitor::SaveState(std::string_view section) {
    try {
        std::string state;
        for (const auto& [key, folder] : mFolders) {
            state += folder->Serialize();
            state += kLineEnd;
        }
        mEngine.RulesDatabase().SaveOption(section, kStateOption, state);
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->SaveState", error);
    }
}

void clsFolderMonitor::LoadState(std::string_view section) {
    try {
        const std::string state = mEngine.RulesDatabase().ReadOption(section, kStateOption, "");
        if (state.empty()) {
            return;
        }
        for (const std::string_view line : SplitLines(state)) {
            auto watched = std::make_unique<clsMonitoredFolder>(mEngine, mTicks);
            // A line whose folder is gone or is another folder now is dropped without a word.
            if (!watched->Unserialize(line)) {
                continue;
            }
            Wire(*watched);
            const std::string name = watched->Folder()->Name();
            mFolders.insert_or_assign(watched->Folder()->EntryID(), std::move(watched));
            mEngine.CorvelLog().AddLog("FolderMonitor->LoadState: added watch folder " + name);
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->LoadState", error);
    }
}

void clsFolderMonitor::Timer() {
    try {
        // By key, looked up again each time: a folder removed while another was being checked
        // is simply skipped.
        for (const std::string& key : Keys()) {
            if (const auto found = mFolders.find(key); found != mFolders.end()) {
                found->second->TimerPulse();
            }
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->Timer", error);
    }
}

void clsFolderMonitor::ProcessAllMessages() {
    try {
        for (const std::string& key : Keys()) {
            const auto found = mFolders.find(key);
            if (found == mFolders.end()) {
                continue;
            }
            mEngine.CorvelLog().AddLog("Processing " + NameOf(*found->second, key));
            if (!found->second->ProcessAllMessages()) {
                return;  // the user cancelled the whole pass
            }
        }
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("FolderMonitor->ProcessAllMessages", error);
    }
}

void clsFolderMonitor::Wire(clsMonitoredFolder& folder) const {
    folder.SetMessageAnalyser(mAnalyser);
    folder.SetStatistics(mStatistics);
    folder.SetQueue(mQueue);
}

std::vector<std::string> clsFolderMonitor::Keys() const {
    std::vector<std::string> keys;
    keys.reserve(mFolders.size());
    for (const auto& [key, folder] : mFolders) {
        keys.push_back(key);
    }
    return keys;
}

void clsFolderMonitor::Forget(const std::string& key) {
    // A folder that stops being watched must not leave its items held in the queue for good.
    if (mQueue != nullptr) {
        mQueue->Unsuspend(key);
    }
}
