#include "formats/LTempWaveClaim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Far more than any number of openings at once; a folder that fails this
// many times is not usable.
constexpr int kMaxNumber = 10000;

}  // namespace

bool LTempWaveClaim::Claim(const std::string& folder) {
    Drop();
    for (int n = 1; n <= kMaxNumber; ++n) {
        const std::string stem = folder + "/Temp" + std::to_string(n);
        // 0777 (before the umask), as every instance of every user sharing
        // the folder must be able to lock it.
        LFile lock(::open((stem + ".lck").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0777));
        if (!lock.IsOpen()) {
            if (errno == ENOENT || errno == EACCES || errno == EROFS || errno == ENOTDIR) return false;
            continue;
        }
        if (::flock(lock.Fd(), LOCK_EX | LOCK_NB) != 0) continue;
        // The lock may belong to a lock file that its owner deleted just
        // before we opened it; then the name on disk is no longer ours.
        struct stat held, named;
        if (::fstat(lock.Fd(), &held) != 0 || ::stat((stem + ".lck").c_str(), &named) != 0 ||
            held.st_ino != named.st_ino || held.st_dev != named.st_dev) {
            continue;
        }
        const std::string wave = stem + ".wav";
        // Whoever wrote a Wave file of this name held this lock while doing
        // so; holding it now, we know the file is left over.
        if (::access(wave.c_str(), F_OK) == 0 && ::unlink(wave.c_str()) != 0) continue;
        lock_ = std::move(lock);
        lockPath_ = stem + ".lck";
        wavePath_ = wave;
        return true;
    }
    return false;
}

void LTempWaveClaim::DeleteWave() const {
    if (!wavePath_.empty()) ::unlink(wavePath_.c_str());
}

void LTempWaveClaim::Drop() {
    if (!lock_.IsOpen()) return;
    // Unlinking before closing keeps the lock until the name is gone.
    ::unlink(lockPath_.c_str());
    lock_.Close();
    lockPath_.clear();
    wavePath_.clear();
}
