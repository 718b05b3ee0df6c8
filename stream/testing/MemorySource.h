#pragma once
// A source over frames held in memory, for tests: exact positions, zeros
// before 0 and past the end, and a peak field chosen by the test.
#include "stream/LSoundSourceBase.h"

#include <algorithm>
#include <vector>

class MemorySource : public LSoundSourceBase {
public:
    MemorySource(std::vector<float> samples, int rate, int channels, float peak = kPeakUnbounded)
        : LSoundSourceBase(rate, channels, peak), samples_(std::move(samples)) {}

    void Read(float* buffer, long long frames) override {
        const int ch = GetChannels();
        for (long long f = 0; f < frames; ++f, ++position_) {
            bool inside = position_ >= 0 && position_ < GetEndSample();
            for (int c = 0; c < ch; ++c) buffer[f * ch + c] = inside ? samples_[position_ * ch + c] : 0.0f;
        }
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return static_cast<long long>(samples_.size()) / GetChannels(); }
    void Seek(long long frame) override { position_ = frame; }

    std::vector<float>& Samples() { return samples_; }

private:
    std::vector<float> samples_;
    long long position_ = 0;
};
