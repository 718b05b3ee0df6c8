#pragma once
// LSoundCache: the numbered items of decoded audio on disk and their
// reference counts.
//
// Item N is the files "N.aud" (raw little-endian float frames), "N.grf"
// (peaks per 256 frames), "N.audinfo" (an SDF file with format, origin and
// access time), and optionally "N.fft" and "N.orvmp3", directly in the cache
// folder. Counts live in this process only; the known flags protect numbers
// that have files on disk (from an earlier session, another instance, or a
// reusable import) from being handed out again.
//
// One global object (Instance()); any thread. Counts and flags are guarded by
// one recursive mutex, which is never held over file work: no file is opened,
// locked, read, closed or deleted under it. The work is decided under the
// lock and done after it; an item whose files are being opened, released or
// deleted is marked busy meanwhile, and a count change of that item waits
// until the work is done, so a new reference never meets half-deleted files.
#include "edit/LSoundCacheItemHandle.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class LFile;

class LSoundCache {
public:
    static constexpr int kItemCount = 65536;
    // The extensions of an item's files, in the order they are deleted.
    static constexpr const char* kExtensions[5] = {".aud", ".grf", ".audinfo", ".fft", ".orvmp3"};

    // The process's cache. At first use its folder is "soundcache" in the
    // user data folder (made if missing; unset if that can't be found).
    static LSoundCache& Instance();

    // Points the cache at another folder (the working folder of the settings).
    // If it differs from the current one, all counts are cleared and the next
    // allocation scans the new folder. The folder is made if missing.
    void SetCacheFolder(const std::string& folder);
    std::string GetCacheFolder() const;
    bool HasCacheFolder() const;

    void IncRef(uint16_t number);
    // Drops one reference. The last one deletes the item's files unless its
    // .audinfo names an original file that is still unchanged on disk.
    void DecRef(uint16_t number);
    uint16_t GetRefCount(uint16_t number) const;
    bool IsKnown(uint16_t number) const;
    // Marks a number as having files, so it is never handed out.
    void SetKnown(uint16_t number, bool known);

    // The lowest number with no reference and no files known, or
    // kSoundCacheItemNone. The first call after a folder change scans it.
    uint16_t ItemNumberGetNextAvailable();
    // Claims a fresh number with count 1: its .aud is created exclusively, so
    // two instances sharing the folder never get the same item. Runs the full
    // cleanup once when numbers run out. kSoundCacheItemNone on failure.
    uint16_t ItemCreateNewAndIncRef();

    // Unlinks the five files of the item and clears its known flag, unless
    // another instance sharing the folder still uses the item: then its files
    // stay and the number stays known.
    void CacheItemDelete(uint16_t number);
    // Every unreferenced item file of the five kinds.
    void DeleteCachedFiles();
    // Unreferenced files whose names match the fnmatch pattern ("*.fft").
    void DeleteCachedFiles(const char* pattern);
    // Unreferenced items whose last access (chunk 84) is at or before cutoff
    // (seconds since the epoch). Items without chunk 84 are left alone.
    void ItemsDelete(long cutoff);

    // "<folder>/<number><extension>"; empty for silence or a path over 259 bytes.
    std::string GetFilePath(uint16_t number, const char* extension) const;
    // The same into a 260-byte buffer; false (buffer empty) when empty.
    bool GetFilePath(uint16_t number, char* buffer, const char* extension) const;
    // Opens the item's file of that extension with these open(2) flags; false
    // when it has no path (silence, too long) or the open fails.
    bool OpenItemFile(LFile& file, uint16_t number, const char* extension, int flags) const;

    // Free bytes on the cache folder's volume ("/" when the folder doesn't
    // exist); 0 when that fails.
    int64_t GetFreeSpace() const;
    // The mount point of the volume that holds the cache folder.
    std::string GetVolumeName() const;

    // For tests: replaces how free space is measured (nullptr restores statvfs).
    using FreeSpaceFunction = std::function<int64_t(const std::string& folder)>;
    void SetFreeSpaceFunctionForTesting(FreeSpaceFunction function);
    // For tests: a fresh state on folder: counts and flags cleared, rescan set,
    // free space measured normally.
    void ResetForTesting(const std::string& folder);

    LSoundCache(const LSoundCache&) = delete;
    LSoundCache& operator=(const LSoundCache&) = delete;

private:
    LSoundCache();

    void ScanFolderIfNeeded();
    bool OriginalFileStillMatches(uint16_t number) const;
    bool ClaimAudFile(uint16_t number);
    // While this process refers to an item it keeps a shared flock on the
    // item's .aud. Instances that share a folder keep separate counts, so this
    // lock is how one instance sees that another still uses an item and must
    // not delete it. Under the mutex, with the count just raised to 1: marks
    // the item busy, opens and locks its .aud outside the lock, keeps the
    // descriptor.
    void HoldItem(std::unique_lock<std::recursive_mutex>& lock, uint16_t number);
    // The item's .aud opened with a shared lock, or -1. No mutex.
    int OpenHold(uint16_t number) const;
    // Under the mutex: takes the item's hold descriptor (to be closed after
    // the lock), or -1.
    int TakeHold(uint16_t number);
    // Under the mutex: every hold descriptor, for closing after the lock.
    std::vector<int> TakeAllHolds();
    // Waits (under the mutex, which it releases meanwhile) until no file work
    // of the item runs. The lock must be held once, not recursively.
    void WaitUntilIdle(std::unique_lock<std::recursive_mutex>& lock, uint16_t number);
    // Under the mutex: the item's file work is done.
    void SetIdle(uint16_t number);
    // Marks an item without references busy for deleting its files outside
    // the lock (SetIdle ends that); false when it has references.
    bool ClaimUnreferenced(uint16_t number);
    // True when another process holds the item's .aud.
    bool IsHeldElsewhere(uint16_t number) const;

    mutable std::recursive_mutex mutex_;
    std::condition_variable_any idle_;  // an item's file work ended
    std::string folder_;
    std::unique_ptr<uint16_t[]> counts_;
    std::unique_ptr<uint8_t[]> known_;
    std::unique_ptr<int[]> holds_;  // descriptor holding the shared lock, or -1
    std::unique_ptr<uint8_t[]> busy_;  // file work of the item runs outside the lock
    int holdCount_ = 0;
    // Descriptors spent on holds at most; items past that go unguarded rather
    // than starving the process of descriptors.
    static constexpr int kMaxHolds = 1024;
    bool rescan_ = true;
    FreeSpaceFunction freeSpace_;
};

// Parses the number of an item file's name as the cache does: strtol, with
// anything outside 0..65535 mapped to kSoundCacheItemNone.
uint16_t LSoundCacheParseItemNumber(const char* fileName);

// Calls f(name) for every entry of folder, except hidden ones, whose name
// matches the fnmatch pattern ("*.audinfo"). Nothing when it can't be opened.
void LSoundCacheForEachFile(const std::string& folder, const char* pattern,
                            const std::function<void(const char* name)>& f);

// Free bytes on the volume of folder ("/" when folder doesn't exist) that an
// unprivileged writer can use; 0 when that can't be measured.
int64_t LSoundCacheFreeSpaceOfFolder(const std::string& folder);
