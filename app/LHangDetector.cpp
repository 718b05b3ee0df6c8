#include "app/LHangDetector.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

bool WriteFully(int fd, const void* data, std::size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool ReadFully(int fd, void* data, std::size_t size) {
    char* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t got = read(fd, bytes, size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

LHangDetector& LHangDetector::Instance() {
    static LHangDetector instance;
    return instance;
}

std::string LHangDetector::MakePath(const std::string& tempFolder) {
    const char* user = std::getenv("LOGNAME");
    if (!user || !*user)
        user = std::getenv("USER");
    return tempFolder + "/_kelvane_rl_" + (user ? user : "");
}

LHangDetector::Record LHangDetector::Now() {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    const auto tick = static_cast<uint32_t>(static_cast<uint64_t>(tv.tv_sec) * 1000u +
                                            static_cast<uint64_t>(tv.tv_usec) / 1000u);
    return Record{static_cast<int64_t>(tv.tv_sec), tick};
}

bool LHangDetector::IsCrashRecord(const Record& stored, const Record& now) {
    const int64_t elapsed = (now.seconds - stored.seconds) * 1000;
    const int64_t expected = static_cast<int64_t>(stored.tick) + elapsed;
    const int64_t current = static_cast<int64_t>(now.tick);
    return current > expected - 2000 && current < expected + 2000;
}

LHangDetector::StartResult LHangDetector::Start(const std::string& path) {
    Remove();
    path_ = path;
    if (CreateAndWrite())
        return StartResult::kClean;

    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || flock(fd, LOCK_SH | LOCK_NB) != 0) {
        if (fd >= 0)
            close(fd);
        return StartResult::kHeldByLiveProcess;
    }
    unsigned char bytes[kRecordSize];
    const bool complete = ReadFully(fd, bytes, sizeof(bytes));
    close(fd);
    unlink(path_.c_str());

    StartResult result = StartResult::kLeftoverIgnored;
    if (complete) {
        Record stored{};
        std::memcpy(&stored.seconds, bytes, 8);
        std::memcpy(&stored.tick, bytes + 8, 8);
        if (IsCrashRecord(stored, Now()))
            result = StartResult::kLastRunCrashed;
    }
    CreateAndWrite();
    return result;
}

bool LHangDetector::CreateAndWrite() {
    const int fd = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        unlink(path_.c_str());
        return false;
    }
    const Record now = Now();
    unsigned char bytes[kRecordSize];
    std::memcpy(bytes, &now.seconds, 8);
    std::memcpy(bytes + 8, &now.tick, 8);
    WriteFully(fd, bytes, sizeof(bytes));  // a short record only weakens the next start's guess
    fd_ = fd;
    return true;
}

void LHangDetector::Remove() {
    if (fd_ < 0)
        return;
    // Unlinked while still locked, so that no other start can take a lock on
    // a file that is about to vanish.
    unlink(path_.c_str());
    close(fd_);
    fd_ = -1;
}
