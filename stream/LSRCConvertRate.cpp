#include "stream/LSRCConvertRate.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr long long kMax = std::numeric_limits<long long>::max();
constexpr long long kMin = std::numeric_limits<long long>::min();

long long Saturate(__int128 v) {
    if (v > kMax) return kMax;
    if (v < kMin) return kMin;
    return static_cast<long long>(v);
}

__int128 FloorDiv(__int128 a, __int128 b) {
    __int128 q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

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
    const long long start = InputToOutput(innerPosition);
    ResetAt(start, OutputToInput(start) != innerPosition);
}

long long LSRCConvertRate::OutputToInput(long long output) const {
    return Saturate(FloorDiv(__int128(output) * converter_.GetDown(), converter_.GetUp()));
}

long long LSRCConvertRate::InputToOutput(long long input) const {
    return Saturate(__int128(input) * converter_.GetUp() / converter_.GetDown());
}

long long LSRCConvertRate::OffsetToInput(long long offset) const {
    return Saturate(__int128(offset) * converter_.GetDown() / converter_.GetUp());
}

void LSRCConvertRate::ResetAt(long long position, bool seekInner) {
    const __int128 scaled = __int128(position) * converter_.GetDown();
    const __int128 input = FloorDiv(scaled, converter_.GetUp());
    position_ = position;
    phase_ = static_cast<long long>(scaled - input * converter_.GetUp());
    if (seekInner) inner_->Seek(Saturate(input));
    // The history before the new input position is cleared, not re-read: a
    // streaming source can't be asked to step back.
    const int half = converter_.GetHalf();
    std::fill_n(buffer_.begin(), size_t(half) * GetChannels(), 0.0f);
    filled_ = half;
    cursor_ = 0;
}

long long LSRCConvertRate::GetEndSample() const { return InputToOutput(inner_->GetEndSample()); }

void LSRCConvertRate::Seek(long long frame) { ResetAt(frame, true); }

bool LSRCConvertRate::ControlMessage(int code, long* value) {
    if (value == nullptr) return false;
    if (code == ControlAddLatency) {
        // Input already pulled past the instant of the next output frame.
        const long long pending = filled_ - cursor_ - converter_.GetHalf();
        *value = Saturate(__int128(OffsetToInput(*value)) + pending);
    } else if (code == ControlMapOffset) {
        *value = OffsetToInput(*value);
    }
    return inner_->ControlMessage(code, value);
}

long long LSRCConvertRate::AdjustRelativeOffset(long long offset, long long position) {
    const long long inner = inner_->AdjustRelativeOffset(OffsetToInput(offset), OutputToInput(position));
    return InputToOutput(inner);
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
        position_ += count;
    }
}
