#include "mailhost/maildir/clsMaildirListing.h"

#include <dirent.h>

#include <algorithm>
#include <ctime>

#include "mailhost/maildir/clsMaildirName.h"

namespace {

// Directory times are only as fine as the file system's clock tick: a listing read within one
// tick of a change might have missed a second change in the same tick, so it is read again.
// File systems with nanosecond times tick in milliseconds; others may tick in seconds.
constexpr std::chrono::milliseconds kFineTick{50};
constexpr std::chrono::milliseconds kCoarseTick{2000};

bool SameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

std::chrono::nanoseconds Since(const timespec& then, const timespec& now) {
    return std::chrono::seconds(now.tv_sec - then.tv_sec) +
           std::chrono::nanoseconds(now.tv_nsec - then.tv_nsec);
}

clsTimePoint ToTimePoint(const timespec& time) {
    return clsTimePoint(std::chrono::duration_cast<clsTimePoint::duration>(
        std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

}  // namespace

bool clsMaildirListing::DirectoriesUnchanged() {
    struct stat newDir {};
    struct stat curDir {};
    const bool readable = ::stat((mFolder / "new").c_str(), &newDir) == 0 &&
                          ::stat((mFolder / "cur").c_str(), &curDir) == 0;
    const bool unchanged = readable && mTrusted && SameTime(newDir.st_mtim, mNewTime) &&
                           SameTime(curDir.st_mtim, mCurTime);
    mNewTime = newDir.st_mtim;
    mCurTime = curDir.st_mtim;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const bool fine = mNewTime.tv_nsec != 0 || mCurTime.tv_nsec != 0;
    const std::chrono::nanoseconds tick = fine ? kFineTick : kCoarseTick;
    mTrusted = readable && Since(mNewTime, now) > tick && Since(mCurTime, now) > tick;
    return unchanged;
}

void clsMaildirListing::ScanDirectory(std::string_view subdir,
                                      std::map<std::string, std::string>& found) const {
    DIR* dir = ::opendir((mFolder / subdir).c_str());
    if (dir == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name.empty() || name.front() == '.') {
            continue;
        }
        // A file moved from new/ to cur/ between the two reads shows up twice: cur/ wins.
        found[std::string(clsMaildirName::UniquePart(name))] =
            std::string(subdir) + "/" + std::string(name);
    }
    ::closedir(dir);
}

void clsMaildirListing::Rescan() {
    std::map<std::string, std::string> found;
    ScanDirectory("new", found);  // new/ first: a file moving to cur/ meanwhile is then not missed
    ScanDirectory("cur", found);
    std::vector<clsItemEntry> items;
    std::map<std::string, clsFile, std::less<>> files;
    auto add = [&](const std::string& key, const std::string& location, const clsItemEntry* known) {
        clsItemEntry entry;
        if (known != nullptr) {
            entry = *known;
        }
        entry.Key = key;
        entry.Seen = clsMaildirName::Flags(location).find('S') != std::string_view::npos;
        struct stat info {};
        if (known == nullptr) {
            if (::stat((mFolder / location).c_str(), &info) != 0) {
                return;  // gone since the directory was read
            }
            entry.Received = ToTimePoint(info.st_mtim);
            entry.Size = static_cast<std::uintmax_t>(info.st_size);
        }
        files[key] = {location, items.size()};
        items.push_back(std::move(entry));
    };
    for (const clsItemEntry& item : mItems) {  // the known order first
        if (const auto file = found.find(item.Key); file != found.end()) {
            const bool sameFile = mFiles.at(item.Key).Location == file->second;
            add(item.Key, file->second, sameFile ? &item : nullptr);
            found.erase(file);
        }
    }
    // Then the arrivals, oldest first: by file time, then by name, since programs write their
    // names in forms that do not all sort by time within one second.
    const size_t firstArrival = items.size();
    for (const auto& [key, location] : found) {
        add(key, location, nullptr);
    }
    std::stable_sort(
        items.begin() + static_cast<std::ptrdiff_t>(firstArrival), items.end(),
        [](const clsItemEntry& a, const clsItemEntry& b) { return a.Received < b.Received; });
    for (size_t i = firstArrival; i < items.size(); ++i) {
        files[items[i].Key].Index = i;
    }
    mItems = std::move(items);
    mFiles = std::move(files);
}

const std::vector<clsItemEntry>& clsMaildirListing::Items() {
    if (!DirectoriesUnchanged()) {
        Rescan();
    }
    return mItems;
}

// Directories unchanged since a trusted read mean every file is where that read found it, and a
// listing read just now is as fresh as a look at the file: only the second attempt looks.
std::optional<std::string> clsMaildirListing::FileOf(std::string_view key) {
    Items();
    if (const auto file = mFiles.find(key); file != mFiles.end()) {
        return file->second.Location;
    }
    Rescan();
    const auto file = mFiles.find(key);
    if (file != mFiles.end() && std::filesystem::exists(mFolder / file->second.Location)) {
        return file->second.Location;
    }
    return std::nullopt;
}

std::optional<clsItemEntry> clsMaildirListing::Find(std::string_view key) const {
    const auto file = mFiles.find(key);
    return file == mFiles.end() ? std::nullopt : std::optional(mItems[file->second.Index]);
}
