#pragma once
// LTempWaveClaim: a name for a temporary Wave file, "Temp<n>.wav" in a
// folder, held for as long as the object lives. Each claim creates and
// exclusively locks "Temp<n>.lck" beside it, so that openings in other
// threads or other instances never pick the same name; a stale Wave file left
// behind by a crashed run is deleted when its number is claimed again.
// Destroying the claim closes and deletes the lock file; the Wave file itself
// belongs to whoever wrote it (see Release and DeleteWave).
#include "base/LFile.h"

#include <string>

class LTempWaveClaim {
public:
    LTempWaveClaim() = default;
    ~LTempWaveClaim() { Drop(); }
    LTempWaveClaim(const LTempWaveClaim&) = delete;
    LTempWaveClaim& operator=(const LTempWaveClaim&) = delete;

    // Takes the lowest free number in `folder`. False when the folder can't
    // hold lock files.
    bool Claim(const std::string& folder);
    bool IsClaimed() const { return lock_.IsOpen(); }
    const std::string& WavePath() const { return wavePath_; }

    // Deletes the Wave file, if there is one.
    void DeleteWave() const;
    // Ends the claim: the lock file goes.
    void Drop();

private:
    LFile lock_;
    std::string lockPath_;
    std::string wavePath_;
};
