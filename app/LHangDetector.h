#pragma once
// The run lock: a small file in the temporary folder that exists, locked, for
// as long as an instance runs. A clean end removes it; finding it unlocked at
// start means the last run did not end cleanly.
//
// On disk: 16 bytes in host order, wall-clock seconds (int64) and then a
// millisecond tick (seconds * 1000 + microseconds / 1000, as uint32) widened
// to 64 bits.
#include "base/LFile.h"

#include <cstdint>
#include <string>

class LHangDetector {
public:
    static constexpr std::size_t kRecordSize = 16;

    enum class StartResult {
        kClean,             // no leftover: this run's record is written
        kLastRunCrashed,    // a leftover whose record says the last run died
        kLeftoverIgnored,   // a leftover from another tick cycle: no prompt
        kHeldByLiveProcess  // another live instance holds it: nothing taken
    };

    LHangDetector() = default;
    ~LHangDetector() { Remove(); }
    LHangDetector(const LHangDetector&) = delete;
    LHangDetector& operator=(const LHangDetector&) = delete;

    // The process's one run lock.
    static LHangDetector& Instance();

    // "<folder>/_kelvane_rl_<user>", the user from LOGNAME, else USER, else empty.
    static std::string MakePath(const std::string& tempFolder);

    // Takes the lock at `path`, looking at what a previous run left first.
    StartResult Start(const std::string& path);
    // Closes and unlinks the lock if this process holds it; safe to repeat.
    void Remove();

    bool IsHeld() const { return file_.IsOpen(); }
    const std::string& Path() const { return path_; }

    struct Record {
        int64_t seconds;
        uint64_t tick;
    };
    static Record Now();
    // Whether a record left behind belongs to a run that ended abnormally:
    // true when the current tick lies within 2 s of the stored tick moved on by
    // the wall-clock time elapsed since (false across a tick wrap).
    static bool IsCrashRecord(const Record& stored, const Record& now);

private:
    bool CreateAndWrite();

    std::string path_;
    LFile file_;
};
