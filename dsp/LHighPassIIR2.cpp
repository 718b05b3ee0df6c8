#include "dsp/LHighPassIIR2.h"

#include <cmath>

LHighPassIIR2::LHighPassIIR2(int cutoffHz, int sampleRate, unsigned char channels)
    : channels_(channels > 0 ? channels : 1), state_(channels_) {
    const double fc = cutoffHz < 1 ? 10.0 : cutoffHz;
    const double rate = sampleRate < 1 ? 44100.0 : sampleRate;
    const double w = 2.0 * M_PI * fc / rate;
    const double alpha = std::sin(w) / 1.414;
    const double cosw = std::cos(w);
    b0_ = static_cast<float>((1.0 + cosw) / 2.0 / (1.0 + alpha));
    b1_ = static_cast<float>(-(1.0 + cosw) / (1.0 + alpha));
    b2_ = b0_;
    a1_ = static_cast<float>(-2.0 * cosw / (1.0 + alpha));
    a2_ = static_cast<float>((1.0 - alpha) / (1.0 + alpha));
}

void LHighPassIIR2::Reset() {
    for (State& s : state_) s = State();
}

void LHighPassIIR2::ApplyFilter(float* samples, long long frames) {
    for (int c = 0; c < channels_; ++c) {
        State s = state_[c];
        float* p = samples + c;
        for (long long i = 0; i < frames; ++i, p += channels_) {
            const float x = *p;
            const float y = b0_ * x + b1_ * s.x1 + b2_ * s.x2 - a1_ * s.y1 - a2_ * s.y2;
            s.x2 = s.x1;
            s.x1 = x;
            s.y2 = s.y1;
            s.y1 = y;
            *p = y;
        }
        state_[c] = s;
    }
}
