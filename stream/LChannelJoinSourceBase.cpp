#include "stream/LChannelJoinSourceBase.h"

#include <algorithm>

namespace {
constexpr long long kScratchFloats = 16384;

// Every frame's first channel into every second float of `out`.
void Spread(const float* in, int stride, float* out, long long frames) {
    for (long long i = 0; i < frames; ++i) out[2 * i] = in[i * stride];
}
}  // namespace

LChannelJoinSourceBase::LChannelJoinSourceBase(const LSoundSource& left, const LSoundSource& right,
                                               bool shareScratch)
    : LSoundSourceBase(left->GetSampleRate(), 2, std::max(left->GetPeak(), right->GetPeak())),
      left_(left),
      right_(right),
      chunkFrames_(kScratchFloats / std::max(left->GetChannels(), right->GetChannels())),
      leftBuffer_(static_cast<size_t>(kScratchFloats)),
      rightBuffer_(shareScratch ? 0 : static_cast<size_t>(kScratchFloats)) {
    if (!left_->IsOk() || !right_->IsOk()) SetError(kSourceInnerError);
}

long long LChannelJoinSourceBase::GetEndSample() const {
    return std::max(left_->GetEndSample(), right_->GetEndSample());
}

void LChannelJoinSourceBase::Seek(long long frame) {
    left_->Seek(frame);
    right_->Seek(frame);
}

void LChannelJoinSourceBase::Read(float* buffer, long long frames) {
    const int leftStride = left_->GetChannels(), rightStride = right_->GetChannels();
    float* rightScratch = rightBuffer_.empty() ? leftBuffer_.data() : rightBuffer_.data();
    while (frames > 0) {
        const long long count = std::min(frames, chunkFrames_);
        left_->Read(leftBuffer_.data(), count);
        Spread(leftBuffer_.data(), leftStride, buffer, count);
        right_->Read(rightScratch, count);
        Spread(rightScratch, rightStride, buffer + 1, count);
        buffer += 2 * count;
        frames -= count;
    }
}
