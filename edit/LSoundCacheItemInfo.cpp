#include "edit/LSoundCacheItemInfo.h"

#include "base/LFile.h"
#include "base/LInputStreamBuffer.h"
#include "base/LInputStreamFileShared.h"
#include "base/LOutputStreamByteArray.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemAnalyzerManager.h"
#include "sdf/LSDFReader.h"
#include "sdf/LSDFReaderChunkIterator.h"
#include "sdf/LSDFWriter.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

using namespace soundcacheinfo;

namespace {

// The files are a few hundred bytes; a small buffer reads one in one call.
constexpr size_t kReadBuffer = 4096;

// Opens the file and takes the lock; a lock that can't be had in time is
// gone without, as another instance that holds it for that long is stuck.
bool OpenLocked(LFile& file, const std::string& path, int flags, int operation) {
    if (path.empty() || !file.Open(path.c_str(), flags)) return false;
    flocktimed(file.Fd(), operation, kLockMilliseconds);
    return true;
}

void ReadOriginal(LSDFReader& reader, const LSDFReaderChunk& container, LSoundCacheOriginalFile& original) {
    for (LSDFReaderChunkIterator it(reader, container); it.StartNextChunk();) {
        LSDFReaderChunk& chunk = it.Chunk();
        switch (chunk.Id()) {
        case kOriginalPath: chunk.ReadString(original.path); break;
        case kOriginalTime: chunk.ReadInt(original.mtime); break;
        case kOriginalSize: chunk.ReadInt64(original.size); break;
        case kOriginalTag: chunk.ReadInt(original.tag); break;
        default: break;
        }
    }
}

bool ReadContents(LInputStream& stream, LSoundCacheItemInfoContents& contents) {
    LSDFReader reader;
    if (!reader.Open(stream, kFileType)) return false;
    for (LSDFReaderChunkIterator it(reader); it.StartNextChunk();) {
        LSDFReaderChunk& chunk = it.Chunk();
        int32_t value = 0;
        switch (chunk.Id()) {
        case kSampleRate:
            if (chunk.ReadInt(value)) contents.sampleRate = value;
            break;
        case kChannels:
            if (chunk.ReadInt(value)) contents.channels = value;
            break;
        case kLastAccess:
            if (chunk.ReadInt(value)) {
                contents.hasLastAccess = true;
                contents.lastAccess = value;
            }
            break;
        case kOriginal: {
            LSoundCacheOriginalFile original;
            ReadOriginal(reader, chunk, original);
            contents.originals.push_back(std::move(original));
            break;
        }
        default: contents.analyzerFlags |= LSoundCacheItemAnalyzerManager::FlagOfChunk(chunk.Id()); break;
        }
    }
    return reader.IsGood();
}

// The first root chunk of a type-44 image; false for a bad image.
bool ReadImageChunk(const void* data, size_t size, LSDFUnknownChunk& chunk) {
    if (!data || size == 0) return false;
    LInputStreamBuffer in(data, size);
    LSDFReader reader;
    if (!reader.Open(in, kImageFileType)) return false;
    LSDFReaderChunkIterator it(reader);
    LSDFUnknownChunkList list;
    if (!it.StartNextChunk() || !it.Chunk().ReadUnknownChunk(list) || list.size() != 1) return false;
    chunk = std::move(list.front());
    return true;
}

template <class Fill>
std::vector<uint8_t> MakeImage(Fill&& fill) {
    LOutputStreamByteArray out;
    LSDFWriter writer;
    writer.Open(out, kImageFileType, kVersion);
    fill(writer);
    if (!writer.Close()) return {};
    return out.TakeData();
}

int32_t Now() { return static_cast<int32_t>(::time(nullptr)); }

std::string InfoPath(uint16_t number) { return LSoundCache::Instance().GetFilePath(number, ".audinfo"); }

}  // namespace

std::vector<uint8_t> LSoundCacheItemInfoCreate(int sampleRate, int channels) {
    LOutputStreamByteArray out;
    LSDFWriter writer;
    writer.Open(out, kFileType, kVersion);
    writer.WriteInt(kSampleRate, sampleRate);
    writer.WriteInt(kChannels, channels);
    if (!writer.Close()) return {};
    return out.TakeData();
}

bool LSoundCacheItemInfoWriteNew(uint16_t number, int sampleRate, int channels) {
    LFile info;
    // Emptied only once the lock is held, so a reader never sees it half-made.
    if (!OpenLocked(info, InfoPath(number), O_RDWR | O_CREAT, LOCK_EX)) return false;
    const std::vector<uint8_t> bytes = LSoundCacheItemInfoCreate(sampleRate, channels);
    return info.Truncate(0) && info.WriteAllAt(bytes.data(), bytes.size(), 0);
}

bool LSoundCacheItemInfoRead(const std::string& audinfoPath, LSoundCacheItemInfoContents& contents) {
    contents = {};
    LFile file;
    if (!OpenLocked(file, audinfoPath, O_RDONLY, LOCK_SH)) return false;
    LInputStreamFileShared in(file.Fd(), kReadBuffer);
    return ReadContents(in, contents);
}

bool LSoundCacheItemInfoUpdate(uint16_t number, const void* data, size_t size, bool keepExisting) {
    LSDFUnknownChunk newChunk;
    const bool haveNew = ReadImageChunk(data, size, newChunk);

    // Only an existing information file is rewritten: one that is missing
    // belongs to no finished item, and an empty file would fake a valid one.
    LFile file;
    if (!OpenLocked(file, InfoPath(number), O_RDWR, LOCK_EX)) return false;
    LInputStreamFileShared in(file.Fd(), kReadBuffer);
    LSDFReader reader;
    if (!reader.Open(in, kFileType)) return false;
    LSDFUnknownChunkList chunks;
    for (LSDFReaderChunkIterator it(reader); it.StartNextChunk();) {
        if (haveNew && !keepExisting && it.Chunk().Id() == newChunk.id) continue;
        it.Chunk().ReadUnknownChunk(chunks);
    }
    // A damaged file is left as it is rather than rewritten from a part of it.
    if (!reader.IsGood()) return false;

    // The chunks whose ordinals run 0, 1, 2... come first, then the new
    // chunk, then the rest: a replaced chunk keeps its place.
    LOutputStreamByteArray out;
    LSDFWriter writer;
    writer.Open(out, kFileType, kVersion, chunks);
    if (haveNew) writer.WriteUnknownChunk(newChunk);
    if (!writer.Close()) return false;
    const std::vector<uint8_t>& bytes = out.Data();
    return file.WriteAllAt(bytes.data(), bytes.size(), 0) && file.Truncate(static_cast<int64_t>(bytes.size()));
}

bool LSoundCacheItemLastAccessTimeUpdate(uint16_t number) {
    const std::vector<uint8_t> image = MakeImage([](LSDFWriter& w) { w.WriteInt(kLastAccess, Now()); });
    return LSoundCacheItemInfoUpdate(number, image.data(), image.size(), false);
}

bool LSoundCacheItemOriginalFileDetailsAdd(uint16_t number, const std::string& path, int32_t mtime, int64_t size,
                                           int32_t tag) {
    const std::vector<uint8_t> image = MakeImage([&](LSDFWriter& w) {
        w.StartContainer(kOriginal);
        w.WriteString(kOriginalPath, path);
        w.WriteInt(kOriginalTime, mtime);
        w.WriteInt64(kOriginalSize, size);
        w.WriteInt(kOriginalTag, tag);
        w.EndContainer(kOriginal);
    });
    return LSoundCacheItemInfoUpdate(number, image.data(), image.size(), true);
}

long long LSoundCacheItemLengthGet(uint16_t number) {
    LSoundCacheItemInfoContents info;
    if (!LSoundCacheItemInfoRead(InfoPath(number), info) || info.channels <= 0) return 0;
    struct stat st;
    const std::string aud = LSoundCache::Instance().GetFilePath(number, ".aud");
    if (aud.empty() || ::stat(aud.c_str(), &st) != 0) return 0;
    return static_cast<long long>(st.st_size) / (static_cast<long long>(info.channels) * 4);
}

bool LSoundCacheItemAudioInfoGet(const std::string& audinfoPath, int& sampleRate, int& channels) {
    LSoundCacheItemInfoContents info;
    if (!LSoundCacheItemInfoRead(audinfoPath, info)) return false;
    sampleRate = info.sampleRate;
    channels = info.channels;
    return sampleRate != 0 && channels != 0;
}

bool LSoundCacheItemIsValid(uint16_t number) {
    if (number > kSoundCacheItemLast) return false;
    const LSoundCache& cache = LSoundCache::Instance();
    for (const char* extension : {".aud", ".audinfo", ".grf"}) {
        const std::string path = cache.GetFilePath(number, extension);
        if (path.empty() || ::access(path.c_str(), F_OK) != 0) return false;
    }
    return true;
}

uint16_t LSoundCacheItemOriginalFileDetailsMatch(const std::string& path, int64_t mtime, int64_t size, int32_t tag) {
    const std::string folder = LSoundCache::Instance().GetCacheFolder();
    if (folder.empty()) return kSoundCacheItemNone;
    uint16_t found = kSoundCacheItemNone;
    LSoundCacheForEachFile(folder, "*.audinfo", [&](const char* name) {
        if (found != kSoundCacheItemNone) return;
        const uint16_t number = LSoundCacheParseItemNumber(name);
        if (number > kSoundCacheItemLast) return;
        LSoundCacheItemInfoContents info;
        if (!LSoundCacheItemInfoRead(folder + "/" + name, info)) return;
        for (const LSoundCacheOriginalFile& original : info.originals) {
            // Exact: two names that differ only in case are two files here.
            if (original.path != path) continue;
            if (original.mtime != static_cast<int32_t>(mtime) || original.size != size || original.tag != tag) continue;
            if (!LSoundCacheItemIsValid(number)) continue;
            struct stat st;
            if (::stat(original.path.c_str(), &st) != 0) continue;
            if (static_cast<int32_t>(st.st_mtime) != original.mtime || st.st_size != original.size ||
                static_cast<int32_t>(st.st_mtim.tv_nsec) != original.tag) {
                continue;
            }
            found = number;
            break;
        }
    });
    if (found != kSoundCacheItemNone) LSoundCacheItemLastAccessTimeUpdate(found);
    return found;
}
