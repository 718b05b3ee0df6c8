#include "stream/LChannelJoinSourceBase.h"

#include <algorithm>

namespace {
constexpr long long kScratchFloats = 16384;

float JoinPeak(const LSoundSource& a, const LSoundSource& b) { return std::max(a->GetPeak(), b->GetPeak()); }
}  // namespace

LChannelJoinSourceBase::LChannelJoinSourceBase(const LSoundSource& left, const LSoundSource& right)
    : LSoundSourceBase(left->GetSampleRate(), 2, JoinPeak(left, right)),
      left_(left),
      right_(right),
      chunkFrames_(kScratchFloats / std::max(left->GetChannels(), right->GetChannels())),
      leftBuffer_(static_cast<size_t>(kScratchFloats)),
      rightBuffer_(static_cast<size_t>(kScratchFloats)) {
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
    while (frames > 0) {
        const long long count = std::min(frames, chunkFrames_);
        left_->Read(leftBuffer_.data(), count);
        right_->Read(rightBuffer_.data(), count);
        for (long long i = 0; i < count; ++i) {
            buffer[2 * i] = leftBuffer_[i * leftStride];
            buffer[2 * i + 1] = rightBuffer_[i * rightStride];
        }
        buffer += 2 * count;
        frames -= count;
    }
}
