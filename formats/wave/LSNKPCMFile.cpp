#include "formats/wave/LSNKPCMFile.h"

#include "base/LByteOrder.h"
#include "formats/wave/LRiffChunk.h"

#include <fcntl.h>

#include <algorithm>

namespace {
// Bytes from the RIFF length field's end to the first sample: "WAVE", the
// `fmt ` chunk of 18 and the `data` header.
constexpr uint32_t kRiffOverhead = LSNKPCMFileBase::kHeaderSize - 8;
}  // namespace

LSNKPCMFileBase::LSNKPCMFileBase(const std::string& path, int sampleRate, int channels, int bytesPerSample,
                                 const LWaveLimits& limits)
    : LSoundSinkBase(sampleRate, channels),
      bytesPerSample_(bytesPerSample),
      frameSize_(GetChannels() * bytesPerSample),
      limits_(limits),
      buffer_(new uint8_t[static_cast<size_t>(kBufferFrames) * frameSize_]) {
    uint8_t header[kHeaderSize];
    BuildHeader(header, GetSampleRate(), GetChannels(), bytesPerSample_, 0, false);
    if (HasFailed() || !file_.OpenReadWrite(path.c_str()) || !file_.WriteAllAt(header, sizeof header, 0) ||
        !file_.Truncate(kHeaderSize)) {
        SetFailed();
        file_.Close();
    }
}

LSNKPCMFileBase::~LSNKPCMFileBase() { Close(); }

void LSNKPCMFileBase::BuildHeader(uint8_t (&h)[kHeaderSize], int sampleRate, int channels, int bytesPerSample,
                                  uint64_t firstChunkBytes, bool final) {
    const uint32_t blockAlign = static_cast<uint32_t>(channels * bytesPerSample);
    riff::PutHeader(h, "RIFF", final ? static_cast<uint32_t>(firstChunkBytes + kRiffOverhead) : kProvisionalRiffLength);
    std::memcpy(h + 8, "WAVE", 4);
    riff::PutHeader(h + 12, "fmt ", 18);
    LByteOrder::PutLE16(h + 20, 1);  // tag 1 for every sample type, float included
    LByteOrder::PutLE16(h + 22, static_cast<uint16_t>(channels));
    LByteOrder::PutLE32(h + 24, static_cast<uint32_t>(sampleRate));
    LByteOrder::PutLE32(h + 28, static_cast<uint32_t>(static_cast<uint64_t>(sampleRate) * blockAlign));
    LByteOrder::PutLE16(h + 32, static_cast<uint16_t>(blockAlign));
    LByteOrder::PutLE16(h + 34, static_cast<uint16_t>(bytesPerSample * 8));
    LByteOrder::PutLE16(h + 36, 0);
    riff::PutHeader(h + 38, "data", final ? static_cast<uint32_t>(firstChunkBytes) : kProvisionalDataLength);
}

// The samples form one logical byte stream cut into chunks: chunk 0 of
// firstDataChunkMax bytes behind the header, then chunks of laterDataChunkMax
// bytes, each behind an 8-byte header of its own.
uint64_t LSNKPCMFileBase::ChunkIndex(uint64_t logical) const {
    if (logical < limits_.firstDataChunkMax) return 0;
    return 1 + (logical - limits_.firstDataChunkMax) / limits_.laterDataChunkMax;
}

uint64_t LSNKPCMFileBase::ChunkStart(uint64_t chunk) const {
    return chunk == 0 ? 0 : limits_.firstDataChunkMax + (chunk - 1) * limits_.laterDataChunkMax;
}

uint64_t LSNKPCMFileBase::ChunkCapacity(uint64_t chunk) const {
    return chunk == 0 ? limits_.firstDataChunkMax : limits_.laterDataChunkMax;
}

int64_t LSNKPCMFileBase::FileOffset(uint64_t logical) const {
    return static_cast<int64_t>(kHeaderSize + logical + 8 * ChunkIndex(logical));
}

bool LSNKPCMFileBase::WriteSampleBytes(const uint8_t* bytes, uint64_t size) {
    uint64_t logical = static_cast<uint64_t>(GetPositionSample()) * frameSize_;
    while (size > 0) {
        uint64_t chunk = ChunkIndex(logical);
        if (chunk > 0 && logical == ChunkStart(chunk)) {
            // A new chunk: its length stays 0 until Close, which tells a reader
            // that the file is still growing.
            uint8_t head[8];
            riff::PutHeader(head, "data", 0);
            if (!file_.WriteAllAt(head, sizeof head, FileOffset(logical) - 8)) return false;
        }
        uint64_t room = ChunkStart(chunk) + ChunkCapacity(chunk) - logical;
        uint64_t part = std::min(room, size);
        if (!file_.WriteAllAt(bytes, part, FileOffset(logical))) return false;
        bytes += part;
        size -= part;
        logical += part;
    }
    return true;
}

void LSNKPCMFileBase::Write(const float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0 && !HasFailed()) {
        long long n = std::min(frames, kBufferFrames);
        Convert(buffer_.get(), buffer, n * channels);
        if (!WriteSampleBytes(buffer_.get(), static_cast<uint64_t>(n) * frameSize_)) {
            SetFailed();
            return;
        }
        AdvancePosition(n);
        buffer += n * channels;
        frames -= n;
    }
}

void LSNKPCMFileBase::Seek(long long frame) {
    if (HasFailed() || frame > GetPositionSample()) return;
    frame = std::max(frame, 0LL);
    uint64_t logical = static_cast<uint64_t>(frame) * frameSize_;
    int64_t cut = FileOffset(logical);
    uint64_t chunk = ChunkIndex(logical);
    if (chunk > 0 && logical == ChunkStart(chunk)) cut -= 8;  // no empty chunk header is left behind
    if (!file_.Truncate(cut)) {
        SetFailed();
        return;
    }
    SetPositionSample(frame);
}

bool LSNKPCMFileBase::WriteFinalHeaders() {
    const uint64_t total = static_cast<uint64_t>(GetPositionSample()) * frameSize_;
    const uint64_t first = std::min(total, limits_.firstDataChunkMax);
    uint8_t header[kHeaderSize];
    BuildHeader(header, GetSampleRate(), GetChannels(), bytesPerSample_, first, true);
    if (!file_.WriteAllAt(header, sizeof header, 0)) return false;

    // WriteExtraDataChunkHeaders: the real length of each further chunk.
    for (uint64_t chunk = 1, left = total - first; left > 0; ++chunk) {
        uint64_t length = std::min(left, limits_.laterDataChunkMax);
        uint8_t head[8];
        riff::PutHeader(head, "data", static_cast<uint32_t>(length));
        if (!file_.WriteAllAt(head, sizeof head, FileOffset(ChunkStart(chunk)) - 8)) return false;
        left -= length;
    }
    if (total & 1) {
        const uint8_t pad = 0;
        if (!file_.WriteAllAt(&pad, 1, FileOffset(total))) return false;
    }
    return true;
}

bool LSNKPCMFileBase::Close() {
    if (!file_.IsOpen()) return !HasFailed();
    if (!HasFailed() && !WriteFinalHeaders()) SetFailed();
    file_.Close();
    return !HasFailed();
}
