#include "dsp/LFiltFFT.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace {

float Dot(const float* a, const float* b, long n) {
    long i = 0;
    float sum = 0.0f;
#if defined(__SSE2__)
    __m128 acc0 = _mm_setzero_ps(), acc1 = _mm_setzero_ps();
    for (; i + 8 <= n; i += 8) {
        acc0 = _mm_add_ps(acc0, _mm_mul_ps(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
        acc1 = _mm_add_ps(acc1, _mm_mul_ps(_mm_loadu_ps(a + i + 4), _mm_loadu_ps(b + i + 4)));
    }
    float lanes[4];
    _mm_storeu_ps(lanes, _mm_add_ps(acc0, acc1));
    sum = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
#endif
    for (; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

}  // namespace

LFiltFFT::LFiltFFT(const float* taps, long count) : tapCount_(count > 0 ? count : 1) {
    std::vector<float> h(tapCount_, 0.0f);
    if (count > 0) std::copy(taps, taps + count, h.begin());
    firstTap_ = tapCount_;
    lastTap_ = -1;
    for (long k = 0; k < tapCount_; ++k) {
        if (h[k] != 0.0f) {
            firstTap_ = std::min(firstTap_, k);
            lastTap_ = k;
        }
    }
    if (lastTap_ < 0) firstTap_ = lastTap_ = 0;  // all zero: one zero tap is enough
    reversed_.assign(h.rbegin(), h.rend());

    const long span = lastTap_ - firstTap_ + 1;
    unsigned long order = 6;
    while ((1L << order) < 4 * tapCount_) ++order;
    fftSize_ = 1L << order;
    block_ = fftSize_ - (tapCount_ - 1);
    // Rough break-even: a block through the transforms costs about 3*N*log2(N)
    // operations against count*span for the direct sum.
    directLimit_ = static_cast<long>(3 * order * fftSize_) / span;
    useFFT_ = span > 32 && directLimit_ < block_;
    if (!useFFT_) block_ = 8192;

    history_.assign(tapCount_ - 1 + block_, 0.0f);
    if (useFFT_) {
        fft_ = std::make_unique<LRealFFTFloat>(order);
        const long bins = fftSize_ / 2 + 1;
        std::vector<float> padded(fftSize_, 0.0f);
        std::copy(h.begin(), h.end(), padded.begin());
        spectrumRe_.resize(bins);
        spectrumIm_.resize(bins);
        fft_->Forward(padded.data(), spectrumRe_.data(), spectrumIm_.data());
        const float scale = 1.0f / static_cast<float>(fftSize_);  // the inverse is unscaled
        for (long k = 0; k < bins; ++k) {
            spectrumRe_[k] *= scale;
            spectrumIm_[k] *= scale;
        }
        workRe_.resize(bins);
        workIm_.resize(bins);
        result_.resize(fftSize_);
        history_.resize(fftSize_, 0.0f);
    }
}

void LFiltFFT::Reset() { std::fill(history_.begin(), history_.end(), 0.0f); }

void LFiltFFT::ApplyFilter(float* out, const float* in, long long frames, int channelStride) {
    const int stride = channelStride > 0 ? channelStride : 1;
    while (frames > 0) {
        const long count = static_cast<long>(std::min<long long>(frames, block_));
        ProcessChunk(out, in, count, stride);
        out += static_cast<long long>(count) * stride;
        in += static_cast<long long>(count) * stride;
        frames -= count;
    }
}

void LFiltFFT::ProcessChunk(float* out, const float* in, long count, int stride) {
    const long past = tapCount_ - 1;
    float* fresh = history_.data() + past;
    for (long i = 0; i < count; ++i) fresh[i] = in[static_cast<long long>(i) * stride];

    if (useFFT_ && count > directLimit_) {
        ConvolveFFT(count);
    } else {
        ConvolveDirect(count);
    }
    for (long i = 0; i < count; ++i) out[static_cast<long long>(i) * stride] = result_[i];
    // Keep the last L-1 inputs in front for the next chunk.
    std::memmove(history_.data(), history_.data() + count, sizeof(float) * past);
}

void LFiltFFT::ConvolveDirect(long count) {
    if (static_cast<long>(result_.size()) < count) result_.resize(count);
    // y[j] = sum_k h[k]*x[L-1+j-k] = sum_i reversed[i]*x[j+i], over the non-zero taps only.
    const long first = tapCount_ - 1 - lastTap_;
    const long span = lastTap_ - firstTap_ + 1;
    const float* taps = reversed_.data() + first;
    const float* x = history_.data() + first;
    for (long j = 0; j < count; ++j) result_[j] = Dot(taps, x + j, span);
}

void LFiltFFT::ConvolveFFT(long count) {
    // Overlap-save: the circular convolution is exact from index L-1 on, and
    // does not depend on what lies past this chunk in the buffer.
    const long bins = fftSize_ / 2 + 1;
    fft_->Forward(history_.data(), workRe_.data(), workIm_.data());
    float* __restrict re = workRe_.data();
    float* __restrict im = workIm_.data();
    const float* __restrict hr = spectrumRe_.data();
    const float* __restrict hi = spectrumIm_.data();
    for (long k = 0; k < bins; ++k) {
        const float r = re[k] * hr[k] - im[k] * hi[k];
        const float i = re[k] * hi[k] + im[k] * hr[k];
        re[k] = r;
        im[k] = i;
    }
    fft_->Inverse(re, im, result_.data());
    std::memmove(result_.data(), result_.data() + (tapCount_ - 1), sizeof(float) * count);
}
