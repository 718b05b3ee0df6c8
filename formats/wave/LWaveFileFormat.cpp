#include "formats/wave/LWaveFileFormat.h"

#include "base/LByteOrder.h"
#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LInputStreamFile.h"
#include "formats/wave/LRiffChunk.h"
#include "formats/wave/LWaveHeaderReader.h"

#include <sys/file.h>

#include <algorithm>
#include <cstring>

LWaveFileFormat LWaveFileFormat::PCM(int sampleRate, int channels, int bits) {
    LWaveFileFormat f;
    f.formatTag = kTagPCM;
    f.channels = static_cast<uint16_t>(channels);
    f.samplesPerSec = static_cast<uint32_t>(sampleRate);
    f.bitsPerSample = static_cast<uint16_t>(bits);
    f.blockAlign = static_cast<uint16_t>(channels * ((bits + 7) / 8));
    f.avgBytesPerSec = static_cast<uint32_t>(sampleRate) * f.blockAlign;
    return f;
}

void LWaveFileFormat::FromBytes(const uint8_t* bytes, size_t size) {
    uint8_t block[kBlockSize] = {};
    std::memcpy(block, bytes, std::min(size, kBlockSize));
    formatTag = LByteOrder::GetLE16(block + 0);
    channels = LByteOrder::GetLE16(block + 2);
    samplesPerSec = LByteOrder::GetLE32(block + 4);
    avgBytesPerSec = LByteOrder::GetLE32(block + 8);
    blockAlign = LByteOrder::GetLE16(block + 12);
    bitsPerSample = LByteOrder::GetLE16(block + 14);
    extraSize = LByteOrder::GetLE16(block + 16);
    std::memcpy(extra, block + kFixedSize, kMaxExtra);
}

void LWaveFileFormat::ToBytes(uint8_t (&block)[kBlockSize]) const {
    LByteOrder::PutLE16(block + 0, formatTag);
    LByteOrder::PutLE16(block + 2, channels);
    LByteOrder::PutLE32(block + 4, samplesPerSec);
    LByteOrder::PutLE32(block + 8, avgBytesPerSec);
    LByteOrder::PutLE16(block + 12, blockAlign);
    LByteOrder::PutLE16(block + 14, bitsPerSample);
    LByteOrder::PutLE16(block + 16, extraSize);
    std::memcpy(block + kFixedSize, extra, kMaxExtra);
}

bool LWaveFileFormat::LoadFromWavCodecFile(const std::string& path) {
    if (path.size() < 4 || path.compare(path.size() - 4, 4, ".wff") != 0) return false;
    LFile file;
    if (!file.OpenRead(path.c_str())) return false;
    LFileLock lock(file.Fd(), LOCK_SH, 100);
    if (!lock.IsLocked()) return false;

    uint8_t block[kBlockSize];
    ToBytes(block);  // a short file keeps the tail of the present block
    int64_t got = file.ReadAt(block, sizeof block, 0);
    if (got < 0) return false;
    LWaveFileFormat loaded;
    loaded.FromBytes(block, sizeof block);
    if (loaded.formatTag == 0 || loaded.samplesPerSec < 1 || loaded.channels == 0) return false;
    *this = loaded;
    return true;
}

bool LWaveFileFormat::SaveToWavCodecFile(const std::string& path) const {
    uint8_t block[kBlockSize];
    ToBytes(block);
    return LFile::ReplaceWholeFile(path, std::string_view(reinterpret_cast<const char*>(block), sizeof block));
}

bool LWaveFileFormat::LoadFromPCMWaveFile(const std::string& path) {
    LInputStreamFile file(path);
    return file.IsOpen() && LoadFromPCMWaveFile(file);
}

bool LWaveFileFormat::LoadFromPCMWaveFile(LInputStream& in) {
    LWaveHeaderInfo info;
    if (LWaveReadFormatChunk(in, info) != 0) return false;
    const LWaveFileFormat& f = info.format;
    if (f.formatTag != kTagPCM) return false;
    // Only the fixed 18 bytes are taken; the extra bytes of this block stay.
    formatTag = f.formatTag;
    channels = f.channels;
    samplesPerSec = f.samplesPerSec;
    avgBytesPerSec = f.avgBytesPerSec;
    blockAlign = f.blockAlign;
    bitsPerSample = f.bitsPerSample;
    extraSize = f.extraSize;
    return true;
}

std::string LWaveFileFormat::WavCodecFilePath() {
    std::string folder = LFile::GetUserDataFolderApp();
    if (folder.empty()) return {};
    return folder + "/WavCodec.wff";
}
