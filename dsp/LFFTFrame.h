#pragma once
// One frame of spectral analysis: split real and imaginary arrays of `size`
// doubles, loaded from one channel of interleaved samples.
#include <vector>

class LFFTWindow;

class LFFTFrame {
public:
    explicit LFFTFrame(long size = 0) { Resize(size); }

    void Resize(long size);
    long Size() const { return static_cast<long>(re.size()); }
    void Clear();

    // re[i] = samples[i*channels + channel] * window[i] for i < size, im = 0.
    // `size` is capped at the frame's and the window's size; the rest is zeroed.
    void LoadRealSamples(const float* samples, long size, const LFFTWindow& window, int channels, int channel);

    // For the spectrum of a real signal: bins size-k take the conjugate of bins k,
    // 0 < k < size/2.
    void MirrorTopHalf(long size);

    std::vector<double> re;
    std::vector<double> im;
};
