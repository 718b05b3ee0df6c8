#pragma once
#include "stream/LSoundSourceBase.h"

#include <functional>

namespace kvtest {

// A source that computes frame f, channel c as fn(f, c) inside [0, end) and
// zeros elsewhere; it keeps an exact position and records what reaches it.
class FunctionSource : public LSoundSourceBase {
public:
    using Fn = std::function<float(long long frame, int channel)>;

    FunctionSource(int rate, int channels, long long end, Fn fn, float peak = kPeakUnbounded)
        : LSoundSourceBase(rate, channels, peak), end_(end), fn_(std::move(fn)) {}

    void Read(float* buffer, long long frames) override {
        if (frames <= 0) return;
        const int ch = GetChannels();
        for (long long i = 0; i < frames; ++i) {
            // Wrapping arithmetic: tests seek to the extremes of the 64-bit range.
            const long long f = static_cast<long long>(static_cast<unsigned long long>(position_) + i);
            for (int c = 0; c < ch; ++c) buffer[i * ch + c] = (f >= 0 && f < end_) ? fn_(f, c) : 0.0f;
        }
        position_ = static_cast<long long>(static_cast<unsigned long long>(position_) + frames);
        framesRead += frames;
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return end_; }
    void Seek(long long frame) override {
        position_ = frame;
        ++seeks;
    }
    bool ControlMessage(int code, long* value) override {
        lastCode = code;
        lastValue = value ? *value : -1;
        return true;
    }

    long long framesRead = 0;
    int seeks = 0;
    int lastCode = 0;
    long lastValue = 0;

private:
    long long position_ = 0;
    long long end_;
    Fn fn_;
};

}  // namespace kvtest
