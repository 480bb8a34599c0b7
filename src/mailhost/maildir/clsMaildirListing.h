#pragma once
// clsMaildirListing: the items of one Maildir folder (its new/ and cur/), kept between calls and
// read again only when either directory changed. Items keep the order in which they were first
// seen; later arrivals are appended, so Items grows at its end as mail arrives.
// Owned by clsMaildirStore, one per folder. Event-loop thread only. A directory that cannot be
// read gives no items.

#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mailhost/clsMailStore.h"

class clsMaildirListing {
public:
    explicit clsMaildirListing(std::filesystem::path folder) : mFolder(std::move(folder)) {}

    // The current items, re-read when new/ or cur/ changed since the last read.
    const std::vector<clsItemEntry>& Items();
    // "new/<file>" or "cur/<file>" of the item, relative to the folder; rescans once when the
    // remembered file has gone (another program renamed it).
    std::optional<std::string> FileOf(std::string_view key);
    // The item as the last read of the directories found it.
    std::optional<clsItemEntry> Find(std::string_view key) const;
    // Forget what is known to be current: the next Items() reads the directories.
    void Invalidate() { mTrusted = false; }

private:
    struct clsFile {
        std::string Location;  // "new/<name>" or "cur/<name>"
        size_t Index;          // into mItems
    };
    void Rescan();
    bool DirectoriesUnchanged();
    void ScanDirectory(std::string_view subdir, std::map<std::string, std::string>& found) const;

    std::filesystem::path mFolder;
    std::vector<clsItemEntry> mItems;
    std::map<std::string, clsFile, std::less<>> mFiles;
    timespec mNewTime{}, mCurTime{};
    bool mTrusted = false;
};
