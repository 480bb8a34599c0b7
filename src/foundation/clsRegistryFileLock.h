#pragma once
// clsRegistryFileLock: an exclusive flock on a lock file beside a registry file, held from Acquire
// until destruction, so that writers in any process take turns. A lock file of its own (not the
// registry file) because the registry file is replaced by rename on every write.
// Owned by the write in progress; any thread. Failure: Acquire returns the errno as a status.

#include <filesystem>

#include "foundation/clsStatus.h"

class clsRegistryFileLock {
public:
    clsRegistryFileLock() = default;
    ~clsRegistryFileLock();
    clsRegistryFileLock(const clsRegistryFileLock&) = delete;
    clsRegistryFileLock& operator=(const clsRegistryFileLock&) = delete;

    // Creates lockFile when missing and waits until the lock is ours.
    clsStatus Acquire(const std::filesystem::path& lockFile);

private:
    int mDescriptor = -1;
};
