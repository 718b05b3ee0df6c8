#pragma once
// Second-order (biquad) high pass with a Butterworth-like Q of 1/1.414, over
// interleaved float audio. Coefficients are floats, normalised so a0 = 1:
//   y = b0*x + b1*x1 + b2*x2 - a1*y1 - a2*y2   (direct form I)
#include <vector>

class LHighPassIIR2 {
public:
    // A cut-off below 1 Hz means 10 Hz; a rate below 1 means 44100; 0 channels mean 1.
    LHighPassIIR2(int cutoffHz, int sampleRate, unsigned char channels = 1);

    // Filters `frames` interleaved frames in place.
    void ApplyFilter(float* samples, long long frames);
    // Forgets the past: the next sample starts from silence.
    void Reset();

    float B0() const { return b0_; }
    float B1() const { return b1_; }
    float B2() const { return b2_; }
    float A1() const { return a1_; }
    float A2() const { return a2_; }
    int Channels() const { return channels_; }

private:
    struct State {
        float x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    float b0_, b1_, b2_, a1_, a2_;
    int channels_;
    std::vector<State> state_;
};
