#pragma once
// Long FIR filtering of one channel by fast convolution, with no latency:
// every output sample is sum(taps[k] * in[n-k]) over all input fed so far,
// exactly what a direct convolution gives (up to float rounding).
//
// Large calls run overlap-save blocks through a real FFT of at least four
// times the filter length (a block of N - (L-1) new samples per transform);
// calls too short to pay for a transform, and filters with few non-zero taps,
// use a direct dot product over the non-zero span of the taps. Call sizes of
// BlockSize() are the cheapest per sample.
#include "dsp/LFFT.h"

#include <vector>

class LFiltFFT {
public:
    // At least one tap; an empty list acts as a single zero tap.
    LFiltFFT(const float* taps, long count);

    // out[i*stride] = filtered in[i*stride] for i < frames; out may equal in.
    // A stride lets one convolver per channel work on interleaved audio.
    void ApplyFilter(float* out, const float* in, long long frames, int channelStride = 1);
    // Forgets the input so far, as if only silence had come before.
    void Reset();

    long TapCount() const { return tapCount_; }
    long BlockSize() const { return block_; }

private:
    void ProcessChunk(float* out, const float* in, long count, int stride);
    void ConvolveDirect(long count);
    void ConvolveFFT(long count);

    long tapCount_;
    long firstTap_ = 0;     // span of non-zero taps, [firstTap_, lastTap_]
    long lastTap_ = 0;
    std::vector<float> reversed_;  // taps in reverse order: a dot product runs forward
    bool useFFT_ = false;
    long fftSize_ = 0;
    long block_ = 0;
    long directLimit_ = 0;  // calls up to this many frames go the direct way
    std::unique_ptr<LRealFFTFloat> fft_;
    std::vector<float> spectrumRe_, spectrumIm_;  // of the taps, scaled by 1/N
    std::vector<float> history_;                  // tapCount-1 past inputs, then this chunk's
    std::vector<float> workRe_, workIm_, result_;
};
