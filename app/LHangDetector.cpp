#include "app/LHangDetector.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

LHangDetector& LHangDetector::Instance() {
    static LHangDetector instance;
    return instance;
}

namespace {

// The login name: LOGNAME, then USER, then (for services and cron jobs,
// which set neither) the password database; the numeric id as a last resort,
// so that the name is never empty.
std::string UserName() {
    for (const char* variable : {"LOGNAME", "USER"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return value;
    }
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_name &&
        *found->pw_name) {
        return found->pw_name;
    }
    return std::to_string(::getuid());
}

}  // namespace

std::string LHangDetector::MakePath(const std::string& tempFolder) {
    return tempFolder + "/_kelvane_rl_" + UserName();
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

    LFile leftover;
    if (!leftover.OpenRead(path_.c_str()) || flock(leftover.Fd(), LOCK_SH | LOCK_NB) != 0)
        return StartResult::kHeldByLiveProcess;
    unsigned char bytes[kRecordSize];
    const bool complete = leftover.ReadExact(bytes, sizeof(bytes));
    leftover.Close();
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
    LFile file;
    if (!file.Open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL))
        return false;
    if (flock(file.Fd(), LOCK_EX | LOCK_NB) != 0) {
        file.Close();
        unlink(path_.c_str());
        return false;
    }
    const Record now = Now();
    unsigned char bytes[kRecordSize];
    std::memcpy(bytes, &now.seconds, 8);
    std::memcpy(bytes + 8, &now.tick, 8);
    file.WriteAll(bytes, sizeof(bytes));  // a short record only weakens the next start's guess
    file_ = std::move(file);
    return true;
}

void LHangDetector::Remove() {
    if (!file_.IsOpen())
        return;
    // Unlinked while still locked, so that no other start can take a lock on
    // a file that is about to vanish.
    unlink(path_.c_str());
    file_.Close();
}
