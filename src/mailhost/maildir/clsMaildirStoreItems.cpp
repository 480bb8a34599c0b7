// clsMaildirStore: the messages of its folders.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mailhost/maildir/clsMaildirName.h"
#include "mailhost/maildir/clsMaildirStore.h"

namespace {

// Whether a link failed because b is already a. Call it straight after link.
bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    struct stat first {};
    struct stat second {};
    return errno == EEXIST && ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::string ErrnoText() { return std::strerror(errno); }

bool WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

// The file's bytes in one allocation (its size from fstat, then reads to the end, so a file that
// grows meanwhile is read whole); nothing when it cannot be opened or read.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat info {};
    std::string bytes;
    bytes.resize(::fstat(fd, &info) == 0 && info.st_size > 0
                     ? static_cast<std::size_t>(info.st_size) + 1
                     : 4096);
    std::size_t used = 0;
    while (true) {
        if (used == bytes.size()) {
            bytes.resize(bytes.size() * 2);
        }
        const ssize_t got = ::read(fd, bytes.data() + used, bytes.size() - used);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            ::close(fd);
            if (got < 0) {
                return std::nullopt;
            }
            bytes.resize(used);
            return bytes;
        }
        used += static_cast<std::size_t>(got);
    }
}

}  // namespace

std::optional<std::filesystem::path> clsMaildirStore::FileOf(std::string_view folderID,
                                                             std::string_view key) {
    const auto directory = FolderDirectory(folderID);
    const auto location = directory ? Listing(folderID).FileOf(key) : std::nullopt;
    if (!location) {
        Fail(clsStatus::Code::NotFound,
             "no item \"" + std::string(key) + "\" in folder \"" + std::string(folderID) + "\"");
        return std::nullopt;
    }
    return *directory / *location;
}

const std::vector<clsItemEntry>& clsMaildirStore::ListItems(std::string_view folderID) {
    return Listing(folderID).Items();
}

std::optional<clsItemEntry> clsMaildirStore::FindItem(std::string_view folderID,
                                                      std::string_view key) {
    if (!FileOf(folderID, key)) {
        return std::nullopt;
    }
    return Listing(folderID).Find(key);
}

std::optional<std::string> clsMaildirStore::ReadMessage(std::string_view folderID,
                                                        std::string_view key) {
    for (int attempt = 0; attempt < 2; ++attempt) {  // a rename by another program: look again
        const auto file = FileOf(folderID, key);
        if (!file) {
            return std::nullopt;
        }
        if (auto bytes = ReadWholeFile(*file)) {
            return bytes;
        }
        Listing(folderID).Invalidate();
    }
    Fail(clsStatus::Code::Io, "cannot read item \"" + std::string(key) + "\"");
    return std::nullopt;
}

bool clsMaildirStore::SetSeen(std::string_view folderID, std::string_view key, bool seen) {
    const auto file = FileOf(folderID, key);
    if (!file) {
        return false;
    }
    const std::string name = file->filename().string();
    const bool inNew = file->parent_path().filename() == "new";
    std::string flags(clsMaildirName::Flags(name));
    const bool isSeen = flags.find('S') != std::string::npos;
    if (isSeen == seen) {
        return true;
    }
    if (seen) {
        flags += 'S';
    } else {
        flags.erase(flags.find('S'), 1);
    }
    if (inNew && !seen) {
        return true;  // new/ holds unread mail already
    }
    // An item that has been looked at belongs in cur/, whatever its flags.
    const std::filesystem::path target =
        file->parent_path().parent_path() / "cur" /
        clsMaildirName::WithFlags(clsMaildirName::BaseName(name), flags);
    if (::rename(file->c_str(), target.c_str()) != 0) {
        return Fail(clsStatus::Code::Io, "cannot rename " + file->string() + ": " + ErrnoText());
    }
    Listing(folderID).Invalidate();
    return true;
}

std::optional<std::string> clsMaildirStore::MoveItem(std::string_view folderID,
                                                     std::string_view key,
                                                     std::string_view targetFolderID) {
    const auto file = FileOf(folderID, key);
    const auto target = FolderDirectory(targetFolderID);
    if (!file || !target) {
        Fail(clsStatus::Code::NotFound,
             "cannot move \"" + std::string(key) + "\" to \"" + std::string(targetFolderID) + "\"");
        return std::nullopt;
    }
    if (folderID == targetFolderID) {
        return std::string(key);
    }
    const std::filesystem::path to = *target / file->parent_path().filename() / file->filename();
    // link then unlink rather than rename: rename would silently replace a file of that name. A
    // move cut short between the two (a crash) left the same file under both names: finish it.
    if ((::link(file->c_str(), to.c_str()) != 0 && !SameFile(*file, to)) ||
        ::unlink(file->c_str()) != 0) {
        Fail(clsStatus::Code::Io, "cannot move " + file->string() + ": " + ErrnoText());
        return std::nullopt;
    }
    Listing(folderID).Invalidate();
    Listing(targetFolderID).Invalidate();
    return std::string(key);
}

std::optional<std::filesystem::path> clsMaildirStore::WriteTemporary(
    std::string_view message, const std::filesystem::path& folder,
    const std::filesystem::path& sameAs) {
    const std::filesystem::path temporary = folder / "tmp" / clsMaildirName::NewUniqueName();
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        Fail(clsStatus::Code::Io, "cannot write " + temporary.string() + ": " + ErrnoText());
        return std::nullopt;
    }
    bool written = WriteAll(fd, message) && ::fsync(fd) == 0;
    struct stat original {};
    if (written && !sameAs.empty() && ::stat(sameAs.c_str(), &original) == 0) {
        const timespec times[2] = {original.st_atim, original.st_mtim};  // keeps ReceivedTime
        written = ::futimens(fd, times) == 0;
    }
    if (::close(fd) != 0 || !written) {
        Fail(clsStatus::Code::Io, "cannot write " + temporary.string() + ": " + ErrnoText());
        ::unlink(temporary.c_str());
        return std::nullopt;
    }
    return temporary;
}

std::optional<std::string> clsMaildirStore::CopyItem(std::string_view folderID,
                                                     std::string_view key,
                                                     std::string_view targetFolderID) {
    const auto file = FileOf(folderID, key);
    const auto target = FolderDirectory(targetFolderID);
    const auto bytes = file ? ReadMessage(folderID, key) : std::nullopt;
    if (!file || !target || !bytes) {
        return std::nullopt;
    }
    const auto temporary = WriteTemporary(*bytes, *target, *file);
    if (!temporary) {
        return std::nullopt;
    }
    const std::string unique = temporary->filename().string();
    const bool inNew = file->parent_path().filename() == "new";
    const std::filesystem::path to =
        *target / (inNew ? "new" : "cur") /
        (inNew ? unique
               : clsMaildirName::WithFlags(
                     unique, std::string(clsMaildirName::Flags(file->filename().string()))));
    if (::rename(temporary->c_str(), to.c_str()) != 0) {
        Fail(clsStatus::Code::Io, "cannot copy to " + to.string() + ": " + ErrnoText());
        ::unlink(temporary->c_str());
        return std::nullopt;
    }
    Listing(targetFolderID).Invalidate();
    return unique;
}

std::optional<std::string> clsMaildirStore::AppendMessage(std::string_view folderID,
                                                          std::string_view message, bool seen) {
    const auto target = FolderDirectory(folderID);
    const auto temporary = target ? WriteTemporary(message, *target, {}) : std::nullopt;
    if (!temporary) {
        return std::nullopt;
    }
    const std::string unique = temporary->filename().string();
    const std::filesystem::path to =
        seen ? *target / "cur" / clsMaildirName::WithFlags(unique, "S") : *target / "new" / unique;
    if (::rename(temporary->c_str(), to.c_str()) != 0) {
        Fail(clsStatus::Code::Io, "cannot deliver to " + to.string() + ": " + ErrnoText());
        ::unlink(temporary->c_str());
        return std::nullopt;
    }
    Listing(folderID).Invalidate();
    return unique;
}

bool clsMaildirStore::RemoveItem(std::string_view folderID, std::string_view key) {
    const auto file = FileOf(folderID, key);
    if (!file) {
        return false;
    }
    if (::unlink(file->c_str()) != 0) {
        return Fail(clsStatus::Code::Io, "cannot remove " + file->string() + ": " + ErrnoText());
    }
    Listing(folderID).Invalidate();
    return true;
}

bool clsMaildirStore::ReplaceMessage(std::string_view folderID, std::string_view key,
                                     std::string_view message) {
    const auto file = FileOf(folderID, key);
    const auto temporary =
        file ? WriteTemporary(message, file->parent_path().parent_path(), *file) : std::nullopt;
    if (!temporary) {
        return false;
    }
    if (::rename(temporary->c_str(), file->c_str()) != 0) {
        ::unlink(temporary->c_str());
        return Fail(clsStatus::Code::Io, "cannot replace " + file->string() + ": " + ErrnoText());
    }
    // Size fields in the name (",S=812") would now be wrong: drop them, keeping key and flags.
    const std::string name = file->filename().string();
    if (clsMaildirName::BaseName(name) != clsMaildirName::UniquePart(name)) {
        const bool hasInfo = name.find(":2,") != std::string::npos;
        const std::filesystem::path renamed =
            file->parent_path() /
            (hasInfo ? clsMaildirName::WithFlags(clsMaildirName::UniquePart(name),
                                                 std::string(clsMaildirName::Flags(name)))
                     : std::string(clsMaildirName::UniquePart(name)));
        ::rename(file->c_str(), renamed.c_str());
    }
    Listing(folderID).Invalidate();
    return true;
}
