#include "stream/LSRCJoin.h"

#include <algorithm>

namespace {
constexpr long long kScratchFloats = 16384;
}

LSRCJoin::LSRCJoin(const LSoundSource& left, const LSoundSource& right)
    : LSoundSourceBase(left->GetSampleRate(), 2, std::max(left->GetPeak(), right->GetPeak())),
      left_(left),
      right_(right),
      chunkFrames_(kScratchFloats / std::max(left->GetChannels(), right->GetChannels())),
      buffer_(static_cast<size_t>(kScratchFloats)) {
    if (!left_->IsOk() || !right_->IsOk()) SetError(kSourceInnerError);
}

void LSRCJoin::Seek(long long frame) {
    left_->Seek(frame);
    right_->Seek(frame);
}

void LSRCJoin::Read(float* buffer, long long frames) {
    const int leftStride = left_->GetChannels(), rightStride = right_->GetChannels();
    while (frames > 0) {
        const long long count = std::min(frames, chunkFrames_);
        left_->Read(buffer_.data(), count);
        for (long long i = 0; i < count; ++i) buffer[2 * i] = buffer_[i * leftStride];
        right_->Read(buffer_.data(), count);
        for (long long i = 0; i < count; ++i) buffer[2 * i + 1] = buffer_[i * rightStride];
        buffer += 2 * count;
        frames -= count;
    }
}
