#pragma once
// The information file of a cache item, "N.audinfo": an SDF file of type 43,
// version 1. Root chunks: 16 sample rate and 17 channels (int), 32/48/64/112/
// 128 analysis results (only their presence is looked at), 80 the original
// file's details (container: 81 path, 82 modification time in seconds, 83 size
// as int64, 85 a tag), several of which may stand side by side, and 84 the
// last access time (seconds since the epoch).
//
// Every access locks the file itself with flock for up to 3 seconds, since
// several instances may share one cache folder; a lock that can't be had
// within that time is given up and the access goes on without it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace soundcacheinfo {
inline constexpr uint32_t kFileType = 43;
inline constexpr uint16_t kVersion = 1;
inline constexpr uint32_t kImageFileType = 44;  // the in-memory image of one chunk
inline constexpr uint16_t kSampleRate = 16;
inline constexpr uint16_t kChannels = 17;
inline constexpr uint16_t kOriginal = 80;
inline constexpr uint16_t kOriginalPath = 81;
inline constexpr uint16_t kOriginalTime = 82;
inline constexpr uint16_t kOriginalSize = 83;
inline constexpr uint16_t kLastAccess = 84;
inline constexpr uint16_t kOriginalTag = 85;
inline constexpr int kLockMilliseconds = 3000;
}  // namespace soundcacheinfo

// The bytes of a fresh .audinfo: header, chunks 16 and 17, end marker.
std::vector<uint8_t> LSoundCacheItemInfoCreate(int sampleRate, int channels);
// Writes the item's .audinfo afresh with those bytes (created if missing,
// emptied only under the exclusive lock). False when it can't be written.
bool LSoundCacheItemInfoWriteNew(uint16_t number, int sampleRate, int channels);

// Merges the first root chunk of `data` (an SDF image of type 44) into the
// item's .audinfo, which must already be a type-43 file. With keepExisting
// false, chunks of the same id are dropped first; a chunk that is replaced so
// keeps its place and a new one goes last. Unknown chunks stay as they were.
// False when nothing was written.
bool LSoundCacheItemInfoUpdate(uint16_t number, const void* data, size_t size, bool keepExisting);
// Chunk 84 = now.
bool LSoundCacheItemLastAccessTimeUpdate(uint16_t number);
// Records the original file (container 80) beside any recorded before.
bool LSoundCacheItemOriginalFileDetailsAdd(uint16_t number, const std::string& path, int32_t mtime,
                                           int64_t size, int32_t tag = 0);

// Frames of the item: .aud size / (channels * 4); 0 if its .audinfo can't be
// read or names 0 channels.
long long LSoundCacheItemLengthGet(uint16_t number);
// Chunks 16 and 17 of the .audinfo at path; true only if both are non-zero.
bool LSoundCacheItemAudioInfoGet(const std::string& audinfoPath, int& sampleRate, int& channels);
// .aud, .grf and .audinfo all exist.
bool LSoundCacheItemIsValid(uint16_t number);

// The item decoded from this file, when it is still unchanged: path equal
// exactly, and time, size and tag (the time's nanoseconds) equal both to the
// arguments and to the file as it is now. Updates the item's access time. Otherwise
// kSoundCacheItemNone. Adds no reference.
uint16_t LSoundCacheItemOriginalFileDetailsMatch(const std::string& path, int64_t mtime, int64_t size,
                                                 int32_t tag = 0);

// One record of chunk 80.
struct LSoundCacheOriginalFile {
    std::string path;
    int32_t mtime = 0;
    int64_t size = 0;
    int32_t tag = 0;
};

// What the reading functions find in one .audinfo (for the cache itself and
// for tests). False if it can't be opened or isn't a type-43 file.
struct LSoundCacheItemInfoContents {
    int sampleRate = 0;
    int channels = 0;
    bool hasLastAccess = false;
    int64_t lastAccess = 0;
    uint32_t analyzerFlags = 0;  // 32 -> 2, 48 -> 4, 64 -> 8, 128 -> 16, 112 -> 32
    std::vector<LSoundCacheOriginalFile> originals;
};
bool LSoundCacheItemInfoRead(const std::string& audinfoPath, LSoundCacheItemInfoContents& contents);
