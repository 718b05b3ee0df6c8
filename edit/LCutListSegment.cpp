#include "edit/LCutListSegment.h"

#include "edit/LSoundCache.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include <utility>

namespace {

// Silence has no count to keep; skipping the cache's lock for it keeps copies
// of silence-heavy lists cheap.
void Retain(uint16_t item) {
    if (item <= kSoundCacheItemLast) LSoundCache::Instance().IncRef(item);
}
void Release(uint16_t item) {
    if (item <= kSoundCacheItemLast) LSoundCache::Instance().DecRef(item);
}

std::unique_ptr<LSDFUnknownChunkList> CopyChunks(const std::unique_ptr<LSDFUnknownChunkList>& chunks) {
    if (!chunks || chunks->empty()) return nullptr;
    return std::make_unique<LSDFUnknownChunkList>(*chunks);
}

}  // namespace

LCutListSegment::LCutListSegment(Adopt, uint16_t item, long long start, long long length, float gain)
    : handle(item), length(length), gain(gain), start(item == kSoundCacheItemSilence ? 0 : start) {}

LCutListSegment::LCutListSegment(uint16_t item, long long start, long long length, float gain)
    : LCutListSegment(Adopt{}, item, start, length, gain) {
    Retain(item);
}

LCutListSegment LCutListSegment::AdoptItem(uint16_t item, long long start, long long length, float gain) {
    return LCutListSegment(Adopt{}, item, start, length, gain);
}

LCutListSegment LCutListSegment::Silence(long long length) {
    return LCutListSegment(Adopt{}, kSoundCacheItemSilence, 0, length, 1.0f);
}

LCutListSegment::LCutListSegment(const LCutListSegment& other)
    : handle(other.handle), length(other.length), gain(other.gain), start(other.start),
      unknownChunks_(CopyChunks(other.unknownChunks_)) {
    Retain(handle.number);
}

LCutListSegment::LCutListSegment(LCutListSegment&& other) noexcept
    : handle(other.handle), length(other.length), gain(other.gain), start(other.start),
      unknownChunks_(std::move(other.unknownChunks_)) {
    other.handle = LSoundCacheItemHandle();
}

void LCutListSegment::SetFields(const LCutListSegment& other) {
    handle = other.handle;
    length = other.length;
    gain = other.gain;
    start = other.start;
}

LCutListSegment& LCutListSegment::operator=(const LCutListSegment& other) {
    if (this == &other) return *this;
    Retain(other.handle.number);  // before releasing ours: both may name the same item
    Release(handle.number);
    SetFields(other);
    if (other.unknownChunks_ && !other.unknownChunks_->empty()) {
        MutableUnknownChunks() = *other.unknownChunks_;
    } else {
        unknownChunks_.reset();
    }
    return *this;
}

LCutListSegment& LCutListSegment::operator=(LCutListSegment&& other) noexcept {
    if (this == &other) return *this;
    Release(handle.number);
    SetFields(other);
    unknownChunks_ = std::move(other.unknownChunks_);
    other.handle = LSoundCacheItemHandle();
    return *this;
}

LCutListSegment::~LCutListSegment() { Release(handle.number); }

const LSDFUnknownChunkList& LCutListSegment::UnknownChunks() const {
    static const LSDFUnknownChunkList kNone;
    return unknownChunks_ ? *unknownChunks_ : kNone;
}

LSDFUnknownChunkList& LCutListSegment::MutableUnknownChunks() {
    if (!unknownChunks_) unknownChunks_ = std::make_unique<LSDFUnknownChunkList>();
    return *unknownChunks_;
}

bool LCutListSegment::HasMP3Source() const { return LSoundCacheItemHasMP3Source(handle); }

const LSoundCacheItemHandle& LCutListSegment::MP3Attributes() const {
    if (handle.samplesPerMP3Frame == 0) LSoundCacheItemInitMP3SourceAttributes(handle);
    return handle;
}

void LCutListSegment::SubtractEncoderPadding() {
    if (!HasMP3Source()) return;
    const LSoundCacheItemHandle& mp3 = MP3Attributes();
    // Attributes that couldn't be read give an audio length of 0; cutting to
    // that would drop the whole segment.
    if (mp3.audioLength <= 0) return;
    const long long audioEnd = mp3.encoderDelay + mp3.audioLength;
    if (End() > audioEnd) length = std::max(0LL, audioEnd - start);
}

bool LSoundCacheItemHasMP3Source(const LSoundCacheItemHandle& handle) {
    if (!handle.IsItem()) return false;
    const std::string path = LSoundCache::Instance().GetFilePath(handle.number, ".orvmp3");
    return !path.empty() && ::access(path.c_str(), F_OK) == 0;
}

void LSoundCacheItemInitMP3SourceAttributes(LSoundCacheItemHandle& handle) {
    // The frame layout of ".orvmp3" is read by the MP3 frame reader; until it
    // is there every item counts as plain MPEG-1 audio without delay or padding,
    // which leaves segment lengths as they are.
    handle.samplesPerMP3Frame = 1152;
    handle.encoderDelay = 0;
    handle.endPadding = 0;
    handle.audioLength = 0;
}
