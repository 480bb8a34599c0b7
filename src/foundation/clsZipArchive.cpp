#include "foundation/clsZipArchive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>

namespace {

using Code = clsStatus::Code;

constexpr zip_int64_t kWholeFile = -1;  // zip_source_file: from the start to the end
constexpr std::size_t kBufferSize = 65536;

struct ArchiveDiscarder {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ArchiveHandle = std::unique_ptr<zip_t, ArchiveDiscarder>;

struct EntryCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using EntryHandle = std::unique_ptr<zip_file_t, EntryCloser>;

// An entry that passed the checks, in archive order.
struct PlannedEntry {
    zip_uint64_t Index = 0;
    std::string Name;
    bool Folder = false;
};

clsStatus FromErrno(const std::string& what, int error) {
    return clsStatus::Error(error == ENOENT ? Code::NotFound : Code::Io,
                            what + ": " + std::strerror(error), error);
}

// Damaged or foreign data is Corrupt, a missing file NotFound, the rest Io (with errno if any).
clsStatus FromZipError(const std::string& what, zip_error_t* error) {
    Code code = Code::Io;
    switch (zip_error_code_zip(error)) {
        case ZIP_ER_NOENT:
            code = Code::NotFound;
            break;
        case ZIP_ER_NOZIP:
        case ZIP_ER_INCONS:
        case ZIP_ER_CRC:
        case ZIP_ER_ZLIB:
        case ZIP_ER_EOF:
        case ZIP_ER_COMPRESSED_DATA:
        case ZIP_ER_COMPNOTSUPP:
        case ZIP_ER_ENCRNOTSUPP:
        case ZIP_ER_MULTIDISK:
            code = Code::Corrupt;
            break;
        default:
            break;
    }
    const long number =
        zip_error_system_type(error) == ZIP_ET_SYS ? zip_error_code_system(error) : 0;
    return clsStatus::Error(code, what + ": " + zip_error_strerror(error), number);
}

clsStatus FromZipCode(const std::string& what, int zipCode) {
    zip_error_t error;
    zip_error_init_with_code(&error, zipCode);
    clsStatus status = FromZipError(what, &error);
    zip_error_fini(&error);
    return status;
}

clsStatus Refused(const std::string& what) { return clsStatus::Error(Code::Invalid, what); }

// So that a crash after the rename finds the whole archive, not an empty file.
clsStatus SyncFile(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return FromErrno("cannot reopen " + file.string(), errno);
    }
    const int result = ::fsync(descriptor);
    const int error = errno;
    ::close(descriptor);
    return result == 0 ? clsStatus::Ok() : FromErrno("cannot sync " + file.string(), error);
}

// Entries made on Unix say what they are; links, devices and pipes are never unpacked.
bool IsPlainEntry(zip_t* archive, zip_uint64_t index) {
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0) {
        return false;
    }
    const mode_t type = (attributes >> 16) & S_IFMT;
    return system != ZIP_OPSYS_UNIX || type == 0 || type == S_IFREG || type == S_IFDIR;
}

// Checks every entry, and the total the archive claims to unpack to, before anything is written.
clsStatus Plan(zip_t* archive, std::uint64_t maxSize, std::vector<PlannedEntry>& plan) {
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    std::uint64_t total = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        const auto index = static_cast<zip_uint64_t>(i);
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(archive, index, ZIP_FL_ENC_RAW, &stat) != 0 ||
            (stat.valid & ZIP_STAT_NAME) == 0 || (stat.valid & ZIP_STAT_SIZE) == 0) {
            return FromZipError("cannot read entry " + std::to_string(i), zip_get_error(archive));
        }
        const std::string name = stat.name;
        if (!clsZipArchive::IsSafeName(name)) {
            return Refused("refused the entry name \"" + name + "\"");
        }
        if (!IsPlainEntry(archive, index)) {
            return Refused("refused \"" + name + "\": a link or special file");
        }
        if (stat.size > maxSize - total) {
            return clsStatus::Error(Code::Corrupt,
                                    "unpacks to more than " + std::to_string(maxSize) + " bytes");
        }
        total += stat.size;
        plan.push_back({index, name, name.back() == '/'});
    }
    return clsStatus::Ok();
}

// Makes the folders of relative below root, refusing to pass through a link.
clsStatus MakeFolders(const std::filesystem::path& root, const std::filesystem::path& relative,
                      std::vector<std::filesystem::path>& created) {
    std::filesystem::path current = root;
    for (const std::filesystem::path& part : relative) {
        current /= part;
        std::error_code error;
        const std::filesystem::file_status status = std::filesystem::symlink_status(current, error);
        if (std::filesystem::is_symlink(status)) {
            return Refused(current.string() + " is a link");
        }
        if (std::filesystem::is_directory(status)) {
            continue;
        }
        if (::mkdir(current.c_str(), 0700) != 0) {
            return FromErrno("cannot create the folder " + current.string(), errno);
        }
        created.push_back(current);
    }
    return clsStatus::Ok();
}

clsStatus WriteAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0 && errno != EINTR) {
            return FromErrno("cannot write", errno);
        }
        const std::size_t done = written < 0 ? 0 : static_cast<std::size_t>(written);
        data += done;
        size -= done;
    }
    return clsStatus::Ok();
}

// Copies one entry; budget is what may still be unpacked, since a claimed size can lie.
clsStatus CopyEntry(zip_file_t* source, int descriptor, std::uint64_t& budget) {
    std::vector<char> buffer(kBufferSize);
    for (;;) {
        const zip_int64_t count = zip_fread(source, buffer.data(), buffer.size());
        if (count == 0) {
            return clsStatus::Ok();
        }
        if (count < 0) {
            return FromZipError("damaged entry", zip_file_get_error(source));
        }
        const auto size = static_cast<std::uint64_t>(count);
        if (size > budget) {
            return clsStatus::Error(Code::Corrupt, "unpacks to more than its entries claim");
        }
        budget -= size;
        if (clsStatus status = WriteAll(descriptor, buffer.data(), size); !status.IsOk()) {
            return status;
        }
    }
}

clsStatus UnpackFile(zip_t* archive, const PlannedEntry& entry, const std::filesystem::path& target,
                     std::uint64_t& budget, std::vector<std::filesystem::path>& created) {
    const EntryHandle source(zip_fopen_index(archive, entry.Index, 0));
    if (!source) {
        return FromZipError("cannot read \"" + entry.Name + "\"", zip_get_error(archive));
    }
    // O_EXCL and O_NOFOLLOW: never replace a file, never write through a link.
    const int descriptor =
        ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return FromErrno("cannot create " + target.string(), errno);
    }
    created.push_back(target);
    clsStatus status = CopyEntry(source.get(), descriptor, budget);
    if (::close(descriptor) != 0 && status.IsOk()) {
        status = FromErrno("cannot close " + target.string(), errno);
    }
    if (!status.IsOk()) {
        return clsStatus::Error(status.GetCode(), entry.Name + ": " + status.Description(),
                                status.Number());
    }
    return status;
}

clsStatus Unpack(zip_t* archive, const PlannedEntry& entry, const std::filesystem::path& root,
                 std::uint64_t& budget, std::vector<std::filesystem::path>& created) {
    const std::string trimmed = entry.Name.substr(0, entry.Name.find_last_not_of('/') + 1);
    const std::filesystem::path relative = std::filesystem::path(trimmed).lexically_normal();
    if (entry.Folder) {
        return MakeFolders(root, relative, created);
    }
    clsStatus status = MakeFolders(root, relative.parent_path(), created);
    return status.IsOk() ? UnpackFile(archive, entry, root / relative, budget, created) : status;
}

// Newest first, so folders are empty by the time they are removed.
void RemoveCreated(const std::vector<std::filesystem::path>& created) {
    for (auto it = created.rbegin(); it != created.rend(); ++it) {
        std::error_code ignored;
        std::filesystem::remove(*it, ignored);
    }
}

}  // namespace

bool clsZipArchive::IsSafeName(std::string_view name) {
    if (name.empty() || name.front() == '/' || name.front() == '\\' ||
        name.find('\0') != std::string_view::npos) {
        return false;
    }
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) {
        return false;
    }
    for (std::size_t start = 0;;) {
        const std::size_t end = name.find_first_of("/\\", start);
        if (name.substr(start, end == std::string_view::npos ? end : end - start) == "..") {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        start = end + 1;
    }
}

clsStatus clsZipArchive::Write(const std::vector<Entry>& entries) const {
    try {
        if (entries.empty()) {
            return Refused("nothing to archive");
        }
        for (const Entry& entry : entries) {
            std::error_code error;
            if (!IsSafeName(entry.Name)) {
                return Refused("cannot archive under the name \"" + entry.Name + "\"");
            }
            if (!std::filesystem::is_regular_file(entry.File, error)) {
                return clsStatus::Error(Code::NotFound, entry.File.string() + " is not a file");
            }
        }
        // Beside the target, so that the rename below stays on one file system.
        const std::filesystem::path partial =
            mFile.string() + ".part-" + std::to_string(::getpid());
        ::unlink(partial.c_str());
        clsStatus status = WriteArchive(partial, entries);
        if (status.IsOk()) {
            status = SyncFile(partial);
        }
        if (status.IsOk() && ::rename(partial.c_str(), mFile.c_str()) != 0) {
            status = FromErrno("cannot rename the new archive to " + mFile.string(), errno);
        }
        if (!status.IsOk()) {
            ::unlink(partial.c_str());
        }
        return status;
    } catch (const std::exception& error) {
        return clsStatus::Error(Code::Io, error.what());
    }
}

clsStatus clsZipArchive::WriteArchive(const std::filesystem::path& target,
                                      const std::vector<Entry>& entries) const {
    int zipCode = 0;
    ArchiveHandle archive(zip_open(target.c_str(), ZIP_CREATE | ZIP_EXCL, &zipCode));
    if (!archive) {
        return FromZipCode("cannot create " + target.string(), zipCode);
    }
    for (const Entry& entry : entries) {
        zip_source_t* source = zip_source_file(archive.get(), entry.File.c_str(), 0, kWholeFile);
        if (source == nullptr || zip_file_add(archive.get(), entry.Name.c_str(), source, 0) < 0) {
            if (source != nullptr) {
                zip_source_free(source);
            }
            return FromZipError("cannot add " + entry.File.string(), zip_get_error(archive.get()));
        }
    }
    if (zip_close(archive.get()) != 0) {
        return FromZipError("cannot write " + target.string(), zip_get_error(archive.get()));
    }
    archive.release();  // zip_close freed it
    return clsStatus::Ok();
}

clsStatus clsZipArchive::ExtractTo(const std::filesystem::path& folder) const {
    try {
        std::error_code error;
        if (!std::filesystem::is_directory(folder, error)) {
            return clsStatus::Error(Code::NotFound, folder.string() + " is not a folder");
        }
        int zipCode = 0;
        const ArchiveHandle archive(zip_open(mFile.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &zipCode));
        if (!archive) {
            return FromZipCode(mFile.string(), zipCode);
        }
        std::vector<PlannedEntry> plan;
        clsStatus status = Plan(archive.get(), mMaxUnpackedSize, plan);
        std::vector<std::filesystem::path> created;
        std::uint64_t budget = mMaxUnpackedSize;
        for (std::size_t i = 0; status.IsOk() && i < plan.size(); ++i) {
            status = Unpack(archive.get(), plan[i], folder, budget, created);
        }
        if (!status.IsOk()) {
            RemoveCreated(created);
            return clsStatus::Error(status.GetCode(), mFile.string() + ": " + status.Description(),
                                    status.Number());
        }
        return status;
    } catch (const std::exception& error) {
        return clsStatus::Error(Code::Io, error.what());
    }
}
