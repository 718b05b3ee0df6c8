#include "edit/LCutListAudio.h"

#include "base/LAssert.h"
#include "base/LInputStream.h"
#include "edit/LCutListAudioSink.h"
#include "edit/LCutListAudioSource.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

LCutListAudio::LCutListAudio(const LCutListAudio& other) : LCutListAudio(other, CopyHeaderOnly{}) {
    flags_ = 0;  // a copy starts with the flag byte cleared; assignment keeps it
    segments_ = other.segments_;
}

LCutListAudio::LCutListAudio(const LCutListAudio& other, CopyHeaderOnly)
    : LMP3LosslessContextClient(other),
      unknownChunks_(other.unknownChunks_),
      sampleRate_(other.sampleRate_),
      channels_(other.channels_),
      flags_(other.flags_),
      name_(other.name_) {}

LCutListAudio& LCutListAudio::operator=(const LCutListAudio& other) {
    if (this == &other) return *this;
    LMP3LosslessContextClient::operator=(other);
    unknownChunks_ = other.unknownChunks_;
    sampleRate_ = other.sampleRate_;
    channels_ = other.channels_;
    flags_ = other.flags_;
    segments_ = other.segments_;
    name_ = other.name_;
    return *this;
}

LCutListAudio::LCutListAudio(LCutListAudio&& other) noexcept
    : LMP3LosslessContextClient(other),
      unknownChunks_(std::move(other.unknownChunks_)),
      sampleRate_(other.sampleRate_),
      channels_(other.channels_),
      flags_(other.flags_),
      segments_(std::move(other.segments_)),
      name_(std::move(other.name_)) {}

LCutListAudio& LCutListAudio::operator=(LCutListAudio&& other) noexcept {
    if (this == &other) return *this;
    LMP3LosslessContextClient::operator=(other);
    unknownChunks_ = std::move(other.unknownChunks_);
    sampleRate_ = other.sampleRate_;
    channels_ = other.channels_;
    flags_ = other.flags_;
    segments_ = std::move(other.segments_);
    name_ = std::move(other.name_);
    return *this;
}

void LCutListAudio::SetName(const std::string& name) { name_ = name.substr(0, kMaxName); }

long long LCutListAudio::GetLength() const {
    long long total = 0;
    for (const LCutListSegment& segment : segments_) total += segment.length;
    return total;
}

size_t LCutListAudio::FindSegment(long long position, long long* begin) const {
    KV_ASSERT(begin != nullptr);
    long long at = 0;
    for (size_t i = 0; i < segments_.size(); ++i) {
        const long long end = at + segments_[i].length;
        if (position >= at && position < end) {
            *begin = at;
            return i;
        }
        at = end;
    }
    *begin = at;
    return segments_.size();
}

size_t LCutListAudio::SplitAt(long long position) {
    KV_ASSERT(position >= 0);
    long long begin = 0;
    const size_t i = FindSegment(position, &begin);
    if (i == segments_.size() || position == begin) return i;
    const long long k = position - begin;
    LCutListSegment tail = segments_[i];
    tail.start += k;
    tail.length -= k;
    segments_[i].length = k;
    segments_.insert(segments_.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(tail));
    return i + 1;
}

void LCutListAudio::EfDelete(long long start, long long end) {
    if (start > end || end < 0) return;
    start = std::max(start, 0LL);
    if (start == end) return;

    // The first segment that ends after start.
    size_t i = 0;
    long long begin = 0;
    while (i < segments_.size() && begin + segments_[i].length <= start) begin += segments_[i++].length;

    // Segments covered to their end are removed together at the end, so that
    // a long delete costs one pass.
    size_t eraseFrom = i, eraseTo = i;
    for (; i < segments_.size(); ++i) {
        LCutListSegment& segment = segments_[i];
        const long long segmentEnd = begin + segment.length;
        if (end < segmentEnd) {
            if (start <= begin) {
                segment.start += end - begin;
                segment.length -= end - begin;
            } else {
                LCutListSegment tail = segment;
                tail.start += end - begin;
                tail.length = segmentEnd - end;
                segment.length = start - begin;
                segments_.insert(segments_.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(tail));
            }
            break;
        }
        if (start > begin) {
            end -= segmentEnd - start;
            segment.length = start - begin;
            begin = start;
            eraseFrom = eraseTo = i + 1;
        } else {
            end -= segment.length;
            eraseTo = i + 1;
        }
    }
    segments_.erase(segments_.begin() + static_cast<std::ptrdiff_t>(eraseFrom),
                    segments_.begin() + static_cast<std::ptrdiff_t>(eraseTo));
}

void LCutListAudio::EfInsertSilence(long long position, long long count) {
    if (position < 0) {
        if (-position > count) return;
        count += position;
        position = 0;
    }
    // A silent segment of no frames would change nothing but the segment count.
    if (count + (segments_.empty() ? position : 0) <= 0 && position <= GetLength()) return;
    LCutListSegment silence = LCutListSegment::Silence(count);
    if (segments_.empty()) {
        // The distance from the (empty) end becomes part of the silence.
        silence.length = count + position;
        segments_.push_back(std::move(silence));
        return;
    }
    const long long total = GetLength();
    if (position >= total) {
        silence.length += position - total;
        segments_.push_back(std::move(silence));
        return;
    }
    const size_t at = SplitAt(position);
    segments_.insert(segments_.begin() + static_cast<std::ptrdiff_t>(at), std::move(silence));
}

void LCutListAudio::EfInsert(long long position, const LCutListAudio& other) {
    // Copied first: other may be this list.
    std::vector<LCutListSegment> copies = other.segments_;
    size_t at = 0;
    if (position < 0) {
        // The inserted audio begins at 0 and the old audio follows after
        // -position frames of silence; a list without audio gets no trailing
        // silence.
        if (GetLength() > 0) copies.push_back(LCutListSegment::Silence(-position));
    } else {
        const long long total = GetLength();
        if (position > total) segments_.push_back(LCutListSegment::Silence(position - total));
        at = SplitAt(position);
    }
    segments_.insert(segments_.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(copies.begin()),
                     std::make_move_iterator(copies.end()));
}

void LCutListAudio::EfCopy(long long start, long long end, LCutListAudio& dest) const {
    if (end < start) return;
    // Built aside and moved in at the end, so that dest may be this list. Only
    // the segments in the range are copied: the same result as copying the
    // whole list and deleting around the range, at the cost of the range.
    LCutListAudio copy(*this, CopyHeaderOnly{});
    const long long from = std::max(start, 0LL);
    long long begin = 0;
    for (size_t i = FindSegment(from, &begin); i < segments_.size() && begin < end; ++i) {
        const LCutListSegment& segment = segments_[i];
        const long long cutFront = std::max(from - begin, 0LL);
        const long long cutBack = std::max(begin + segment.length - end, 0LL);
        LCutListSegment piece = segment;
        piece.start += cutFront;
        piece.length -= cutFront + cutBack;
        copy.segments_.push_back(std::move(piece));
        begin += segment.length;
    }
    if (start < 0) copy.EfInsertSilence(0, -start);
    const long long length = copy.GetLength();
    const long long wanted = end - start;
    if (wanted < length) copy.EfDelete(wanted, length);
    if (wanted > length) copy.EfInsertSilence(length, wanted - length);
    dest = std::move(copy);
}

void LCutListAudio::EfTrim(long long start, long long end) {
    if (start >= 1) {
        EfDelete(0, start);
        end -= start;
    }
    EfDelete(end, GetLength());
}

void LCutListAudio::EfRepeatLoop(long long start, long long end, int count) {
    if (count <= 0) return;
    LCutListAudio loop;
    EfCopy(start, end, loop);
    for (int i = 0; i < count; ++i) EfInsert(start, loop);
}

void LCutListAudio::SetSingleCutListSegment(const LCutListSegment& segment, int sampleRate, int channels) {
    LCutListSegment copy = segment;  // before clearing: segment may be one of ours
    segments_.clear();
    segments_.push_back(std::move(copy));
    sampleRate_ = sampleRate;
    channels_ = static_cast<uint8_t>(channels);
}

LSoundSource LCutListAudio::OpenSource() const { return MakeSource<LCutListAudioSource>(*this); }

LSoundSink LCutListAudio::OpenSink(int sampleRate, int channels, const char* /*name*/) {
    return MakeSink<LCutListAudioSink>(this, sampleRate, channels);
}

namespace {

static_assert(std::endian::native == std::endian::little, "the simple form is read in place");

template <class T> bool ReadValue(LInputStream& file, T& value) { return file.ReadExact(&value, sizeof value); }

}  // namespace

bool LCutListAudio::Restore(LInputStream& file, bool /*unused*/) {
    int32_t rate = 0;
    uint8_t channels = 0, flags = 0;
    int32_t count = 0;
    if (!ReadValue(file, rate) || !ReadValue(file, channels) || !ReadValue(file, flags) || !ReadValue(file, count)) {
        return false;
    }
    sampleRate_ = rate;
    channels_ = channels;
    flags_ = flags;
    for (int32_t i = 0; i < count; ++i) {
        uint16_t item = 0;
        int64_t length = 0, start = 0;
        float gain = 1.0f;
        if (!ReadValue(file, item) || !ReadValue(file, length) || !ReadValue(file, gain) || !ReadValue(file, start)) {
            return false;
        }
        // A negative range can't come from a list we wrote: damaged data.
        if (length < 0 || start < 0) return false;
        segments_.emplace_back(item, start, length, gain);
    }
    return true;
}

void LCutListAudio::EvMP3LosslessModeChanged(bool enabled) {
    if (segments_.empty()) return;
    LCutListSegment& first = segments_.front();
    LCutListSegment& last = segments_.back();
    const LSoundCacheItemHandle& head = first.MP3Attributes();
    if (enabled) {
        // The whole padded stream becomes visible.
        if (first.start == head.encoderDelay) {
            first.length += first.start;
            first.start = 0;
        }
        if (last.HasMP3Source()) {
            const LSoundCacheItemHandle& tail = last.MP3Attributes();
            const long long audioEnd = tail.encoderDelay + tail.audioLength;
            // An unread length (0) would stretch the segment to the padding alone.
            if (tail.audioLength > 0 && last.End() >= audioEnd) last.length = audioEnd + tail.endPadding - last.start;
        }
    } else {
        if (first.start == 0 && head.encoderDelay > 0 && first.length >= head.encoderDelay) {
            first.start = head.encoderDelay;
            first.length -= head.encoderDelay;
        }
        last.SubtractEncoderPadding();
    }
}

long long LCutListAudio::GetNearestMP3FrameBoundary(long long position, bool roundDown, bool nearest) const {
    long long begin = 0;
    const size_t i = FindSegment(position, &begin);
    if (i == segments_.size()) return position;
    const LCutListSegment& segment = segments_[i];
    const long long frame = segment.MP3Attributes().samplesPerMP3Frame;
    if (frame <= 0) return position;
    const long long item = segment.start + (position - begin);
    const long long r = ((item % frame) + frame) % frame;
    const bool down = roundDown && (!nearest || r < frame / 2);
    const long long moved = down ? item - r : item - r + frame;
    return begin + (moved - segment.start);
}
