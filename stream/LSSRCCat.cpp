#include "stream/LSSRCCat.h"

#include "stream/LFrameArithmetic.h"
#include "stream/LSPConvertSourceRateChannels.h"
#include "stream/LSoundTime.h"

#include <algorithm>

LSSRCCat::LSSRCCat(int sampleRate, int channels, std::vector<Entry> entries)
    : LSoundSourceBase(sampleRate, channels, kPeakUnbounded), entries_(std::move(entries)) {}

long long LSSRCCat::EntryLength(size_t index) const {
    const Entry& entry = entries_[index];
    if (IsSilence(index)) return std::max(0LL, LSoundTime::MillisecondsToFrames(entry.durationMs, GetSampleRate()));
    // The source's own length at this stream's rate, split like the time
    // conversion so that it cannot overflow.
    const long long end = std::max(0LL, entry.source->GetEndSample());
    const long long from = entry.source->GetSampleRate(), to = GetSampleRate();
    return (end / from) * to + ((end % from) * to) / from;
}

long long LSSRCCat::LeftInCurrent() const {
    switch (kind_) {
        case Current::Silence: return silenceLeft_;
        case Current::Source: return std::max(0LL, FrameSub(current_->GetEndSample(), current_->GetPositionSample()));
        case Current::None: break;
    }
    return 0;
}

void LSSRCCat::OpenEntry(size_t index) {
    silenceLeft_ = 0;
    next_ = index + 1;
    if (IsSilence(index)) {
        current_.Close();
        kind_ = Current::Silence;
        silenceLeft_ = EntryLength(index);
        return;
    }
    current_ = entries_[index].source;
    current_->Seek(0);
    LSPConvertSourceRateChannels(GetSampleRate(), static_cast<unsigned char>(GetChannels()), current_);
    kind_ = Current::Source;
}

void LSSRCCat::CloseCurrent() {
    current_.Close();
    kind_ = Current::None;
    silenceLeft_ = 0;
}

void LSSRCCat::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    const int channels = GetChannels();
    if (position_ < 0) {
        const long long zeros = std::min(FrameSub(0, position_), frames);
        std::fill_n(buffer, zeros * channels, 0.0f);
        buffer += zeros * channels;
        frames -= zeros;
        position_ += zeros;
    }
    while (frames > 0) {
        const long long left = LeftInCurrent();
        if (left > 0) {
            const long long count = std::min(left, frames);
            if (kind_ == Current::Source)
                current_->Read(buffer, count);
            else
                std::fill_n(buffer, count * channels, 0.0f);
            silenceLeft_ -= kind_ == Current::Silence ? count : 0;
            buffer += count * channels;
            frames -= count;
            position_ = FrameAdd(position_, count);
        } else if (next_ < entries_.size()) {
            OpenEntry(next_);
        } else {
            CloseCurrent();
            std::fill_n(buffer, frames * channels, 0.0f);
            position_ = FrameAdd(position_, frames);
            frames = 0;
        }
    }
}

long long LSSRCCat::GetEndSample() const {
    long long end = FrameAdd(std::max(0LL, position_), LeftInCurrent());
    for (size_t i = next_; i < entries_.size(); ++i) end = FrameAdd(end, EntryLength(i));
    return std::max(end, position_);
}

void LSSRCCat::Seek(long long frame) {
    position_ = frame;
    if (entries_.empty()) return CloseCurrent();
    if (frame < 0) return OpenEntry(0);  // zeros first, then the first entry from its start
    long long start = 0;
    for (size_t i = 0; i < entries_.size(); ++i) {
        const long long length = EntryLength(i);
        if (frame - start < length) {
            OpenEntry(i);
            if (kind_ == Current::Silence)
                silenceLeft_ = length - (frame - start);
            else
                current_->Seek(frame - start);
            return;
        }
        start = FrameAdd(start, length);
    }
    // Past the end: nothing open, reads give zeros from here on.
    CloseCurrent();
    next_ = entries_.size();
}

bool LSSRCCat::IsStreaming() const {
    if (kind_ == Current::Source && current_->IsStreaming()) return true;
    for (size_t i = next_; i < entries_.size(); ++i)
        if (!IsSilence(i) && entries_[i].source->IsStreaming()) return true;
    return false;
}

void LSSRCCat::WaitForStreamingData(int milliseconds) {
    if (kind_ == Current::Source) return current_->WaitForStreamingData(milliseconds);
    for (size_t i = next_; i < entries_.size(); ++i)
        if (!IsSilence(i)) return entries_[i].source->WaitForStreamingData(milliseconds);
    LSoundSourceBase::WaitForStreamingData(milliseconds);
}
