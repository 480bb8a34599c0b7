#pragma once
// clsRunLock: the mark that a daemon (`corvel run`) works on a data folder: an exclusive flock on
// "corvel-run.lock" there, holding the daemon's process number. The kernel drops the lock when
// the process ends, however it ends, so a crash never leaves a stale mark.
// One per process; main thread only. Failure: Acquire says false; nothing throws.

#include <sys/types.h>

#include <filesystem>
#include <optional>

class clsRunLock {
public:
    explicit clsRunLock(std::filesystem::path dataFolder)
        : mFile(std::move(dataFolder) / "corvel-run.lock") {}
    ~clsRunLock();
    clsRunLock(const clsRunLock&) = delete;
    clsRunLock& operator=(const clsRunLock&) = delete;

    // Takes the lock for this process; false when another process holds it.
    bool Acquire();
    // The process number of the daemon holding the lock, if one does.
    std::optional<pid_t> Holder() const;

private:
    std::filesystem::path mFile;
    int mDescriptor = -1;
};
