#include "stream/LSRCPeakLimit.h"

#include "dsp/BufferPeak.h"
#include "stream/LSPPeakLimit.h"

#include <algorithm>
#include <cstring>

LSoundSource LSPPeakLimit::OpenSource(const LSoundSource& source) const {
    if (source->GetPeak() <= limit) return source;
    return MakeSource<LSRCPeakLimit>(source, limit);
}

namespace {

inline float Clamp(float value, float limit) {
    value = value > limit ? limit : value;
    return value < -limit ? -limit : value;
}

int LimiterBlockFrames(const LSoundSourceBase& source) {
    int block = source.GetSampleRate() / (source.IsStreaming() ? 70 : 35);
    return std::clamp(block, 16, 8192);
}

}  // namespace

LSRCPeakLimit::LSRCPeakLimit(const LSoundSource& inner, float limit)
    : LSoundProcessBase(inner), limit_(limit), block_(LimiterBlockFrames(*inner)) {
    SetPeak(limit);
    buffers_.resize(static_cast<size_t>(3) * block_ * GetChannels());
}

long long LSRCPeakLimit::GetPositionSample() const { return inner_->GetPositionSample() - buffered_; }

void LSRCPeakLimit::Seek(long long frame) {
    inner_->Seek(frame);
    buffered_ = 0;
    restartPending_ = true;
}

bool LSRCPeakLimit::ControlMessage(int code, long* value) {
    if (code == ControlGetLookahead) {
        if (value) *value = static_cast<long>(buffered_);
        return true;
    }
    if (code == ControlAddLatency && value) {
        // The delay line is already subtracted from our position, so the frames
        // it holds are taken back out of the latency, mapped to the input side.
        long fill = static_cast<long>(buffered_);
        inner_->ControlMessage(ControlMapOffset, &fill);
        *value -= fill;
    }
    return inner_->ControlMessage(code, value);
}

void LSRCPeakLimit::ReadBlock(int slot) {
    inner_->Read(Slot(slot), block_);
    buffered_ += block_;
}

double LSRCPeakLimit::BlockGain(int slot) const {
    float peak = GetBufferPeak(Slot(slot), static_cast<long long>(block_) * GetChannels(), 1);
    return peak > limit_ ? static_cast<double>(limit_) / peak : 1.0;
}

void LSRCPeakLimit::ComputeStep() {
    double towardNext = std::min(g2_, g1_) - gain_;
    double towardAverage = (g0_ + g1_ + g2_ + g3_) / 4.0 - gain_;
    step_ = std::min(towardNext, towardAverage) / block_;
    if (step_ < 0.0) step_ = std::min(step_, -1e-7);  // a falling gain must really fall
}

void LSRCPeakLimit::Restart() {
    restartPending_ = false;
    buffered_ = 0;
    oldest_ = 0;
    used_ = 0;
    for (int slot = 0; slot < 3; ++slot) ReadBlock(slot);
    g0_ = g1_ = BlockGain(0);
    g2_ = BlockGain(1);
    g3_ = BlockGain(2);
    gain_ = g1_;
    ComputeStep();
}

void LSRCPeakLimit::Rotate() {
    int slot = oldest_;
    oldest_ = (oldest_ + 1) % 3;
    used_ = 0;
    ReadBlock(slot);  // the newest block takes the place of the oldest
    g0_ = g1_;
    g1_ = g2_;
    g2_ = g3_;
    g3_ = BlockGain(slot);
    ComputeStep();
}

void LSRCPeakLimit::EmitScaled(float* out, const float* in, long long frames) {
    const int channels = GetChannels();
    if (gain_ >= 1.0 && step_ == 0.0) {
        std::memcpy(out, in, static_cast<size_t>(frames) * channels * sizeof(float));
        return;
    }
    // The gain of frame f is computed from f rather than accumulated, so the
    // loop has no serial dependency and vectorises. The block gains already
    // keep every sample at or below the limit; the clamp only removes the last
    // float rounding step that could land one ulp above it.
    const float gain = static_cast<float>(gain_);
    const float step = static_cast<float>(step_);
    const float limit = limit_;
    // Frames per call never exceed one block (at most 8192), so an int counter
    // suffices, and int-to-float conversion vectorises where 64-bit does not.
    const int count = static_cast<int>(frames);
    if (channels == 2) {
        for (int f = 0; f < count; ++f) {
            const float g = gain + step * static_cast<float>(f);
            out[2 * f] = Clamp(in[2 * f] * g, limit);
            out[2 * f + 1] = Clamp(in[2 * f + 1] * g, limit);
        }
    } else {
        for (int f = 0; f < count; ++f) {
            const float g = gain + step * static_cast<float>(f);
            for (int c = 0; c < channels; ++c) out[f * channels + c] = Clamp(in[f * channels + c] * g, limit);
        }
    }
    gain_ += step_ * static_cast<double>(frames);
}

void LSRCPeakLimit::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    if (restartPending_) Restart();
    const int channels = GetChannels();
    while (frames > 0) {
        long long take = std::min<long long>(block_ - used_, frames);
        EmitScaled(buffer, Slot(oldest_) + used_ * channels, take);
        buffer += take * channels;
        frames -= take;
        used_ += take;
        buffered_ -= take;
        if (used_ == block_) Rotate();
    }
}
