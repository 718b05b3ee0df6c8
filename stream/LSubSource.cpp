#include "stream/LSubSource.h"

#include "stream/LFrameArithmetic.h"

#include <algorithm>

LSubSourceBase::LSubSourceBase(const LSoundSource* source, long long start, long long length)
    : LSoundSourceBase((*source)->GetSampleRate(), (*source)->GetChannels(), (*source)->GetPeak()),
      source_(source),
      start_(start),
      length_(std::max(0LL, length)) {
    if (!(*source_)->IsOk()) SetError(kSourceInnerError);
}

long long LSubSourceBase::GetPositionSample() const { return FrameSub((*source_)->GetPositionSample(), start_); }

void LSubSourceBase::Seek(long long frame) { (*source_)->Seek(FrameAdd(frame, start_)); }

void LSubSourceBase::ZeroFill(float* buffer, long long frames) const {
    std::fill_n(buffer, frames * GetChannels(), 0.0f);
}

void LSubSourceBase::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    LSoundSourceBase& inner = **source_;
    const int channels = GetChannels();
    long long position = GetPositionSample();
    long long remaining = frames;

    if (position < 0) {
        const long long zeros = std::min(FrameSub(0, position), remaining);
        ZeroFill(buffer, zeros);
        buffer += zeros * channels;
        remaining -= zeros;
        position += zeros;
        inner.Seek(FrameAdd(start_, position));
    }
    if (remaining > 0 && position < length_) {
        const long long count = std::min(length_ - position, remaining);
        inner.Read(buffer, count);
        buffer += count * channels;
        remaining -= count;
    }
    if (remaining > 0) {
        // Past the range: silence, and the inner source moves on by as much so
        // that the position stays exact.
        ZeroFill(buffer, remaining);
        inner.Seek(FrameAdd(inner.GetPositionSample(), remaining));
    }
}

void LSubSource::OpenSource(LSoundSource& result, const LSoundSource& source, long long start, long long length) {
    result = MakeSource<LSubSourceBase>(&source, start, length);
    source->Seek(start);
}
