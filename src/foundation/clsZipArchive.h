#pragma once
// clsZipArchive: one zip file on disk, written from files or unpacked into a folder (libzip).
// Archives come from users and may be hostile, so unpacking refuses entry names that are
// absolute or climb out with "..", links and other special entries, and more than a set total of
// unpacked bytes; it never follows a link it finds on the way and never replaces a file. Writing
// goes to a temporary file beside the target that is synced and renamed into place, so a failed
// write never leaves half an archive under the user's name.
// Owned by the caller; one thread per object.
// Failure: a clsStatus (Corrupt for a damaged or foreign file, Invalid for a refused entry,
// NotFound, Io with errno); what a failed unpacking wrote is removed again. Never throws.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

class clsZipArchive {
public:
    static constexpr std::uint64_t kMaxUnpackedSize = std::uint64_t{1} << 30;

    // One file to archive: its name inside the archive and where it is on disk.
    struct Entry {
        std::string Name;
        std::filesystem::path File;
    };

    explicit clsZipArchive(std::filesystem::path file,
                           std::uint64_t maxUnpackedSize = kMaxUnpackedSize)
        : mFile(std::move(file)), mMaxUnpackedSize(maxUnpackedSize) {}

    // Makes (or replaces) the archive holding entries, compressed; the old archive stays whole
    // until the new one is complete.
    clsStatus Write(const std::vector<Entry>& entries) const;
    // Unpacks every entry below folder, which must exist; nothing is written unless every entry
    // passes the checks.
    clsStatus ExtractTo(const std::filesystem::path& folder) const;

    // A relative name below the archive's root: not empty, no leading "/" or "\", no drive
    // letter, no ".." part ("/" and "\" both separate parts, as archivers on Windows write them).
    static bool IsSafeName(std::string_view name);

    const std::filesystem::path& File() const { return mFile; }

private:
    clsStatus WriteArchive(const std::filesystem::path& target,
                           const std::vector<Entry>& entries) const;

    std::filesystem::path mFile;
    std::uint64_t mMaxUnpackedSize;
};
