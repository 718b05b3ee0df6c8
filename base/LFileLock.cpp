#include "base/LFileLock.h"

#include <sys/file.h>

LFileLock::LFileLock(int fd, int operation, int milliseconds) {
    if (fd >= 0 && flocktimed(fd, operation, milliseconds) == 0) lockedFd_ = fd;
}

LFileLock::LFileLock(const std::string& lockFilePath, int operation, int milliseconds) {
    if (!ownedFile_.OpenReadWrite(lockFilePath.c_str())) return;
    if (flocktimed(ownedFile_.Fd(), operation, milliseconds) == 0) lockedFd_ = ownedFile_.Fd();
    else ownedFile_.Close();
}

LFileLock::LFileLock(LFileLock&& other) noexcept
    : ownedFile_(std::move(other.ownedFile_)), lockedFd_(other.lockedFd_) {
    other.lockedFd_ = -1;
}

LFileLock& LFileLock::operator=(LFileLock&& other) noexcept {
    if (this != &other) {
        Unlock();
        ownedFile_ = std::move(other.ownedFile_);
        lockedFd_ = other.lockedFd_;
        other.lockedFd_ = -1;
    }
    return *this;
}

void LFileLock::Unlock() {
    if (lockedFd_ >= 0) {
        ::flock(lockedFd_, LOCK_UN);
        lockedFd_ = -1;
    }
    ownedFile_.Close();
}
