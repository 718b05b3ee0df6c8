#include "stream/LConvertRateBase.h"

#include "base/LAssert.h"
#include "base/LCpuFeatures.h"

#include <algorithm>
#include <cmath>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define KV_RATE_SSE 1
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define KV_RATE_AVX 1
#endif

namespace {

constexpr int kFallbackRate = 44100;

// The Bessel function I0 by its power series, cut after six terms past the 1.
// The cut keeps the window's shape fixed: it is part of the filter's
// definition, not an approximation to improve.
double BesselI0(double v) {
    const double quarter = v * v / 4.0;
    double term = 1.0;
    double sum = 1.0;
    for (int k = 1; k <= 6; ++k) {
        term *= quarter / (double(k) * k);
        sum += term;
    }
    return sum;
}

long long Saturate(__int128 v) {
    constexpr long long kMax = std::numeric_limits<long long>::max();
    constexpr long long kMin = std::numeric_limits<long long>::min();
    if (v > kMax) return kMax;
    if (v < kMin) return kMin;
    return static_cast<long long>(v);
}

__int128 FloorDiv(__int128 a, __int128 b) {
    __int128 q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

long long Gcd(long long a, long long b) {
    while (b != 0) {
        long long r = a % b;
        a = b;
        b = r;
    }
    return a;
}

#if KV_RATE_SSE
inline float HorizontalSum(__m128 v) {
    __m128 high = _mm_movehl_ps(v, v);
    __m128 pair = _mm_add_ps(v, high);
    return _mm_cvtss_f32(_mm_add_ss(pair, _mm_shuffle_ps(pair, pair, 1)));
}
#endif

}  // namespace

LConvertRateBase::LConvertRateBase(int sourceRate, int targetRate, int taps, bool approximate)
    : taps_(std::max(taps, 1)), window_((std::max(taps, 1) + 3) / 4 * 4) {
    if (targetRate <= 0) targetRate = kFallbackRate;
    if (sourceRate <= 0) sourceRate = kFallbackRate;
    Factors f = ExactFactors(sourceRate, targetRate);
    if (approximate || f.up > kMaxPhases) f = ApproximateFactors(sourceRate, targetRate);
    KV_ASSERT(f.up >= 1 && f.up <= kMaxPhases && f.down >= 1);
    up_ = f.up;
    down_ = f.down;
    downWhole_ = down_ / up_;
    downRest_ = down_ % up_;
    BuildTable(sourceRate, targetRate);
}

LConvertRateBase::Factors LConvertRateBase::ExactFactors(int sourceRate, int targetRate) {
    if (targetRate <= 0) targetRate = kFallbackRate;
    if (sourceRate <= 0) sourceRate = kFallbackRate;
    const long long r = sourceRate % targetRate;
    if (r == 0) return {1, std::max<long long>(1, sourceRate / targetRate)};
    // The smallest k >= 2 with k * r a multiple of the target rate.
    const long long up = targetRate / Gcd(r, targetRate);
    return {up, std::max<long long>(1, up * sourceRate / targetRate)};
}

LConvertRateBase::Factors LConvertRateBase::ApproximateFactors(int sourceRate, int targetRate) {
    if (targetRate <= 0) targetRate = kFallbackRate;
    if (sourceRate <= 0) sourceRate = kFallbackRate;
    const double q = double(sourceRate) / double(targetRate);
    long long bestUp = 1;
    long long bestDown = 1;
    double bestError = INFINITY;
    for (long long k = 1; k <= kMaxPhases; ++k) {
        // The numerator is a 16-bit quantity; saturate rather than wrap.
        const long long num = std::min<long long>(std::llround(q * double(k)), 0xFFFF);
        const double error = std::fabs(q - double(num) / double(k));
        if (error < bestError) {
            bestError = error;
            bestUp = k;
            bestDown = num;
        }
        if (bestError < 1e-5) break;
    }
    return {bestUp, std::max<long long>(1, bestDown)};
}

void LConvertRateBase::BuildTable(int sourceRate, int targetRate) {
    const bool upward = targetRate > sourceRate;
    double fc = upward ? 0.975 : double(targetRate) / double(sourceRate) - 0.046875;
    // Past a ratio of about 21 the fixed transition band would swallow the
    // whole pass band; keep half of it instead so the output stays a low-pass
    // of the input and not silence.
    if (fc <= 0.0) fc = 0.5 * double(targetRate) / double(sourceRate);
    const double beta = upward ? 5.6 : 4.538;
    const double pi = 3.14159265358979323846;
    const int half = taps_ / 2;
    const double edge = double(half + 1) * double(half + 1);
    const double scale = fc / BesselI0(beta);

    table_.assign(static_cast<size_t>(up_ * window_), 0.0f);
    gainBound_ = 0.0;
    for (long long p = 0; p < up_; ++p) {
        double absSum = 0.0;
        for (int t = 0; t < taps_; ++t) {
            const double x = double(t - half) - double(p) / double(up_);
            double h = fc;
            if (x != 0.0) {
                const double arg = pi * fc * x;
                h = std::sin(arg) / arg * scale * BesselI0(beta * std::sqrt(std::max(0.0, 1.0 - x * x / edge)));
            }
            table_[p * window_ + t] = float(h);
            absSum += std::fabs(h);
        }
        gainBound_ = std::max(gainBound_, absSum);
    }
}

void LConvertRateBase::PrepareChannels(int channels) {
    if (channels == expandedChannels_) return;
    expandedChannels_ = channels;
    if (channels < 2 || channels > 8) {
        expanded_.clear();
        return;
    }
    expanded_.resize(table_.size() * channels);
    for (size_t i = 0; i < table_.size(); ++i)
        for (int c = 0; c < channels; ++c) expanded_[i * channels + c] = table_[i];
}

long long LConvertRateBase::InputToOutput(long long input) const {
    return Saturate(__int128(input) * up_ / down_);
}

long long LConvertRateBase::OutputToInput(long long output, long long* phase) const {
    const __int128 scaled = __int128(output) * down_;
    const __int128 input = FloorDiv(scaled, up_);
    if (phase) *phase = static_cast<long long>(scaled - input * up_);
    return Saturate(input);
}

long long LConvertRateBase::OffsetToInput(long long offset) const {
    return Saturate(__int128(offset) * down_ / up_);
}

long long LConvertRateBase::WindowEnd(long long cursor, long long phase, long long count) const {
    KV_ASSERT(count >= 1 && phase >= 0 && phase < up_);
    return cursor + (phase + (count - 1) * down_) / up_ + window_;
}

long long LConvertRateBase::OutputsBelow(long long cursor, long long phase, long long limit) const {
    const long long room = limit - window_ - cursor;
    if (room < 0) return 0;
    return ((room + 1) * up_ - 1 - phase) / down_ + 1;
}

namespace {

// One kernel per channel layout. Each computes a single output frame from the
// window at `x` with the (expanded) taps at `h`; the loops have no branches
// on the data and run whole vectors because the window is padded to four.
struct KernelArgs {
    const float* x;
    const float* h;
    float* out;
    int window;
};

#if KV_RATE_SSE
inline void Kernel1(const KernelArgs& a) {
    __m128 s0 = _mm_setzero_ps(), s1 = _mm_setzero_ps();
    int t = 0;
    for (; t + 8 <= a.window; t += 8) {
        s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(a.x + t), _mm_loadu_ps(a.h + t)));
        s1 = _mm_add_ps(s1, _mm_mul_ps(_mm_loadu_ps(a.x + t + 4), _mm_loadu_ps(a.h + t + 4)));
    }
    for (; t < a.window; t += 4) s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(a.x + t), _mm_loadu_ps(a.h + t)));
    a.out[0] = HorizontalSum(_mm_add_ps(s0, s1));
}

// Lane-wise sums of x[k] * h[k] over n floats (n a multiple of 4), with four
// accumulators so the additions don't wait on each other.
inline __m128 LaneDot(const float* x, const float* h, int n) {
    __m128 s0 = _mm_setzero_ps(), s1 = _mm_setzero_ps(), s2 = _mm_setzero_ps(), s3 = _mm_setzero_ps();
    int k = 0;
    for (; k + 16 <= n; k += 16) {
        s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(x + k), _mm_loadu_ps(h + k)));
        s1 = _mm_add_ps(s1, _mm_mul_ps(_mm_loadu_ps(x + k + 4), _mm_loadu_ps(h + k + 4)));
        s2 = _mm_add_ps(s2, _mm_mul_ps(_mm_loadu_ps(x + k + 8), _mm_loadu_ps(h + k + 8)));
        s3 = _mm_add_ps(s3, _mm_mul_ps(_mm_loadu_ps(x + k + 12), _mm_loadu_ps(h + k + 12)));
    }
    for (; k < n; k += 4) s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(x + k), _mm_loadu_ps(h + k)));
    return _mm_add_ps(_mm_add_ps(s0, s1), _mm_add_ps(s2, s3));
}

inline void Kernel2(const KernelArgs& a) {
    __m128 s = LaneDot(a.x, a.h, a.window * 2);
    // Lanes 0 and 2 are left, 1 and 3 right.
    s = _mm_add_ps(s, _mm_movehl_ps(s, s));
    _mm_storel_pi(reinterpret_cast<__m64*>(a.out), s);
}

inline void Kernel4(const KernelArgs& a) { _mm_storeu_ps(a.out, LaneDot(a.x, a.h, a.window * 4)); }

inline void Kernel6(const KernelArgs& a) {
    const int n = a.window * 6;  // a multiple of 12: two frames per step
    __m128 s0 = _mm_setzero_ps(), s1 = _mm_setzero_ps(), s2 = _mm_setzero_ps();
    for (int k = 0; k < n; k += 12) {
        s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(a.x + k), _mm_loadu_ps(a.h + k)));
        s1 = _mm_add_ps(s1, _mm_mul_ps(_mm_loadu_ps(a.x + k + 4), _mm_loadu_ps(a.h + k + 4)));
        s2 = _mm_add_ps(s2, _mm_mul_ps(_mm_loadu_ps(a.x + k + 8), _mm_loadu_ps(a.h + k + 8)));
    }
    // s0 holds channels 0-3, s1 channels 4, 5, 0, 1 and s2 channels 2-5.
    const __m128 first = _mm_add_ps(s0, _mm_shuffle_ps(s1, s2, _MM_SHUFFLE(1, 0, 3, 2)));
    const __m128 last = _mm_add_ps(s1, _mm_movehl_ps(s2, s2));
    _mm_storeu_ps(a.out, first);
    _mm_storel_pi(reinterpret_cast<__m64*>(a.out + 4), last);
}

inline void Kernel8(const KernelArgs& a) {
    const int n = a.window * 8;
    __m128 s0 = _mm_setzero_ps(), s1 = _mm_setzero_ps(), s2 = _mm_setzero_ps(), s3 = _mm_setzero_ps();
    for (int k = 0; k < n; k += 16) {
        s0 = _mm_add_ps(s0, _mm_mul_ps(_mm_loadu_ps(a.x + k), _mm_loadu_ps(a.h + k)));
        s1 = _mm_add_ps(s1, _mm_mul_ps(_mm_loadu_ps(a.x + k + 4), _mm_loadu_ps(a.h + k + 4)));
        s2 = _mm_add_ps(s2, _mm_mul_ps(_mm_loadu_ps(a.x + k + 8), _mm_loadu_ps(a.h + k + 8)));
        s3 = _mm_add_ps(s3, _mm_mul_ps(_mm_loadu_ps(a.x + k + 12), _mm_loadu_ps(a.h + k + 12)));
    }
    _mm_storeu_ps(a.out, _mm_add_ps(s0, s2));
    _mm_storeu_ps(a.out + 4, _mm_add_ps(s1, s3));
}
#endif

// Moves a window's start and phase on by one output: M / L whole frames and
// M % L phases, carrying a frame when the phase reaches L. Branch-free.
inline void StepOutput(long long& cursor, long long& phase, long long up, long long downWhole, long long downRest) {
    phase += downRest;
    cursor += downWhole;
    const long long carry = phase >= up;
    phase -= carry * up;
    cursor += carry;
}

// Any channel count, from the plain table.
struct GenericKernel {
    int channels;
    void operator()(const KernelArgs& a) const {
        for (int c = 0; c < channels; ++c) {
            float s = 0.0f;
            for (int t = 0; t < a.window; ++t) s += a.x[t * channels + c] * a.h[t];
            a.out[c] = s;
        }
    }
};

}  // namespace

template <class K>
static void RunKernel(const K& kernel, const float* in, const float* table, int channels, int tableStride,
                      long long window, long long up, long long downWhole, long long downRest, long long& cursor,
                      long long& phase, float* out, long long count) {
    long long c = cursor;
    long long p = phase;
    for (long long i = 0; i < count; ++i) {
        kernel(KernelArgs{in + c * channels, table + p * tableStride, out + i * channels, int(window)});
        StepOutput(c, p, up, downWhole, downRest);
    }
    cursor = c;
    phase = p;
}

#if KV_RATE_AVX
// Stereo is the common case (every player and most files): on processors with
// AVX2 and FMA it runs eight lanes per step, chosen once at run time.
__attribute__((target("avx2,fma"))) static void RunStereoAvx(const float* in, const float* table, long long window,
                                                             long long up, long long downWhole, long long downRest,
                                                             long long& cursor, long long& phase, float* out,
                                                             long long count) {
    const long long n = window * 2;
    const long long stride = window * 2;
    long long c = cursor;
    long long p = phase;
    for (long long i = 0; i < count; ++i) {
        const float* x = in + c * 2;
        const float* h = table + p * stride;
        __m256 s0 = _mm256_setzero_ps(), s1 = _mm256_setzero_ps(), s2 = _mm256_setzero_ps(), s3 = _mm256_setzero_ps();
        long long k = 0;
        for (; k + 32 <= n; k += 32) {
            s0 = _mm256_fmadd_ps(_mm256_loadu_ps(x + k), _mm256_loadu_ps(h + k), s0);
            s1 = _mm256_fmadd_ps(_mm256_loadu_ps(x + k + 8), _mm256_loadu_ps(h + k + 8), s1);
            s2 = _mm256_fmadd_ps(_mm256_loadu_ps(x + k + 16), _mm256_loadu_ps(h + k + 16), s2);
            s3 = _mm256_fmadd_ps(_mm256_loadu_ps(x + k + 24), _mm256_loadu_ps(h + k + 24), s3);
        }
        for (; k + 8 <= n; k += 8) s0 = _mm256_fmadd_ps(_mm256_loadu_ps(x + k), _mm256_loadu_ps(h + k), s0);
        __m128 tail = _mm_setzero_ps();
        for (; k < n; k += 4) tail = _mm_add_ps(tail, _mm_mul_ps(_mm_loadu_ps(x + k), _mm_loadu_ps(h + k)));
        const __m256 s = _mm256_add_ps(_mm256_add_ps(s0, s1), _mm256_add_ps(s2, s3));
        __m128 v = _mm_add_ps(_mm_add_ps(_mm256_castps256_ps128(s), _mm256_extractf128_ps(s, 1)), tail);
        v = _mm_add_ps(v, _mm_movehl_ps(v, v));  // lanes 0 and 2 are left, 1 and 3 right
        _mm_storel_pi(reinterpret_cast<__m64*>(out + i * 2), v);
        StepOutput(c, p, up, downWhole, downRest);
    }
    cursor = c;
    phase = p;
}

static bool HasAvx2Fma() { return LCpuFeatures::CanUse(LCpuLevel::Avx2); }
#endif

void LConvertRateBase::Process(const float* in, int channels, long long& cursor, long long& phase, float* out,
                               long long count) const {
    if (count <= 0) return;
    KV_ASSERT(in != nullptr && out != nullptr && phase >= 0 && phase < up_);
#if KV_RATE_AVX
    if (channels == 2 && expandedChannels_ == 2 && HasAvx2Fma())
        return RunStereoAvx(in, expanded_.data(), window_, up_, downWhole_, downRest_, cursor, phase, out, count);
#endif
#if KV_RATE_SSE
    if (expandedChannels_ == channels && !expanded_.empty()) {
        const float* h = expanded_.data();
        const int stride = window_ * channels;
        switch (channels) {
        case 2:
            return RunKernel(Kernel2, in, h, 2, stride, window_, up_, downWhole_, downRest_, cursor, phase, out, count);
        case 4:
            return RunKernel(Kernel4, in, h, 4, stride, window_, up_, downWhole_, downRest_, cursor, phase, out, count);
        case 6:
            return RunKernel(Kernel6, in, h, 6, stride, window_, up_, downWhole_, downRest_, cursor, phase, out, count);
        case 8:
            return RunKernel(Kernel8, in, h, 8, stride, window_, up_, downWhole_, downRest_, cursor, phase, out, count);
        default:
            break;
        }
    }
    if (channels == 1)
        return RunKernel(Kernel1, in, table_.data(), 1, window_, window_, up_, downWhole_, downRest_, cursor, phase,
                         out, count);
#endif
    RunKernel(GenericKernel{channels}, in, table_.data(), channels, window_, window_, up_, downWhole_, downRest_,
              cursor, phase, out, count);
}
