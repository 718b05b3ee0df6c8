#include "stream/LLoopSource.h"

#include "stream/LFrameArithmetic.h"
#include "stream/LSoundSourceError.h"

#include <algorithm>

LLoopSourceBase::LLoopSourceBase(const LSoundSource& inner, long long start, long long end)
    : LSoundProcessBase(inner), start_(start), end_(end), length_(FrameSub(end, start)) {}

long long LLoopSourceBase::Fold(long long p) const {
    if (length_ <= 0) return p;
    // Differences taken unsigned: start and end are not negative, so they fit
    // for every p, the extremes included.
    const auto length = static_cast<unsigned long long>(length_);
    if (p < start_) {
        const unsigned long long back = (static_cast<unsigned long long>(start_) - static_cast<unsigned long long>(p)) % length;
        return end_ - static_cast<long long>(back);
    }
    if (p > end_) {
        const unsigned long long ahead = (static_cast<unsigned long long>(p) - static_cast<unsigned long long>(end_)) % length;
        return start_ + static_cast<long long>(ahead);
    }
    return p;
}

void LLoopSourceBase::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    const int channels = GetChannels();
    // A loop whose end lies before its start (kept as given at opening) has
    // nothing to repeat; it plays silence rather than spinning.
    if (length_ <= 0) {
        std::fill_n(buffer, frames * channels, 0.0f);
        return;
    }
    long long remaining = frames;
    bool justWrapped = false;
    while (remaining > 0) {
        const long long position = inner_->GetPositionSample();
        if (position >= end_) {
            if (justWrapped) break;  // the inner source did not go back: give silence, never spin
            inner_->Seek(start_);
            justWrapped = true;
            continue;
        }
        const long long count = std::min(end_ - position, remaining);
        inner_->Read(buffer, count);
        buffer += count * channels;
        remaining -= count;
        justWrapped = false;
    }
    if (remaining > 0) std::fill_n(buffer, remaining * channels, 0.0f);
}

void LLoopSourceBase::Seek(long long frame) { inner_->Seek(Fold(frame)); }

bool LLoopSourceBase::ControlMessage(int code, long* value) {
    if (code == ControlWrapPosition) {
        if (length_ <= 0 || value == nullptr) return false;
        *value = static_cast<long>(Fold(*value));
        inner_->ControlMessage(code, value);
        // The fold is this stage's answer; an inner stage that knows nothing
        // of positions does not undo it.
        return true;
    }
    if (code == ControlMapOffset) {
        if (length_ <= 0 || value == nullptr) return false;
        inner_->ControlMessage(code, value);
        const long long position = inner_->GetPositionSample();
        *value = static_cast<long>(FrameSub(Fold(FrameAdd(*value, position)), position));
        return true;
    }
    return inner_->ControlMessage(code, value);
}

long long LLoopSourceBase::AdjustRelativeOffset(long long offset, long long position) {
    const long long inner = inner_->AdjustRelativeOffset(offset, position);
    return FrameSub(Fold(FrameAdd(inner, position)), position);
}

void LLoopSource::OpenSource(LSoundSource& result, const LSoundSource& source, long long start, long long end) {
    const long long sourceEnd = source->GetEndSample();
    if (end < 0 || start >= sourceEnd) {
        result = MakeSource<LSoundSourceError>(kSourceLoopStartPastEnd, source->GetSampleRate(), source->GetChannels());
        return;
    }
    if (start == end) {
        result = MakeSource<LSoundSourceError>(kSourceEmptyLoop, source->GetSampleRate(), source->GetChannels());
        return;
    }
    start = std::max(0LL, start);
    end = std::min(end, sourceEnd);
    // An end before the start is kept as given; Read then plays silence.
    result = MakeSource<LLoopSourceBase>(source, start, end);
}
