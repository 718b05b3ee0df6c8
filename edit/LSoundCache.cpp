#include "edit/LSoundCache.h"

#include "base/LFile.h"
#include "edit/LSoundCacheCleanup.h"
#include "edit/LSoundCacheItemAnalyzerManager.h"
#include "edit/LSoundCacheItemInfo.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;
using UniqueLock = std::unique_lock<std::recursive_mutex>;

void CloseAll(const std::vector<int>& descriptors) {
    for (int fd : descriptors) ::close(fd);
}

}  // namespace

void LSoundCacheForEachFile(const std::string& folder, const char* pattern,
                            const std::function<void(const char* name)>& f) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return;
    while (dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        if (::fnmatch(pattern, entry->d_name, 0) == 0) f(entry->d_name);
    }
    ::closedir(dir);
}

int64_t LSoundCacheFreeSpaceOfFolder(const std::string& folder) {
    struct stat st;
    const char* probe = (!folder.empty() && ::stat(folder.c_str(), &st) == 0) ? folder.c_str() : "/";
    struct statvfs vfs;
    if (::statvfs(probe, &vfs) != 0) return 0;
    // Blocks available to us, not to root: that is what our writes can use.
    return static_cast<int64_t>(vfs.f_bavail) * static_cast<int64_t>(vfs.f_frsize);
}

uint16_t LSoundCacheParseItemNumber(const char* fileName) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(fileName, &end, 10);
    if (end == fileName || errno != 0 || value < 0 || value > 65535) return kSoundCacheItemNone;
    return static_cast<uint16_t>(value);
}

LSoundCache::LSoundCache()
    : counts_(new uint16_t[kItemCount]()),
      known_(new uint8_t[kItemCount]()),
      holds_(new int[kItemCount]),
      busy_(new uint8_t[kItemCount]()) {
    std::fill_n(holds_.get(), kItemCount, -1);
    const std::string data = LFile::GetUserDataFolderApp();
    if (!data.empty()) {
        const std::string folder = data + "/soundcache";
        if (folder.size() <= LFile::kMaxPath && LFile::CreateFolder(folder)) folder_ = folder;
    }
}

LSoundCache& LSoundCache::Instance() {
    // Never destroyed: segments held by other statics release items at exit.
    static auto* instance = new LSoundCache();
    return *instance;
}

void LSoundCache::SetCacheFolder(const std::string& folder) {
    if (folder.empty() || folder.size() > LFile::kMaxPath) return;
    LFile::CreateFolder(folder);
    std::vector<int> released;
    {
        Lock lock(mutex_);
        if (folder == folder_) return;
        released = TakeAllHolds();
        folder_ = folder;
        std::fill_n(counts_.get(), kItemCount, uint16_t{0});
        rescan_ = true;
    }
    CloseAll(released);
}

std::string LSoundCache::GetCacheFolder() const {
    Lock lock(mutex_);
    return folder_;
}

bool LSoundCache::HasCacheFolder() const {
    Lock lock(mutex_);
    return !folder_.empty();
}

void LSoundCache::IncRef(uint16_t number) {
    if (number > kSoundCacheItemLast) return;
    UniqueLock lock(mutex_);
    // A reference taken while the last one's release is still deleting the
    // files would meet half of them: wait for the release to finish.
    WaitUntilIdle(lock, number);
    if (counts_[number] < kSoundCacheItemNone && ++counts_[number] == 1) HoldItem(lock, number);
}

void LSoundCache::DecRef(uint16_t number) {
    if (number == kSoundCacheItemNone) return;
    UniqueLock lock(mutex_);
    if (folder_.empty()) return;
    if (number <= kSoundCacheItemLast) WaitUntilIdle(lock, number);
    uint16_t& count = counts_[number];
    if (count >= 2) {
        // A count that reached the ceiling has lost track; it stays for good.
        if (count < kSoundCacheItemNone) --count;
        return;
    }
    count = 0;
    if (number > kSoundCacheItemLast) return;  // silence has no files
    // The release runs outside the lock; the item stays busy until it is
    // done, so nobody takes it meanwhile.
    const int hold = TakeHold(number);
    busy_[number] = 1;
    lock.unlock();
    if (hold >= 0) ::close(hold);
    if (!OriginalFileStillMatches(number)) CacheItemDelete(number);
    lock.lock();
    SetIdle(number);
}

void LSoundCache::WaitUntilIdle(UniqueLock& lock, uint16_t number) {
    idle_.wait(lock, [&] { return busy_[number] == 0; });
}

void LSoundCache::SetIdle(uint16_t number) {
    busy_[number] = 0;
    idle_.notify_all();
}

// An import whose original file is unchanged stays: reopening that file can
// use the item without decoding. Items from edits have no original and go.
bool LSoundCache::OriginalFileStillMatches(uint16_t number) const {
    LSoundCacheItemInfoContents info;
    if (!LSoundCacheItemInfoRead(GetFilePath(number, ".audinfo"), info)) return false;
    for (const LSoundCacheOriginalFile& original : info.originals) {
        struct stat st;
        if (::stat(original.path.c_str(), &st) != 0) continue;
        if (static_cast<int32_t>(st.st_mtime) == original.mtime && st.st_size == original.size &&
            static_cast<int32_t>(st.st_mtim.tv_nsec) == original.tag) {
            return true;
        }
    }
    return false;
}

uint16_t LSoundCache::GetRefCount(uint16_t number) const {
    Lock lock(mutex_);
    return counts_[number];
}

bool LSoundCache::IsKnown(uint16_t number) const {
    Lock lock(mutex_);
    return known_[number] != 0;
}

void LSoundCache::SetKnown(uint16_t number, bool known) {
    Lock lock(mutex_);
    known_[number] = known ? 1 : 0;
}

void LSoundCache::ScanFolderIfNeeded() {
    std::string folder;
    {
        Lock lock(mutex_);
        if (!rescan_) return;
        std::fill_n(known_.get(), kItemCount, uint8_t{0});
        folder = folder_;
    }
    LSoundCacheForEachFile(folder, "*.aud", [&](const char* name) {
        const uint16_t number = LSoundCacheParseItemNumber(name);
        // A damaged information file records nothing; the item stays protected.
        LSoundCacheItemInfoContents info;
        const bool read =
            number <= kSoundCacheItemLast && LSoundCacheItemInfoRead(GetFilePath(number, ".audinfo"), info);
        Lock lock(mutex_);
        known_[number] = 1;
        LSoundCacheItemAnalyzerManager::Instance().SetItemFlags(number, read ? info.analyzerFlags : 0);
    });
    Lock lock(mutex_);
    rescan_ = false;
}

uint16_t LSoundCache::ItemNumberGetNextAvailable() {
    ScanFolderIfNeeded();
    Lock lock(mutex_);
    for (uint32_t n = 0; n <= kSoundCacheItemLast; ++n) {
        if (counts_[n] == 0 && known_[n] == 0) return static_cast<uint16_t>(n);
    }
    return kSoundCacheItemNone;
}

// Another instance sharing the folder may have picked the same number at the
// same moment: whoever creates the .aud first owns the item.
bool LSoundCache::ClaimAudFile(uint16_t number) {
    const std::string path = GetFilePath(number, ".aud");
    if (path.empty()) {
        errno = ENAMETOOLONG;
        return false;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        LFile file;
        if (file.Open(path.c_str(), O_RDWR | O_CREAT | O_EXCL)) return true;
        if (errno != ENOENT || attempt > 0) break;
        LFile::CreateFolder(GetCacheFolder());  // the folder went away; make it again
    }
    return false;
}

uint16_t LSoundCache::ItemCreateNewAndIncRef() {
    for (int round = 0; round < 2; ++round) {
        for (;;) {
            const uint16_t number = ItemNumberGetNextAvailable();
            if (number == kSoundCacheItemNone) break;
            {
                Lock lock(mutex_);
                if (counts_[number] != 0 || known_[number] != 0) continue;  // another thread took it
                counts_[number] = 1;
                known_[number] = 1;
            }
            if (ClaimAudFile(number)) {
                UniqueLock lock(mutex_);
                HoldItem(lock, number);
                return number;
            }
            const bool takenElsewhere = errno == EEXIST;
            Lock lock(mutex_);
            counts_[number] = 0;
            if (!takenElsewhere) {
                known_[number] = 0;
                return kSoundCacheItemNone;
            }
            // known stays set: the number belongs to someone else now.
        }
        if (round == 0) LSoundCacheCleanup(4);
    }
    return kSoundCacheItemNone;
}

void LSoundCache::HoldItem(UniqueLock& lock, uint16_t number) {
    if (holds_[number] >= 0 || holdCount_ >= kMaxHolds) return;
    ++holdCount_;  // this hold's place, given back if the open fails
    busy_[number] = 1;
    lock.unlock();
    const int fd = OpenHold(number);
    lock.lock();
    if (fd >= 0) {
        holds_[number] = fd;
    } else {
        --holdCount_;
    }
    SetIdle(number);
}

int LSoundCache::OpenHold(uint16_t number) const {
    const std::string path = GetFilePath(number, ".aud");
    if (path.empty()) return -1;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    if (::flock(fd, LOCK_SH | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool LSoundCache::ClaimUnreferenced(uint16_t number) {
    UniqueLock lock(mutex_);
    WaitUntilIdle(lock, number);
    if (counts_[number] != 0) return false;
    busy_[number] = 1;
    return true;
}

int LSoundCache::TakeHold(uint16_t number) {
    const int fd = holds_[number];
    if (fd < 0) return -1;
    holds_[number] = -1;
    --holdCount_;
    return fd;
}

std::vector<int> LSoundCache::TakeAllHolds() {
    std::vector<int> descriptors;
    for (int n = 0; n < kItemCount; ++n) {
        const int fd = TakeHold(static_cast<uint16_t>(n));
        if (fd >= 0) descriptors.push_back(fd);
    }
    return descriptors;
}

bool LSoundCache::IsHeldElsewhere(uint16_t number) const {
    const std::string path = GetFilePath(number, ".aud");
    if (path.empty()) return false;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;  // no audio left to protect
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(fd);  // also drops the probe's own lock
    return held;
}

void LSoundCache::CacheItemDelete(uint16_t number) {
    if (number > kSoundCacheItemLast) return;
    if (IsHeldElsewhere(number)) {
        SetKnown(number, true);
        return;
    }
    for (const char* extension : kExtensions) {
        const std::string path = GetFilePath(number, extension);
        if (!path.empty()) ::unlink(path.c_str());
    }
    SetKnown(number, false);
}

void LSoundCache::DeleteCachedFiles() {
    for (const char* extension : kExtensions) {
        const std::string pattern = std::string("*") + extension;
        DeleteCachedFiles(pattern.c_str());
    }
}

void LSoundCache::DeleteCachedFiles(const char* pattern) {
    const std::string folder = GetCacheFolder();
    if (folder.empty()) return;
    LSoundCacheForEachFile(folder, pattern, [&](const char* name) {
        const uint16_t number = LSoundCacheParseItemNumber(name);
        if (number == kSoundCacheItemNone || !ClaimUnreferenced(number)) return;
        if (number > kSoundCacheItemLast || !IsHeldElsewhere(number)) {
            const std::string path = folder + "/" + name;
            struct stat st;
            if (::stat(path.c_str(), &st) == 0 && (st.st_mode & S_IWUSR) == 0) ::chmod(path.c_str(), st.st_mode | S_IWUSR);
            ::unlink(path.c_str());
            SetKnown(number, false);
        }
        Lock lock(mutex_);
        SetIdle(number);
    });
}

void LSoundCache::ItemsDelete(long cutoff) {
    const std::string folder = GetCacheFolder();
    if (folder.empty()) return;
    LSoundCacheForEachFile(folder, "*.audinfo", [&](const char* name) {
        const uint16_t number = LSoundCacheParseItemNumber(name);
        if (number > kSoundCacheItemLast) return;
        LSoundCacheItemInfoContents info;
        if (!LSoundCacheItemInfoRead(folder + "/" + name, info) || !info.hasLastAccess) return;
        if (info.lastAccess > cutoff || !ClaimUnreferenced(number)) return;
        CacheItemDelete(number);
        Lock lock(mutex_);
        SetIdle(number);
    });
}

std::string LSoundCache::GetFilePath(uint16_t number, const char* extension) const {
    if (number == kSoundCacheItemSilence) return {};
    std::string path = GetCacheFolder();
    if (path.empty()) return {};
    path += '/';
    path += std::to_string(number);
    path += extension;
    if (path.size() > LFile::kMaxPath) return {};
    return path;
}

bool LSoundCache::GetFilePath(uint16_t number, char* buffer, const char* extension) const {
    const std::string path = GetFilePath(number, extension);
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return !path.empty();
}

bool LSoundCache::OpenItemFile(LFile& file, uint16_t number, const char* extension, int flags) const {
    const std::string path = GetFilePath(number, extension);
    return !path.empty() && file.Open(path.c_str(), flags);
}

int64_t LSoundCache::GetFreeSpace() const {
    FreeSpaceFunction function;
    std::string folder;
    {
        Lock lock(mutex_);
        function = freeSpace_;
        folder = folder_;
    }
    return function ? function(folder) : LSoundCacheFreeSpaceOfFolder(folder);
}

std::string LSoundCache::GetVolumeName() const {
    char resolved[PATH_MAX];
    const std::string folder = GetCacheFolder();
    if (folder.empty() || !::realpath(folder.c_str(), resolved)) return "/";
    std::string path = resolved;
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return "/";
    const dev_t device = st.st_dev;
    // Walk up while the parent lies on the same device: the last one is where
    // the volume is mounted.
    while (path.size() > 1) {
        const size_t slash = path.rfind('/');
        const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
        if (::stat(parent.c_str(), &st) != 0 || st.st_dev != device) break;
        path = parent;
    }
    return path;
}

void LSoundCache::SetFreeSpaceFunctionForTesting(FreeSpaceFunction function) {
    Lock lock(mutex_);
    freeSpace_ = std::move(function);
}

void LSoundCache::ResetForTesting(const std::string& folder) {
    std::vector<int> released;
    {
        Lock lock(mutex_);
        released = TakeAllHolds();
        folder_ = folder;
        std::fill_n(counts_.get(), kItemCount, uint16_t{0});
        std::fill_n(known_.get(), kItemCount, uint8_t{0});
        rescan_ = true;
        freeSpace_ = nullptr;
        LSoundCacheItemAnalyzerManager::Instance().ResetForTesting();
    }
    CloseAll(released);
}
