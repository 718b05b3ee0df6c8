#include "stream/LSRCConvertRate.h"

#include "stream/LFrameArithmetic.h"

#include <algorithm>
#include <cstring>

namespace {

int RateOrFallback(int rate) { return rate > 0 ? rate : 44100; }

}  // namespace

LSRCConvertRate::LSRCConvertRate(const LSoundSource& inner, int targetRate, bool approximate)
    : LSoundProcessBase(inner),
      converter_(inner->GetSampleRate(), RateOrFallback(targetRate), LConvertRateBase::kDefaultTaps, approximate) {
    SetFormat(targetRate, GetChannels());
    // Interpolation overshoots between samples; announce the bound so a peak
    // limiter downstream still sees what this stage can deliver.
    if (GetPeak() < kPeakUnbounded)
        SetPeak(std::min<float>(kPeakUnbounded, float(GetPeak() * converter_.GetGainBound())));
    converter_.PrepareChannels(GetChannels());
    capacity_ = kBufferFrames + converter_.GetWindow();
    buffer_.assign(static_cast<size_t>(capacity_ * GetChannels()), 0.0f);

    const long long innerPosition = inner_->GetPositionSample();
    const long long start = converter_.InputToOutput(innerPosition);
    ResetAt(start, converter_.OutputToInput(start) != innerPosition);
}

void LSRCConvertRate::ResetAt(long long position, bool seekInner) {
    const long long input = converter_.OutputToInput(position, &phase_);
    position_ = position;
    if (seekInner) inner_->Seek(input);
    // The history before the new input position is cleared, not re-read: a
    // streaming source can't be asked to step back.
    const int half = converter_.GetHalf();
    std::fill_n(buffer_.begin(), size_t(half) * GetChannels(), 0.0f);
    filled_ = half;
    cursor_ = 0;
}

long long LSRCConvertRate::GetEndSample() const { return converter_.InputToOutput(inner_->GetEndSample()); }

void LSRCConvertRate::Seek(long long frame) { ResetAt(frame, true); }

bool LSRCConvertRate::ControlMessage(int code, long* value) {
    if (value == nullptr) return false;
    if (code == ControlAddLatency) {
        // Input already pulled past the instant of the next output frame.
        const long long pending = filled_ - cursor_ - converter_.GetHalf();
        *value = FrameAdd(converter_.OffsetToInput(*value), pending);
    } else if (code == ControlMapOffset) {
        *value = converter_.OffsetToInput(*value);
    }
    return inner_->ControlMessage(code, value);
}

long long LSRCConvertRate::AdjustRelativeOffset(long long offset, long long position) {
    const long long inner =
        inner_->AdjustRelativeOffset(converter_.OffsetToInput(offset), converter_.OutputToInput(position));
    return converter_.InputToOutput(inner);
}

void LSRCConvertRate::MakeRoom() {
    const int channels = GetChannels();
    if (cursor_ >= filled_) {
        // Large ratios step over input that no window touches: read it away
        // so the inner stream stays in step with ours.
        long long skip = cursor_ - filled_;
        while (skip > 0) {
            const long long n = std::min(skip, capacity_);
            inner_->Read(buffer_.data(), n);
            skip -= n;
        }
        cursor_ = filled_ = 0;
    } else if (cursor_ > 0 && cursor_ + converter_.GetWindow() > capacity_) {
        const long long keep = filled_ - cursor_;
        std::memmove(buffer_.data(), buffer_.data() + cursor_ * channels, size_t(keep * channels) * sizeof(float));
        filled_ = keep;
        cursor_ = 0;
    }
}

void LSRCConvertRate::ReadBuffer(long long needed) {
    if (filled_ >= needed) return;
    inner_->Read(buffer_.data() + filled_ * GetChannels(), needed - filled_);
    filled_ = needed;
}

void LSRCConvertRate::Read(float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0) {
        MakeRoom();
        const long long count = std::min(frames, converter_.OutputsBelow(cursor_, phase_, capacity_));
        ReadBuffer(converter_.WindowEnd(cursor_, phase_, count));
        converter_.Process(buffer_.data(), channels, cursor_, phase_, buffer, count);
        buffer += count * channels;
        frames -= count;
        position_ = FrameAdd(position_, count);
    }
}
