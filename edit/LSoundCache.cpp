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
    : counts_(new uint16_t[kItemCount]()), known_(new uint8_t[kItemCount]()), holds_(new int[kItemCount]) {
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
    Lock lock(mutex_);
    if (folder == folder_) return;
    ReleaseAllItems();
    folder_ = folder;
    std::fill_n(counts_.get(), kItemCount, uint16_t{0});
    rescan_ = true;
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
    Lock lock(mutex_);
    if (counts_[number] < kSoundCacheItemNone && ++counts_[number] == 1) HoldItem(number);
}

void LSoundCache::DecRef(uint16_t number) {
    if (number == kSoundCacheItemNone) return;
    {
        Lock lock(mutex_);
        if (folder_.empty()) return;
        uint16_t& count = counts_[number];
        if (count >= 2) {
            // A count that reached the ceiling has lost track; it stays for good.
            if (count < kSoundCacheItemNone) --count;
            return;
        }
        count = 0;
        if (number <= kSoundCacheItemLast) ReleaseItem(number);
    }
    if (number == kSoundCacheItemSilence) return;
    if (OriginalFileStillMatches(number)) return;
    CacheItemDelete(number);
}

// An import whose original file is unchanged stays: reopening that file can
// use the item without decoding. Items from edits have no original and go.
bool LSoundCache::OriginalFileStillMatches(uint16_t number) const {
    LSoundCacheItemInfoContents info;
    if (!LSoundCacheItemInfoRead(GetFilePath(number, ".audinfo"), info)) return false;
    for (const LSoundCacheOriginalFile& original : info.originals) {
        struct stat st;
        if (::stat(original.path.c_str(), &st) != 0) continue;
        if (static_cast<int32_t>(st.st_mtime) == original.mtime && st.st_size == original.size) return true;
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
        Lock lock(mutex_);
        ScanItem(number);
    });
    Lock lock(mutex_);
    rescan_ = false;
}

void LSoundCache::ScanItem(uint16_t number) {
    known_[number] = 1;
    auto& analyzer = LSoundCacheItemAnalyzerManager::Instance();
    analyzer.SetItemFlags(number, 0);
    if (number > kSoundCacheItemLast) return;
    LSoundCacheItemInfoContents info;
    // A damaged information file records nothing; the item stays protected.
    if (LSoundCacheItemInfoRead(GetFilePath(number, ".audinfo"), info)) analyzer.SetItemFlags(number, info.analyzerFlags);
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
                Lock lock(mutex_);
                HoldItem(number);
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

void LSoundCache::HoldItem(uint16_t number) {
    if (holds_[number] >= 0 || holdCount_ >= kMaxHolds) return;
    const std::string path = GetFilePath(number, ".aud");
    if (path.empty()) return;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (::flock(fd, LOCK_SH | LOCK_NB) != 0) {
        ::close(fd);
        return;
    }
    holds_[number] = fd;
    ++holdCount_;
}

void LSoundCache::ReleaseItem(uint16_t number) {
    if (holds_[number] < 0) return;
    ::close(holds_[number]);
    holds_[number] = -1;
    --holdCount_;
}

void LSoundCache::ReleaseAllItems() {
    for (int n = 0; n < kItemCount; ++n) ReleaseItem(static_cast<uint16_t>(n));
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
        if (number == kSoundCacheItemNone || GetRefCount(number) != 0) return;
        if (number <= kSoundCacheItemLast && IsHeldElsewhere(number)) return;
        const std::string path = folder + "/" + name;
        struct stat st;
        if (::stat(path.c_str(), &st) == 0 && (st.st_mode & S_IWUSR) == 0) ::chmod(path.c_str(), st.st_mode | S_IWUSR);
        ::unlink(path.c_str());
        SetKnown(number, false);
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
        if (info.lastAccess <= cutoff && GetRefCount(number) == 0) CacheItemDelete(number);
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
    Lock lock(mutex_);
    ReleaseAllItems();
    folder_ = folder;
    std::fill_n(counts_.get(), kItemCount, uint16_t{0});
    std::fill_n(known_.get(), kItemCount, uint8_t{0});
    rescan_ = true;
    freeSpace_ = nullptr;
    LSoundCacheItemAnalyzerManager::Instance().ResetForTesting();
}
