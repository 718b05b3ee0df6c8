#pragma once
// A test source whose frame f (0 <= f < length) holds f + 1 in every channel
// (channel c adds c / 4), and zeros outside; any position is legal.
#include "stream/LSoundSourceBase.h"

#include <algorithm>
#include <climits>

class RampSource : public LSoundSourceBase {
public:
    RampSource(long long length, int channels = 1, int rate = 48000)
        : LSoundSourceBase(rate, channels), length_(length) {}

    static float Value(long long frame, int channel = 0) { return static_cast<float>(frame + 1) + channel * 0.25f; }

    void Read(float* buffer, long long frames) override {
        if (frames <= 0) return;
        for (long long i = 0; i < frames; ++i) {
            const long long f = position_ > LLONG_MAX - i ? LLONG_MAX : position_ + i;
            for (int c = 0; c < GetChannels(); ++c)
                buffer[i * GetChannels() + c] = (f >= 0 && f < length_) ? Value(f, c) : 0.0f;
        }
        position_ = position_ > LLONG_MAX - frames ? LLONG_MAX : position_ + frames;
        ++reads_;
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return length_; }
    void Seek(long long frame) override { position_ = frame; }

    int Reads() const { return reads_; }

private:
    long long length_;
    long long position_ = 0;
    int reads_ = 0;
};
