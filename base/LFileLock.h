#pragma once
// LFileLock: a scoped advisory lock (flock) between processes.
//
// Either locks a descriptor the caller keeps open, or opens (creating with
// mode 0666) a separate lock file and owns it. A lock file apart from the data
// is what guards files that are replaced by rename: the lock must outlive the
// inode it protects.
#include "base/LFile.h"

#include <string>

class LFileLock {
public:
    LFileLock() = default;
    // operation is LOCK_SH or LOCK_EX; see flocktimed for milliseconds.
    LFileLock(int fd, int operation, int milliseconds);
    LFileLock(const std::string& lockFilePath, int operation, int milliseconds);
    ~LFileLock() { Unlock(); }
    LFileLock(LFileLock&& other) noexcept;
    LFileLock& operator=(LFileLock&& other) noexcept;
    LFileLock(const LFileLock&) = delete;
    LFileLock& operator=(const LFileLock&) = delete;

    bool IsLocked() const { return lockedFd_ >= 0; }
    void Unlock();

private:
    LFile ownedFile_;
    int lockedFd_ = -1;
};
