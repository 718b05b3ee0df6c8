#include "dsp/LFFT.h"

#include <cmath>
#include <stdexcept>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#include <xmmintrin.h>
#define KV_FFT_SSE 1
#endif

namespace {

constexpr unsigned long kMaxOrder = 26;
constexpr double kTwoPi = 6.283185307179586476925286766559;

// e^(-i*2*pi*k/n) in double, then narrowed: twiddles are the main source of
// rounding error, so they are computed once at the best precision we have.
inline double TwiddleCos(long k, long n) { return std::cos(kTwoPi * static_cast<double>(k) / static_cast<double>(n)); }
inline double TwiddleSin(long k, long n) { return std::sin(kTwoPi * static_cast<double>(k) / static_cast<double>(n)); }

}  // namespace

// One pass of the Stockham sequence. A pass of radix r splits sequences of
// length n (= r*m) that stand s apart; the output has sequences of length m
// standing r*s apart. Twiddle j (1..3) of sub-sequence p is W_n^(j*p).
template <class T>
struct LFFTOf<T>::Stage {
    int radix = 4;
    long m = 0;
    long s = 0;
    std::vector<T> wr[3], wi[3];  // wi holds -sin: forward kernel
    // For the four-wide passes: per p the six twiddle values, each four
    // times, so that a pass loads them instead of broadcasting.
    std::vector<T> splat;
};

namespace {

// Scalar radix-4 pass; also serves the in-place final pass (m == 1).
template <class T>
void Radix4Scalar(const T* xr, const T* xi, T* yr, T* yi, long m, long s, const std::vector<T>* wr,
                  const std::vector<T>* wi) {
    const long sm = s * m;
    for (long p = 0; p < m; ++p) {
        const T w1r = wr[0][p], w1i = wi[0][p], w2r = wr[1][p], w2i = wi[1][p], w3r = wr[2][p], w3i = wi[2][p];
        const T* ar = xr + s * p;
        const T* ai = xi + s * p;
        T* outR = yr + 4 * s * p;
        T* outI = yi + 4 * s * p;
        for (long q = 0; q < s; ++q) {
            const T a_r = ar[q], a_i = ai[q];
            const T b_r = ar[q + sm], b_i = ai[q + sm];
            const T c_r = ar[q + 2 * sm], c_i = ai[q + 2 * sm];
            const T d_r = ar[q + 3 * sm], d_i = ai[q + 3 * sm];
            const T apcR = a_r + c_r, apcI = a_i + c_i, amcR = a_r - c_r, amcI = a_i - c_i;
            const T bpdR = b_r + d_r, bpdI = b_i + d_i;
            // -i*(b - d)
            const T jR = b_i - d_i, jI = d_r - b_r;
            const T y0r = apcR + bpdR, y0i = apcI + bpdI;
            const T y1r = amcR + jR, y1i = amcI + jI;
            const T y2r = apcR - bpdR, y2i = apcI - bpdI;
            const T y3r = amcR - jR, y3i = amcI - jI;
            outR[q] = y0r;
            outI[q] = y0i;
            outR[q + s] = y1r * w1r - y1i * w1i;
            outI[q + s] = y1r * w1i + y1i * w1r;
            outR[q + 2 * s] = y2r * w2r - y2i * w2i;
            outI[q + 2 * s] = y2r * w2i + y2i * w2r;
            outR[q + 3 * s] = y3r * w3r - y3i * w3i;
            outI[q + 3 * s] = y3r * w3i + y3i * w3r;
        }
    }
}

// Final radix-2 pass of odd orders: twiddles are all 1, so it runs in place too.
template <class T>
void Radix2Last(const T* xr, const T* xi, T* yr, T* yi, long s) {
    for (long q = 0; q < s; ++q) {
        const T ar = xr[q], ai = xi[q], br = xr[q + s], bi = xi[q + s];
        yr[q] = ar + br;
        yi[q] = ai + bi;
        yr[q + s] = ar - br;
        yi[q + s] = ai - bi;
    }
}

#ifdef KV_FFT_SSE
struct V4Complex {
    __m128 r, i;
};

inline V4Complex Mul(V4Complex a, __m128 wr, __m128 wi) {
    return {_mm_sub_ps(_mm_mul_ps(a.r, wr), _mm_mul_ps(a.i, wi)), _mm_add_ps(_mm_mul_ps(a.r, wi), _mm_mul_ps(a.i, wr))};
}

// The four radix-4 outputs before twiddling.
inline void Butterfly4(V4Complex a, V4Complex b, V4Complex c, V4Complex d, V4Complex* y) {
    const __m128 apcR = _mm_add_ps(a.r, c.r), apcI = _mm_add_ps(a.i, c.i);
    const __m128 amcR = _mm_sub_ps(a.r, c.r), amcI = _mm_sub_ps(a.i, c.i);
    const __m128 bpdR = _mm_add_ps(b.r, d.r), bpdI = _mm_add_ps(b.i, d.i);
    const __m128 jR = _mm_sub_ps(b.i, d.i), jI = _mm_sub_ps(d.r, b.r);
    y[0] = {_mm_add_ps(apcR, bpdR), _mm_add_ps(apcI, bpdI)};
    y[1] = {_mm_add_ps(amcR, jR), _mm_add_ps(amcI, jI)};
    y[2] = {_mm_sub_ps(apcR, bpdR), _mm_sub_ps(apcI, bpdI)};
    y[3] = {_mm_sub_ps(amcR, jR), _mm_sub_ps(amcI, jI)};
}

// Radix-4 pass with s a multiple of 4: the q loop runs four wide with one
// twiddle set broadcast per p.
void Radix4SseWide(const float* xr, const float* xi, float* yr, float* yi, long m, long s, const float* splat) {
    const long sm = s * m;
    for (long p = 0; p < m; ++p) {
        const float* w = splat + 24 * p;
        const __m128 w1r = _mm_loadu_ps(w), w1i = _mm_loadu_ps(w + 4);
        const __m128 w2r = _mm_loadu_ps(w + 8), w2i = _mm_loadu_ps(w + 12);
        const __m128 w3r = _mm_loadu_ps(w + 16), w3i = _mm_loadu_ps(w + 20);
        const float* ar = xr + s * p;
        const float* ai = xi + s * p;
        float* outR = yr + 4 * s * p;
        float* outI = yi + 4 * s * p;
        for (long q = 0; q < s; q += 4) {
            V4Complex y[4];
            Butterfly4({_mm_loadu_ps(ar + q), _mm_loadu_ps(ai + q)},
                       {_mm_loadu_ps(ar + q + sm), _mm_loadu_ps(ai + q + sm)},
                       {_mm_loadu_ps(ar + q + 2 * sm), _mm_loadu_ps(ai + q + 2 * sm)},
                       {_mm_loadu_ps(ar + q + 3 * sm), _mm_loadu_ps(ai + q + 3 * sm)}, y);
            const V4Complex t1 = Mul(y[1], w1r, w1i), t2 = Mul(y[2], w2r, w2i), t3 = Mul(y[3], w3r, w3i);
            _mm_storeu_ps(outR + q, y[0].r);
            _mm_storeu_ps(outI + q, y[0].i);
            _mm_storeu_ps(outR + q + s, t1.r);
            _mm_storeu_ps(outI + q + s, t1.i);
            _mm_storeu_ps(outR + q + 2 * s, t2.r);
            _mm_storeu_ps(outI + q + 2 * s, t2.i);
            _mm_storeu_ps(outR + q + 3 * s, t3.r);
            _mm_storeu_ps(outI + q + 3 * s, t3.i);
        }
    }
}

// First radix-4 pass (s == 1, m a multiple of 4): four values of p at once;
// the outputs y[4p + j] come out as a 4x4 block that is transposed to store.
void Radix4SseFirst(const float* xr, const float* xi, float* yr, float* yi, long m, const std::vector<float>* wr,
                    const std::vector<float>* wi) {
    for (long p = 0; p < m; p += 4) {
        V4Complex y[4];
        Butterfly4({_mm_loadu_ps(xr + p), _mm_loadu_ps(xi + p)},
                   {_mm_loadu_ps(xr + p + m), _mm_loadu_ps(xi + p + m)},
                   {_mm_loadu_ps(xr + p + 2 * m), _mm_loadu_ps(xi + p + 2 * m)},
                   {_mm_loadu_ps(xr + p + 3 * m), _mm_loadu_ps(xi + p + 3 * m)}, y);
        y[1] = Mul(y[1], _mm_loadu_ps(&wr[0][p]), _mm_loadu_ps(&wi[0][p]));
        y[2] = Mul(y[2], _mm_loadu_ps(&wr[1][p]), _mm_loadu_ps(&wi[1][p]));
        y[3] = Mul(y[3], _mm_loadu_ps(&wr[2][p]), _mm_loadu_ps(&wi[2][p]));
        _MM_TRANSPOSE4_PS(y[0].r, y[1].r, y[2].r, y[3].r);
        _MM_TRANSPOSE4_PS(y[0].i, y[1].i, y[2].i, y[3].i);
        float* outR = yr + 4 * p;
        float* outI = yi + 4 * p;
        for (int k = 0; k < 4; ++k) {
            _mm_storeu_ps(outR + 4 * k, y[k].r);
            _mm_storeu_ps(outI + 4 * k, y[k].i);
        }
    }
}
#endif

}  // namespace

template <class T>
LFFTOf<T>::LFFTOf(unsigned long order) : order_(order), size_(1L << (order > kMaxOrder ? 0 : order)) {
    if (order > kMaxOrder) throw std::invalid_argument("FFT order out of range");
    long n = size_;
    long s = 1;
    while (n >= 4) {
        Stage st;
        st.radix = 4;
        st.m = n / 4;
        st.s = s;
        for (int j = 0; j < 3; ++j) {
            st.wr[j].resize(st.m);
            st.wi[j].resize(st.m);
            for (long p = 0; p < st.m; ++p) {
                st.wr[j][p] = static_cast<T>(TwiddleCos((j + 1) * p, n));
                st.wi[j][p] = static_cast<T>(-TwiddleSin((j + 1) * p, n));
            }
        }
        if (s % 4 == 0) {
            st.splat.resize(24 * st.m);
            for (long p = 0; p < st.m; ++p)
                for (int j = 0; j < 3; ++j)
                    for (int lane = 0; lane < 4; ++lane) {
                        st.splat[24 * p + 8 * j + lane] = st.wr[j][p];
                        st.splat[24 * p + 8 * j + 4 + lane] = st.wi[j][p];
                    }
        }
        stages_.push_back(std::move(st));
        n /= 4;
        s *= 4;
    }
    if (n == 2) {
        Stage st;
        st.radix = 2;
        st.m = 1;
        st.s = s;
        stages_.push_back(std::move(st));
    }
    if (stages_.size() > 1) {
        workRe_.resize(size_);
        workIm_.resize(size_);
    }
}

template <class T>
LFFTOf<T>::~LFFTOf() = default;

template <class T>
void LFFTOf<T>::DoFFT(T* re, T* im) {
    RunStages(re, im);
}

template <class T>
void LFFTOf<T>::RunStages(T* re, T* im) {
    const size_t count = stages_.size();
    // Passes ping-pong between the caller's arrays and the work arrays. The
    // last pass has unit twiddles and may run in place, which lets it land the
    // result in the caller's arrays whatever the parity of the pass count.
    T* srcR = re;
    T* srcI = im;
    for (size_t k = 0; k < count; ++k) {
        const Stage& st = stages_[k];
        const bool last = k + 1 == count;
        T* dstR = last ? re : (srcR == re ? workRe_.data() : re);
        T* dstI = last ? im : (srcI == im ? workIm_.data() : im);
        if (st.radix == 2) {
            Radix2Last(srcR, srcI, dstR, dstI, st.s);
        } else {
#ifdef KV_FFT_SSE
            if constexpr (std::is_same_v<T, float>) {
                if (st.s % 4 == 0) {
                    Radix4SseWide(srcR, srcI, dstR, dstI, st.m, st.s, st.splat.data());
                } else if (st.s == 1 && st.m % 4 == 0) {
                    Radix4SseFirst(srcR, srcI, dstR, dstI, st.m, st.wr, st.wi);
                } else {
                    Radix4Scalar(srcR, srcI, dstR, dstI, st.m, st.s, st.wr, st.wi);
                }
            } else
#endif
            {
                Radix4Scalar(srcR, srcI, dstR, dstI, st.m, st.s, st.wr, st.wi);
            }
        }
        srcR = dstR;
        srcI = dstI;
    }
}

// ---------------------------------------------------------------------------
// Real transforms. With z[n] = x[2n] + i*x[2n+1] and Z its M-point transform
// (M = N/2), the bins of x are X[k] = E[k] + W_N^k * O[k], where
// E[k] = (Z[k] + conj(Z[M-k]))/2 and O[k] = (Z[k] - conj(Z[M-k]))/(2i).
// Bins k and M-k are computed together from the same two values of Z.

template <class T>
LRealFFTOf<T>::LRealFFTOf(unsigned long order)
    : order_(order),
      size_(1L << (order < 1 || order > kMaxOrder ? 1 : order)),
      half_(size_ / 2),
      complex_(order < 1 || order > kMaxOrder ? 0 : order - 1) {
    if (order < 1 || order > kMaxOrder) throw std::invalid_argument("real FFT order out of range");
    const long quarter = half_ / 2 + 1;
    cos_.resize(quarter);
    sin_.resize(quarter);
    for (long k = 0; k < quarter; ++k) {
        cos_[k] = static_cast<T>(TwiddleCos(k, size_));
        sin_[k] = static_cast<T>(TwiddleSin(k, size_));
    }
}

namespace {

// Bins k and M-k from Z[k] and Z[M-k], in place (see above).
template <class T>
inline void SplitPair(T* re, T* im, long k, long M, T c, T s) {
    const T ar = re[k], ai = im[k], br = re[M - k], bi = im[M - k];
    const T er = T(0.5) * (ar + br), ei = T(0.5) * (ai - bi);
    const T orr = T(0.5) * (ai + bi), oi = T(0.5) * (br - ar);
    // W = c - i*s
    const T t1 = c * orr + s * oi, t2 = c * oi - s * orr;
    re[k] = er + t1;
    im[k] = ei + t2;
    re[M - k] = er - t1;
    im[M - k] = t2 - ei;
}

// The inverse of SplitPair, doubled, so that the unscaled inverse of M points
// gives N times the signal.
template <class T>
inline void MergePair(T* re, T* im, long k, long M, T c, T s) {
    const T ar = re[k], ai = im[k], br = re[M - k], bi = im[M - k];
    const T er = ar + br, ei = ai - bi;
    const T dr = ar - br, di = ai + bi;
    // conj(W) = c + i*s
    const T orr = dr * c - di * s, oi = dr * s + di * c;
    re[k] = er - oi;
    im[k] = ei + orr;
    re[M - k] = er + oi;
    im[M - k] = orr - ei;
}

#ifdef KV_FFT_SSE
inline __m128 Reverse(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }

// Four pairs at once: k..k+3 against M-k-3..M-k (loaded and stored reversed).
// Returns the first k not done; needs the two blocks not to overlap.
long SplitPairsSse(float* re, float* im, long M, const float* cosT, const float* sinT) {
    const __m128 half = _mm_set1_ps(0.5f);
    long k = 1;
    for (; 2 * k + 7 <= M; k += 4) {
        const __m128 ar = _mm_loadu_ps(re + k), ai = _mm_loadu_ps(im + k);
        const __m128 br = Reverse(_mm_loadu_ps(re + M - k - 3)), bi = Reverse(_mm_loadu_ps(im + M - k - 3));
        const __m128 c = _mm_loadu_ps(cosT + k), s = _mm_loadu_ps(sinT + k);
        const __m128 er = _mm_mul_ps(half, _mm_add_ps(ar, br)), ei = _mm_mul_ps(half, _mm_sub_ps(ai, bi));
        const __m128 orr = _mm_mul_ps(half, _mm_add_ps(ai, bi)), oi = _mm_mul_ps(half, _mm_sub_ps(br, ar));
        const __m128 t1 = _mm_add_ps(_mm_mul_ps(c, orr), _mm_mul_ps(s, oi));
        const __m128 t2 = _mm_sub_ps(_mm_mul_ps(c, oi), _mm_mul_ps(s, orr));
        _mm_storeu_ps(re + k, _mm_add_ps(er, t1));
        _mm_storeu_ps(im + k, _mm_add_ps(ei, t2));
        _mm_storeu_ps(re + M - k - 3, Reverse(_mm_sub_ps(er, t1)));
        _mm_storeu_ps(im + M - k - 3, Reverse(_mm_sub_ps(t2, ei)));
    }
    return k;
}

long MergePairsSse(float* re, float* im, long M, const float* cosT, const float* sinT) {
    long k = 1;
    for (; 2 * k + 7 <= M; k += 4) {
        const __m128 ar = _mm_loadu_ps(re + k), ai = _mm_loadu_ps(im + k);
        const __m128 br = Reverse(_mm_loadu_ps(re + M - k - 3)), bi = Reverse(_mm_loadu_ps(im + M - k - 3));
        const __m128 c = _mm_loadu_ps(cosT + k), s = _mm_loadu_ps(sinT + k);
        const __m128 er = _mm_add_ps(ar, br), ei = _mm_sub_ps(ai, bi);
        const __m128 dr = _mm_sub_ps(ar, br), di = _mm_add_ps(ai, bi);
        const __m128 orr = _mm_sub_ps(_mm_mul_ps(dr, c), _mm_mul_ps(di, s));
        const __m128 oi = _mm_add_ps(_mm_mul_ps(dr, s), _mm_mul_ps(di, c));
        _mm_storeu_ps(re + k, _mm_sub_ps(er, oi));
        _mm_storeu_ps(im + k, _mm_add_ps(ei, orr));
        _mm_storeu_ps(re + M - k - 3, Reverse(_mm_add_ps(er, oi)));
        _mm_storeu_ps(im + M - k - 3, Reverse(_mm_sub_ps(orr, ei)));
    }
    return k;
}
#endif

template <class T>
void Deinterleave(const T* in, T* even, T* odd, long M) {
    long n = 0;
#ifdef KV_FFT_SSE
    if constexpr (std::is_same_v<T, float>) {
        for (; n + 4 <= M; n += 4) {
            const __m128 a = _mm_loadu_ps(in + 2 * n), b = _mm_loadu_ps(in + 2 * n + 4);
            _mm_storeu_ps(even + n, _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
            _mm_storeu_ps(odd + n, _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
        }
    }
#endif
    for (; n < M; ++n) {
        even[n] = in[2 * n];
        odd[n] = in[2 * n + 1];
    }
}

template <class T>
void Interleave(const T* even, const T* odd, T* out, long M) {
    long n = 0;
#ifdef KV_FFT_SSE
    if constexpr (std::is_same_v<T, float>) {
        for (; n + 4 <= M; n += 4) {
            const __m128 a = _mm_loadu_ps(even + n), b = _mm_loadu_ps(odd + n);
            _mm_storeu_ps(out + 2 * n, _mm_unpacklo_ps(a, b));
            _mm_storeu_ps(out + 2 * n + 4, _mm_unpackhi_ps(a, b));
        }
    }
#endif
    for (; n < M; ++n) {
        out[2 * n] = even[n];
        out[2 * n + 1] = odd[n];
    }
}

}  // namespace

template <class T>
void LRealFFTOf<T>::Forward(const T* in, T* re, T* im) {
    const long M = half_;
    Deinterleave(in, re, im, M);
    complex_.DoFFT(re, im);
    const T z0r = re[0], z0i = im[0];
    re[0] = z0r + z0i;
    im[0] = 0;
    re[M] = z0r - z0i;
    im[M] = 0;
    long k = 1;
#ifdef KV_FFT_SSE
    if constexpr (std::is_same_v<T, float>) k = SplitPairsSse(re, im, M, cos_.data(), sin_.data());
#endif
    for (; 2 * k < M; ++k) SplitPair(re, im, k, M, cos_[k], sin_[k]);
    // The middle bin pairs with itself: X[M/2] = conj(Z[M/2]).
    if (M >= 2) im[M / 2] = -im[M / 2];
}

template <class T>
void LRealFFTOf<T>::Inverse(T* re, T* im, T* out) {
    const long M = half_;
    const T x0 = re[0], xm = re[M];
    re[0] = x0 + xm;
    im[0] = x0 - xm;
    long k = 1;
#ifdef KV_FFT_SSE
    if constexpr (std::is_same_v<T, float>) k = MergePairsSse(re, im, M, cos_.data(), sin_.data());
#endif
    for (; 2 * k < M; ++k) MergePair(re, im, k, M, cos_[k], sin_[k]);
    if (M >= 2) {
        re[M / 2] *= 2;
        im[M / 2] *= -2;
    }
    complex_.DoInverseFFT(re, im);
    Interleave(re, im, out, M);
}

template class LFFTOf<float>;
template class LFFTOf<double>;
template class LRealFFTOf<float>;
template class LRealFFTOf<double>;
