#include "foundation/clsRegistryFileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "foundation/clsRegistryFile.h"

clsRegistryFileLock::~clsRegistryFileLock() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);  // closing releases the flock
    }
}

clsStatus clsRegistryFileLock::Acquire(const std::filesystem::path& lockFile) {
    if (mDescriptor >= 0) {
        return clsStatus::Error(clsStatus::Code::Invalid, "lock already held");
    }
    const int descriptor = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return clsRegistryFile::FromErrno("cannot open lock file " + lockFile.string(), errno);
    }
    int result = 0;
    do {
        result = ::flock(descriptor, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const int error = errno;
        ::close(descriptor);
        return clsRegistryFile::FromErrno("cannot lock " + lockFile.string(), error);
    }
    mDescriptor = descriptor;
    return clsStatus::Ok();
}
