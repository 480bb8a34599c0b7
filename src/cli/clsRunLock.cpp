#include "cli/clsRunLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <string>

clsRunLock::~clsRunLock() {
    if (mDescriptor >= 0) {
        close(mDescriptor);  // releases the lock
    }
}

bool clsRunLock::Acquire() {
    mDescriptor = open(mFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (mDescriptor < 0 || flock(mDescriptor, LOCK_EX | LOCK_NB) != 0) {
        if (mDescriptor >= 0) {
            close(mDescriptor);
            mDescriptor = -1;
        }
        return false;
    }
    const std::string pid = std::to_string(getpid()) + "\n";
    // A number that cannot be written leaves the lock held; only what others are told is lost.
    if (ftruncate(mDescriptor, 0) == 0) {
        [[maybe_unused]] const ssize_t written = write(mDescriptor, pid.data(), pid.size());
    }
    return true;
}

std::optional<pid_t> clsRunLock::Holder() const {
    const int descriptor = open(mFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    const bool held = flock(descriptor, LOCK_SH | LOCK_NB) != 0;
    close(descriptor);
    if (!held) {
        return std::nullopt;
    }
    std::ifstream in(mFile);
    long pid = 0;
    in >> pid;
    return static_cast<pid_t>(pid);
}
