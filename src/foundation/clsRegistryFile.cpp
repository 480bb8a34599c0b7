#include "foundation/clsRegistryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "foundation/clsRegistryDocument.h"
#include "foundation/clsRegistryFileLock.h"

namespace {

// A settings file is a few kilobytes; a huge one is damage, not settings, and is not loaded.
constexpr off_t kMaxFileSize = 64L * 1024 * 1024;
constexpr int kMaxBadCopies = 100;

clsStatus WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return clsRegistryFile::FromErrno("cannot write", errno);
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return clsStatus::Ok();
}

clsStatus ReadAll(int descriptor, std::string& text) {
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0) {
            return clsStatus::Ok();
        }
        if (count < 0 && errno != EINTR) {
            return clsRegistryFile::FromErrno("cannot read", errno);
        }
        text.append(buffer, count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

// Writes, sets the mode, syncs and closes; the descriptor is closed whatever happens.
clsStatus FillTemporary(int descriptor, std::string_view text, mode_t mode) {
    clsStatus status = WriteAll(descriptor, text);
    if (status.IsOk() && ::fchmod(descriptor, mode) != 0) {
        status = clsRegistryFile::FromErrno("cannot set the mode", errno);
    }
    if (status.IsOk() && ::fsync(descriptor) != 0) {
        status = clsRegistryFile::FromErrno("cannot sync", errno);
    }
    if (::close(descriptor) != 0 && status.IsOk()) {
        status = clsRegistryFile::FromErrno("cannot close", errno);
    }
    return status;
}

// So that the rename itself survives a crash. Some file systems refuse to sync a folder; the
// file's own data is synced already, so that is not worth failing the write for.
void SyncFolder(const std::filesystem::path& folder) {
    const int descriptor =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

}  // namespace

clsStatus clsRegistryFile::FromErrno(const std::string& what, int error) {
    clsStatus::Code code = clsStatus::Code::Io;
    if (error == EACCES || error == EPERM || error == EROFS) {
        code = clsStatus::Code::Denied;
    } else if (error == ENOENT) {
        code = clsStatus::Code::NotFound;
    } else if (error == EINTR || error == EAGAIN || error == EBUSY) {
        code = clsStatus::Code::Temporary;
    }
    return clsStatus::Error(code, what + ": " + std::strerror(error), error);
}

clsStatus clsRegistryFile::MakeFolders(const std::filesystem::path& folder) {
    std::error_code error;
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, error);
    }
    return error ? FromErrno("cannot create folder " + folder.string(), error.value())
                 : clsStatus::Ok();
}

clsStatus clsRegistryFile::Read(clsRegistryDocument& document) {
    clsContents contents;
    clsStatus status = ReadText(mPath, contents);
    if (status.IsOk()) {
        Load(document, contents.Text);
    }
    return status;
}

clsStatus clsRegistryFile::Update(const std::function<clsStatus(clsRegistryDocument&)>& change) {
    clsStatus status = MakeFolders(mPath.parent_path());
    clsRegistryFileLock lock;
    if (status.IsOk()) {
        status = lock.Acquire(mPath.string() + ".lock");
    }
    clsContents contents;
    if (status.IsOk()) {
        status = ReadText(mPath, contents);
    }
    clsRegistryDocument document(mRoot);
    if (status.IsOk()) {
        Load(document, contents.Text);
        status = change(document);
    }
    const std::string text = status.IsOk() ? document.ToText() : std::string();
    if (!status.IsOk() || (contents.Exists && text == contents.Text)) {
        return status;
    }
    if (!mProblems.IsOk()) {
        status = KeepBadCopy(contents.Text, contents.Mode);
    }
    return status.IsOk() ? WriteAtomically(mPath, text, contents.Mode) : status;
}

clsStatus clsRegistryFile::ReadText(const std::filesystem::path& file, clsContents& contents) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno == ENOENT ? clsStatus::Ok() : FromErrno("cannot open " + file.string(), errno);
    }
    struct stat information {};
    clsStatus status = clsStatus::Ok();
    if (::fstat(descriptor, &information) != 0) {
        status = FromErrno("cannot examine " + file.string(), errno);
    } else if (!S_ISREG(information.st_mode)) {
        status = clsStatus::Error(clsStatus::Code::Io, file.string() + " is not a regular file");
    } else if (information.st_size > kMaxFileSize) {
        status = clsStatus::Error(clsStatus::Code::Corrupt, file.string() + " is too large");
    } else {
        status = ReadAll(descriptor, contents.Text);
    }
    ::close(descriptor);
    contents.Exists = status.IsOk();
    contents.Mode = information.st_mode & 07777;
    return status;
}

void clsRegistryFile::Load(clsRegistryDocument& document, const std::string& text) {
    const std::vector<clsRegistryProblem> problems = document.Load(text);
    mProblems =
        problems.empty()
            ? clsStatus::Ok()
            : clsStatus::Error(clsStatus::Code::Corrupt,
                               mPath.string() + ": " + clsRegistryParser::Describe(problems));
}

clsStatus clsRegistryFile::KeepBadCopy(std::string_view text, mode_t mode) {
    // An older copy may hold other lost lines: never overwrite one.
    for (int number = 0; number < kMaxBadCopies; ++number) {
        std::filesystem::path copy = mPath.string() + ".bad";
        if (number > 0) {
            copy += "." + std::to_string(number);
        }
        std::error_code error;
        if (std::filesystem::exists(copy, error) || error) {
            continue;
        }
        clsStatus status = WriteAtomically(copy, text, mode);
        if (status.IsOk()) {
            mProblems = clsStatus::Error(
                mProblems.GetCode(),
                mProblems.Description() + "; the file as it was is kept as " + copy.string());
        }
        return status;
    }
    return clsStatus::Error(clsStatus::Code::Io, "too many .bad copies of " + mPath.string());
}

clsStatus clsRegistryFile::WriteAtomically(const std::filesystem::path& file, std::string_view text,
                                           mode_t mode) {
    std::string pattern = file.string() + ".tmp-XXXXXX";
    const int descriptor = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (descriptor < 0) {
        return FromErrno("cannot create a temporary file beside " + file.string(), errno);
    }
    clsStatus status = FillTemporary(descriptor, text, mode);
    if (status.IsOk() && ::rename(pattern.c_str(), file.c_str()) != 0) {
        status = FromErrno("cannot rename the temporary file over it", errno);
    }
    if (!status.IsOk()) {
        ::unlink(pattern.c_str());
        return clsStatus::Error(status.GetCode(), file.string() + ": " + status.Description(),
                                status.Number());
    }
    SyncFolder(file.parent_path());
    return status;
}
