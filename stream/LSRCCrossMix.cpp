#include "stream/LSRCCrossMix.h"

#include "stream/LFrameArithmetic.h"
#include "stream/LSPConvertSourceRateChannels.h"
#include "stream/LSPCrossMix.h"

#include <algorithm>

LSoundSource LSPCrossMix::OpenSource(const LSoundSource& source) const {
    if (mixFrames < 1) return source;
    LSoundSource converted = second;
    LSPConvertSourceRateChannels(source->GetSampleRate(), static_cast<unsigned char>(source->GetChannels()), converted);
    return MakeSource<LSRCCrossMix>(source, converted, mixFrames);
}

namespace {
constexpr long long kScratchFrames = 4096;
}

LSRCCrossMix::LSRCCrossMix(const LSoundSource& first, const LSoundSource& second, long long mixFrames)
    : LSoundProcessBase(first),
      second_(second),
      mixFrames_(mixFrames),
      mixStart_(first->GetPositionSample()),
      scratch_(static_cast<size_t>(kScratchFrames) * GetChannels()) {
    second_->Seek(0);
}

void LSRCCrossMix::Seek(long long frame) {
    inner_->Seek(frame);
    second_->Seek(FrameSub(frame, mixStart_));
}

void LSRCCrossMix::MixWindow(float* buffer, long long frames, long long windowOffset) {
    const int channels = GetChannels();
    while (frames > 0) {
        long long n = std::min(frames, kScratchFrames);
        second_->Read(scratch_.data(), n);
        for (long long f = 0; f < n; ++f) {
            float toFirst = static_cast<float>(static_cast<double>(windowOffset + f) / mixFrames_);
            for (int c = 0; c < channels; ++c) {
                float& out = buffer[f * channels + c];
                out = out * toFirst + scratch_[f * channels + c] * (1.0f - toFirst);
            }
        }
        buffer += n * channels;
        frames -= n;
        windowOffset += n;
    }
}

void LSRCCrossMix::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    const long long offset = FrameSub(inner_->GetPositionSample(), mixStart_);
    inner_->Read(buffer, frames);
    const long long begin = std::max(offset, 0LL);
    const long long end = std::min(FrameAdd(offset, frames), mixFrames_);
    if (begin >= end) return;
    if (second_->GetPositionSample() != begin) second_->Seek(begin);
    MixWindow(buffer + (begin - offset) * GetChannels(), end - begin, begin);
}
