#include "formats/wave/LWaveHeaderReader.h"

#include "base/LByteOrder.h"
#include "base/LInputStream.h"
#include "formats/wave/LRiffChunk.h"
#include "stream/LSoundSourceBase.h"

#include <cstring>

namespace {

constexpr uint32_t kFmtMinLength = 16;
constexpr uint32_t kFmtMaxLength = 8192;
constexpr uint32_t kMaxSampleRate = 196000;

// KSDATAFORMAT_SUBTYPE_PCM, as stored: Data1 LE, Data2 LE, Data3 LE, then 8 bytes.
constexpr uint8_t kPcmSubFormat[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                       0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr size_t kSubFormatOffset = 24;  // inside the `fmt ` body
constexpr uint16_t kExtensibleExtraSize = 22;

// Steps over foreign top-level chunks until a `RIFF` header of form `WAVE`.
// Returns the offset of the first chunk inside the form, or -1.
int64_t FindWaveForm(LInputStream& in) {
    int64_t offset = 0;
    for (;;) {
        uint8_t head[12];
        if (in.ReadAt(head, sizeof head, offset) != static_cast<int64_t>(sizeof head)) return -1;
        if (riff::IdIs(head, "RIFF") && riff::IdIs(head + 8, "WAVE")) return offset + 12;
        // A foreign chunk: its length is taken signed, so a huge or negative one
        // (an RF64 file's all-ones length) ends the search instead of looping.
        int64_t skip = (static_cast<int64_t>(static_cast<int32_t>(LByteOrder::GetLE32(head + 4))) + 1) & ~int64_t{1};
        if (skip < 5) return -1;
        offset += 8 + skip;
    }
}

// Walks chunk headers from `offset` until one with `id`; other bodies are
// skipped by their even length. Returns the header offset, or -1.
int64_t FindChunk(LInputStream& in, int64_t offset, const char (&id)[5], uint32_t* length) {
    for (;;) {
        uint8_t head[8];
        if (in.ReadAt(head, sizeof head, offset) != static_cast<int64_t>(sizeof head)) return -1;
        RIFF_HDR h = riff::ParseHeader(head);
        if (riff::IdIs(h.id, id)) {
            *length = h.length;
            return offset;
        }
        uint64_t skip = riff::EvenLength(h.length);
        if (skip & 0x80000000u) return -1;
        offset += 8 + static_cast<int64_t>(skip);
    }
}

void NormaliseFormat(LWaveHeaderInfo& info, const uint8_t* body) {
    LWaveFileFormat& f = info.format;
    if (f.formatTag == LWaveFileFormat::kTagExtensible && f.extraSize >= kExtensibleExtraSize &&
        std::memcmp(body + kSubFormatOffset, kPcmSubFormat, sizeof kPcmSubFormat) == 0) {
        // PCM in an extensible header: the main block's bits decide; the valid
        // bits and the channel mask don't change how samples are stored.
        f.formatTag = LWaveFileFormat::kTagPCM;
        f.extraSize = 0;
    } else if (f.formatTag == LWaveFileFormat::kTagExtensible && f.extraSize >= kExtensibleExtraSize) {
        f.extraSize = 0;  // any other sub-format stays 0xFFFE and is refused later
    }
    if (info.fmtLength < 18) f.extraSize = 0;
}

}  // namespace

unsigned char LWaveReadFormatChunk(LInputStream& in, LWaveHeaderInfo& info) {
    int64_t offset = FindWaveForm(in);
    if (offset < 0) return kSourceBadFormat;
    uint32_t length = 0;
    offset = FindChunk(in, offset, "fmt ", &length);
    if (offset < 0) return kSourceBadFormat;
    if (length < kFmtMinLength || length > kFmtMaxLength) return kSourceBadFormat;

    uint8_t body[kFmtMaxLength] = {};
    if (in.ReadAt(body, length, offset + 8) != static_cast<int64_t>(length)) return kSourceBadFormat;
    info.fmtLength = length;
    info.format.FromBytes(body, length);
    NormaliseFormat(info, body);
    info.afterFmt = offset + 8 + static_cast<int64_t>(riff::EvenLength(length));
    return kSourceOk;
}

unsigned char LWaveFindDataChunk(LInputStream& in, LWaveHeaderInfo& info) {
    uint32_t length = 0;
    int64_t offset = FindChunk(in, info.afterFmt, "data", &length);
    if (offset < 0) return kSourceBadFormat;
    const LWaveFileFormat& f = info.format;
    if (f.channels < 1 || f.channels > 255) return kSourceBadFormat;
    if (f.samplesPerSec < 1 || f.samplesPerSec > kMaxSampleRate) return kSourceBadFormat;
    info.dataStart = offset + 8;
    info.dataLength = length;
    return kSourceOk;
}
