#include "dsp/LFFT.h"

#include "base/LAssert.h"
#include "base/LCpuFeatures.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <type_traits>

#if defined(__SSE2__)
#include <immintrin.h>
#define KV_FFT_SSE 1
// The vector types are used as template arguments (Cx<__m128>); GCC drops
// their may_alias attribute there, which is harmless for values in registers.
#pragma GCC diagnostic ignored "-Wignored-attributes"
// The AVX helpers return 32-byte vectors; they are always inlined into AVX2
// functions, so the out-of-line ABI the warning is about never arises.
#pragma GCC diagnostic ignored "-Wpsabi"
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
// standing r*s apart. Twiddle j (1..r-1) of sub-sequence p is W_n^(j*p),
// stored at (j-1)*m + p.
template <class T>
struct LFFTOf<T>::Stage {
    int radix = 8;
    long m = 0;
    long s = 0;
    std::vector<T> wr, wi;  // wi holds -sin: forward kernel
};

namespace {

#define KV_FFT_INLINE inline __attribute__((always_inline))

// The butterflies and passes below are written once over a "lane" type V:
// a scalar, or an SSE/AVX vector (GCC vector types take + - * directly). The
// Ops classes give each lane type its loads, stores and broadcasts.
template <class V>
struct Cx {
    V r, i;
};

template <class T>
struct ScalarOps {
    using F = T;
    using V = T;
    static constexpr int kWidth = 1;
    static KV_FFT_INLINE V Load(const T* p) { return *p; }
    static KV_FFT_INLINE void Store(T* p, V v) { *p = v; }
    static KV_FFT_INLINE V Set(T x) { return x; }
    static KV_FFT_INLINE V Broadcast(const T* p) { return *p; }
    static KV_FFT_INLINE Cx<V> LoadPairs(const T* p) { return {p[0], p[1]}; }
};

#ifdef KV_FFT_SSE
struct SseOps {
    using F = float;
    using V = __m128;
    static constexpr int kWidth = 4;
    static KV_FFT_INLINE V Load(const float* p) { return _mm_loadu_ps(p); }
    static KV_FFT_INLINE void Store(float* p, V v) { _mm_storeu_ps(p, v); }
    static KV_FFT_INLINE V Set(float x) { return _mm_set1_ps(x); }
    static KV_FFT_INLINE V Broadcast(const float* p) { return _mm_load1_ps(p); }
    // Four interleaved (re, im) pairs into a re and an im vector.
    static KV_FFT_INLINE Cx<V> LoadPairs(const float* p) {
        const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
        return {_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
    }
    static KV_FFT_INLINE void Transpose(V& a, V& b, V& c, V& d) { _MM_TRANSPOSE4_PS(a, b, c, d); }
    static KV_FFT_INLINE V Reverse(V v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }
};

#if defined(__GNUC__) && defined(__x86_64__)
#define KV_FFT_AVX 1
#define KV_FFT_AVX_TARGET __attribute__((target("avx2,fma")))
// Plain vector-extension code rather than intrinsics: these are only ever
// inlined into functions compiled for AVX2, where they become AVX loads,
// stores and broadcasts; intrinsics would refuse to inline through the
// target-neutral pass templates.
struct AvxOps {
    using F = float;
    using V = __m256;
    typedef float Unaligned __attribute__((vector_size(32), aligned(4), may_alias));
    static constexpr int kWidth = 8;
    static KV_FFT_INLINE V Load(const float* p) { return *reinterpret_cast<const Unaligned*>(p); }
    static KV_FFT_INLINE void Store(float* p, V v) { *reinterpret_cast<Unaligned*>(p) = v; }
    static KV_FFT_INLINE V Set(float x) { return V{x, x, x, x, x, x, x, x}; }
    static KV_FFT_INLINE V Broadcast(const float* p) { return Set(*p); }
    static KV_FFT_INLINE V Reverse(V v) { return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0); }
    // Eight interleaved (re, im) pairs into a re and an im vector.
    static KV_FFT_INLINE Cx<V> LoadPairs(const float* p) {
        const V a = Load(p), b = Load(p + 8);
        return {__builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14),
                __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15)};
    }
    // Rows a, b, c, d become columns within each 128-bit half: afterwards
    // a = [column 0 | column 4], b = [1 | 5], c = [2 | 6], d = [3 | 7].
    static KV_FFT_INLINE void TransposeHalves(V& a, V& b, V& c, V& d) {
        const V t0 = __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
        const V t1 = __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
        const V t2 = __builtin_shufflevector(c, d, 0, 8, 1, 9, 4, 12, 5, 13);
        const V t3 = __builtin_shufflevector(c, d, 2, 10, 3, 11, 6, 14, 7, 15);
        a = __builtin_shufflevector(t0, t2, 0, 1, 8, 9, 4, 5, 12, 13);
        b = __builtin_shufflevector(t0, t2, 2, 3, 10, 11, 6, 7, 14, 15);
        c = __builtin_shufflevector(t1, t3, 0, 1, 8, 9, 4, 5, 12, 13);
        d = __builtin_shufflevector(t1, t3, 2, 3, 10, 11, 6, 7, 14, 15);
    }
    static KV_FFT_INLINE V LowHalves(V a, V b) { return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11); }
    static KV_FFT_INLINE V HighHalves(V a, V b) { return __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15); }
    // y[0..8) as eight rows of eight lanes; stores column l (lane l of
    // every row) at out + 8*l.
    static KV_FFT_INLINE void StoreTransposed(V* y, float* out) {
        TransposeHalves(y[0], y[1], y[2], y[3]);
        TransposeHalves(y[4], y[5], y[6], y[7]);
        for (int l = 0; l < 4; ++l) {
            Store(out + 8 * l, LowHalves(y[l], y[l + 4]));
            Store(out + 8 * (l + 4), HighHalves(y[l], y[l + 4]));
        }
    }
};

bool HasAvx2Fma() { return LCpuFeatures::CanUse(LCpuLevel::Avx2); }
#endif
#endif

template <class V>
KV_FFT_INLINE Cx<V> Mul(Cx<V> a, V wr, V wi) {
    return {a.r * wr - a.i * wi, a.r * wi + a.i * wr};
}

template <class V>
KV_FFT_INLINE void Dft2(const Cx<V>* x, Cx<V>* y) {
    y[0] = {x[0].r + x[1].r, x[0].i + x[1].i};
    y[1] = {x[0].r - x[1].r, x[0].i - x[1].i};
}

template <class V>
KV_FFT_INLINE void Dft4(Cx<V> a, Cx<V> b, Cx<V> c, Cx<V> d, Cx<V>* y) {
    const V apcR = a.r + c.r, apcI = a.i + c.i, amcR = a.r - c.r, amcI = a.i - c.i;
    const V bpdR = b.r + d.r, bpdI = b.i + d.i;
    const V jR = b.i - d.i, jI = d.r - b.r;  // -i*(b - d)
    y[0] = {apcR + bpdR, apcI + bpdI};
    y[1] = {amcR + jR, amcI + jI};
    y[2] = {apcR - bpdR, apcI - bpdI};
    y[3] = {amcR - jR, amcI - jI};
}

// Two four-point transforms of the even and odd inputs, joined by W_8^j.
template <class V>
KV_FFT_INLINE void Dft8(const Cx<V>* x, Cx<V>* y, V h) {
    Cx<V> e[4], o[4];
    Dft4(x[0], x[2], x[4], x[6], e);
    Dft4(x[1], x[3], x[5], x[7], o);
    const Cx<V> t1 = {(o[1].r + o[1].i) * h, (o[1].i - o[1].r) * h};  // W_8 = (1 - i)/sqrt(2)
    const Cx<V> t3 = {(o[3].i - o[3].r) * h, (o[3].r + o[3].i) * h};  // -W_8^3 = (1 + i)/sqrt(2), negated below
    y[0] = {e[0].r + o[0].r, e[0].i + o[0].i};
    y[4] = {e[0].r - o[0].r, e[0].i - o[0].i};
    y[1] = {e[1].r + t1.r, e[1].i + t1.i};
    y[5] = {e[1].r - t1.r, e[1].i - t1.i};
    y[2] = {e[2].r + o[2].i, e[2].i - o[2].r};  // W_8^2 = -i
    y[6] = {e[2].r - o[2].i, e[2].i + o[2].r};
    y[3] = {e[3].r + t3.r, e[3].i - t3.i};
    y[7] = {e[3].r - t3.r, e[3].i + t3.i};
}

constexpr double kSqrtHalf = 0.70710678118654752440;

template <int R, class Ops, class V>
KV_FFT_INLINE void Dft(const Cx<V>* x, Cx<V>* y, V h) {
    if constexpr (R == 2) {
        Dft2(x, y);
    } else if constexpr (R == 4) {
        Dft4(x[0], x[1], x[2], x[3], y);
    } else {
        Dft8(x, y, h);
    }
}

// A pass with s a multiple of the lane width: the q loop runs across lanes
// with one set of twiddles broadcast per p. The last pass (m == 1) has unit
// twiddles and reads and writes the same places, so it may run in place.
template <class Ops, int R, bool kTwiddle, class F>
KV_FFT_INLINE void StridedPass(const F* xr, const F* xi, F* yr, F* yi, long m, long s, const F* twr, const F* twi) {
    using V = typename Ops::V;
    const long sm = s * m;
    const V h = Ops::Set(static_cast<F>(kSqrtHalf));
    for (long p = 0; p < m; ++p) {
        V wr[R - 1], wi[R - 1];
        if constexpr (kTwiddle) {
            for (int j = 0; j < R - 1; ++j) {
                wr[j] = Ops::Broadcast(twr + j * m + p);
                wi[j] = Ops::Broadcast(twi + j * m + p);
            }
        }
        const F* ar = xr + s * p;
        const F* ai = xi + s * p;
        F* outR = yr + R * s * p;
        F* outI = yi + R * s * p;
        for (long q = 0; q < s; q += Ops::kWidth) {
            Cx<V> x[R], y[R];
            for (int k = 0; k < R; ++k) x[k] = {Ops::Load(ar + q + k * sm), Ops::Load(ai + q + k * sm)};
            Dft<R, Ops>(x, y, h);
            Ops::Store(outR + q, y[0].r);
            Ops::Store(outI + q, y[0].i);
            for (int j = 1; j < R; ++j) {
                if constexpr (kTwiddle) y[j] = Mul(y[j], wr[j - 1], wi[j - 1]);
                Ops::Store(outR + q + j * s, y[j].r);
                Ops::Store(outI + q + j * s, y[j].i);
            }
        }
    }
}

template <class Ops, class F>
KV_FFT_INLINE void RunStrided(int radix, const F* xr, const F* xi, F* yr, F* yi, long m, long s, const F* twr,
                              const F* twi) {
    const bool twiddle = m > 1;
    switch (radix * 2 + twiddle) {
    case 4: return StridedPass<Ops, 2, false>(xr, xi, yr, yi, m, s, twr, twi);
    case 5: return StridedPass<Ops, 2, true>(xr, xi, yr, yi, m, s, twr, twi);
    case 8: return StridedPass<Ops, 4, false>(xr, xi, yr, yi, m, s, twr, twi);
    case 9: return StridedPass<Ops, 4, true>(xr, xi, yr, yi, m, s, twr, twi);
    case 16: return StridedPass<Ops, 8, false>(xr, xi, yr, yi, m, s, twr, twi);
    default: return StridedPass<Ops, 8, true>(xr, xi, yr, yi, m, s, twr, twi);
    }
}

#ifdef KV_FFT_AVX
KV_FFT_AVX_TARGET void RunStridedAvx(int radix, const float* xr, const float* xi, float* yr, float* yi, long m,
                                     long s, const float* twr, const float* twi) {
    RunStrided<AvxOps>(radix, xr, xi, yr, yi, m, s, twr, twi);
}
#endif

// Where the first pass reads: split arrays, or interleaved (re, im) pairs.
template <class Ops, class F>
struct SplitInput {
    const F* re;
    const F* im;
    KV_FFT_INLINE Cx<typename Ops::V> operator()(long n) const { return {Ops::Load(re + n), Ops::Load(im + n)}; }
};

template <class Ops, class F>
struct PairInput {
    const F* pairs;
    KV_FFT_INLINE Cx<typename Ops::V> operator()(long n) const { return Ops::LoadPairs(pairs + 2 * n); }
};

// The first pass (s == 1) runs across p, loading each twiddle row as a
// vector. Its outputs y[R*p + j] for the lanes' p form 4x4 (SSE) or 8x8
// (AVX) blocks that are transposed to store contiguously.
template <class Ops, int R, class Input, class F>
KV_FFT_INLINE void FirstPass(Input in, F* yr, F* yi, long m, const F* twr, const F* twi) {
    using V = typename Ops::V;
    constexpr int kW = Ops::kWidth;
    const V h = Ops::Set(static_cast<F>(kSqrtHalf));
    for (long p = 0; p < m; p += kW) {
        Cx<V> x[R], y[R];
        for (int k = 0; k < R; ++k) x[k] = in(p + k * m);
        Dft<R, Ops>(x, y, h);
        for (int j = 1; j < R; ++j) y[j] = Mul(y[j], Ops::Load(twr + (j - 1) * m + p), Ops::Load(twi + (j - 1) * m + p));
        if constexpr (kW == 1) {
            for (int j = 0; j < R; ++j) {
                yr[R * p + j] = y[j].r;
                yi[R * p + j] = y[j].i;
            }
        } else if constexpr (kW == 8) {
            static_assert(R == 8);
            V row[R];
            for (int j = 0; j < R; ++j) row[j] = y[j].r;
            Ops::StoreTransposed(row, yr + R * p);
            for (int j = 0; j < R; ++j) row[j] = y[j].i;
            Ops::StoreTransposed(row, yi + R * p);
        } else {
            static_assert(kW == 4 && R % 4 == 0);
            for (int g = 0; g < R; g += 4) {
                Ops::Transpose(y[g].r, y[g + 1].r, y[g + 2].r, y[g + 3].r);
                Ops::Transpose(y[g].i, y[g + 1].i, y[g + 2].i, y[g + 3].i);
                for (int k = 0; k < 4; ++k) {
                    Ops::Store(yr + R * (p + k) + g, y[g + k].r);
                    Ops::Store(yi + R * (p + k) + g, y[g + k].i);
                }
            }
        }
    }
}

template <class Ops, class Input, class F>
KV_FFT_INLINE void RunFirst(int radix, Input in, F* yr, F* yi, long m, const F* twr, const F* twi) {
    if constexpr (Ops::kWidth == 1)
        if (radix == 2) return FirstPass<Ops, 2>(in, yr, yi, m, twr, twi);
    switch (radix) {
    case 4: return FirstPass<Ops, 4>(in, yr, yi, m, twr, twi);
    default: return FirstPass<Ops, 8>(in, yr, yi, m, twr, twi);
    }
}

#ifdef KV_FFT_AVX
// Eight lanes of p make 8x8 output blocks, so only a radix-8 first pass runs
// here; the pass plan puts radix 8 first wherever the size allows it.
KV_FFT_AVX_TARGET void RunFirstAvx(const float* re, const float* im, float* yr, float* yi, long m, const float* twr,
                                   const float* twi) {
    FirstPass<AvxOps, 8>(SplitInput<AvxOps, float>{re, im}, yr, yi, m, twr, twi);
}

KV_FFT_AVX_TARGET void RunFirstAvx(const float* pairs, float* yr, float* yi, long m, const float* twr,
                                   const float* twi) {
    FirstPass<AvxOps, 8>(PairInput<AvxOps, float>{pairs}, yr, yi, m, twr, twi);
}
#endif

// Radices of the passes, first to last: radix 8 wherever possible. The
// first pass is radix 8 so that every later pass has s a multiple of eight
// and runs full AVX lanes; the one or two radix-4 passes the order leaves
// over come right after it. (Measured: a radix-4 first pass costs a
// four-wide second pass, about 30% at 1024 points; radix-4 passes in second
// place are at least as fast as at the end, and a radix-16 pass spills
// registers.)
std::vector<int> Radices(unsigned long order) {
    switch (order) {
    case 0: return {};
    case 1: return {2};
    case 2: return {4};
    case 4: return {4, 4};
    default: break;
    }
    std::vector<int> radices = {8};
    unsigned long left = order - 3;
    if (left % 3 == 1) {
        radices.insert(radices.end(), {4, 4});
        left -= 4;
    } else if (left % 3 == 2) {
        radices.push_back(4);
        left -= 2;
    }
    for (; left > 0; left -= 3) radices.push_back(8);
    return radices;
}

}  // namespace

template <class T>
LFFTOf<T>::LFFTOf(unsigned long order)
    : order_(order), size_(1L << (order > kMaxOrder ? 0 : order)), path_(LFFTPath::Portable) {
    if (order > kMaxOrder) throw std::invalid_argument("FFT order out of range");
    if constexpr (std::is_same_v<T, float>) {
#ifdef KV_FFT_SSE
        if (LCpuFeatures::CanUse(LCpuLevel::Sse2)) path_ = LFFTPath::Sse2;
#endif
#ifdef KV_FFT_AVX
        if (HasAvx2Fma()) path_ = LFFTPath::Avx2;
#endif
    }
    long n = size_;
    long s = 1;
    for (int radix : Radices(order)) {
        Stage st;
        st.radix = radix;
        st.m = n / radix;
        st.s = s;
        st.wr.resize((radix - 1) * st.m);
        st.wi.resize((radix - 1) * st.m);
        for (int j = 1; j < radix; ++j)
            for (long p = 0; p < st.m; ++p) {
                st.wr[(j - 1) * st.m + p] = static_cast<T>(TwiddleCos(j * p, n));
                st.wi[(j - 1) * st.m + p] = static_cast<T>(-TwiddleSin(j * p, n));
            }
        stages_.push_back(std::move(st));
        n /= radix;
        s *= radix;
    }
    if (stages_.size() > 1) {
        // One block for both work arrays, aligned to a cache line, with the
        // imaginary parts set off by a little over half a page: passes stream
        // from both arrays at power-of-two strides, and equal page offsets
        // would put all those streams into the same L1 cache sets.
        const long lineFloats = 64 / sizeof(T);
        const long gap = 2048 / sizeof(T) + lineFloats;
        work_.resize(2 * size_ + gap + lineFloats);
        T* base = work_.data();
        while (reinterpret_cast<uintptr_t>(base) % 64 != 0) ++base;
        workRe_ = base;
        workIm_ = base + size_ + gap;
    }
}

template <class T>
LFFTOf<T>::~LFFTOf() = default;

template <class T>
bool LFFTOf<T>::ForcePathForTesting(LFFTPath path) {
    bool ok = path == LFFTPath::Portable;
    if constexpr (std::is_same_v<T, float>) {
#ifdef KV_FFT_SSE
        ok = ok || (path == LFFTPath::Sse2 && LCpuFeatures::CanUse(LCpuLevel::Sse2));
#endif
#ifdef KV_FFT_AVX
        ok = ok || (path == LFFTPath::Avx2 && HasAvx2Fma());
#endif
    }
    if (ok) path_ = path;
    return ok;
}

template <class T>
void LFFTOf<T>::DoFFT(T* re, T* im) {
    KV_ASSERT(re != nullptr && im != nullptr);
    RunStages(nullptr, re, im);
}

template <class T>
void LFFTOf<T>::RunStages(const T* pairs, T* re, T* im) {
    const size_t count = stages_.size();
    if (count == 0) {
        if (pairs) {
            re[0] = pairs[0];
            im[0] = pairs[1];
        }
        return;
    }
    // Passes ping-pong between the caller's arrays and the work arrays. The
    // last pass has unit twiddles and may run in place, which lets it land the
    // result in the caller's arrays whatever the parity of the pass count.
    const T* srcR = pairs ? pairs : re;
    const T* srcI = pairs ? pairs : im;
    for (size_t k = 0; k < count; ++k) {
        const Stage& st = stages_[k];
        const bool last = k + 1 == count;
        T* dstR = last ? re : (srcR == re ? workRe_ : re);
        T* dstI = last ? im : (srcI == im ? workIm_ : im);
        const T* twr = st.wr.data();
        const T* twi = st.wi.data();
        if (k == 0) {
            // s == 1
#ifdef KV_FFT_AVX
            if constexpr (std::is_same_v<T, float>) {
                if (path_ == LFFTPath::Avx2 && st.m % 8 == 0 && st.radix == 8) {
                    if (pairs)
                        RunFirstAvx(pairs, dstR, dstI, st.m, twr, twi);
                    else
                        RunFirstAvx(re, im, dstR, dstI, st.m, twr, twi);
                    srcR = dstR;
                    srcI = dstI;
                    continue;
                }
            }
#endif
#ifdef KV_FFT_SSE
            if constexpr (std::is_same_v<T, float>) {
                if (path_ != LFFTPath::Portable && st.m % 4 == 0 && st.radix >= 4) {
                    if (pairs)
                        RunFirst<SseOps>(st.radix, PairInput<SseOps, T>{pairs}, dstR, dstI, st.m, twr, twi);
                    else
                        RunFirst<SseOps>(st.radix, SplitInput<SseOps, T>{re, im}, dstR, dstI, st.m, twr, twi);
                    srcR = dstR;
                    srcI = dstI;
                    continue;
                }
            }
#endif
            using Ops = ScalarOps<T>;
            // A single pass (m == 1) writes where it reads, after reading.
            if (pairs)
                RunFirst<Ops>(st.radix, PairInput<Ops, T>{pairs}, dstR, dstI, st.m, twr, twi);
            else
                RunFirst<Ops>(st.radix, SplitInput<Ops, T>{re, im}, dstR, dstI, st.m, twr, twi);
        } else {
            bool done = false;
            if constexpr (std::is_same_v<T, float>) {
#ifdef KV_FFT_AVX
                if (!done && path_ == LFFTPath::Avx2 && st.s % 8 == 0) {
                    RunStridedAvx(st.radix, srcR, srcI, dstR, dstI, st.m, st.s, twr, twi);
                    done = true;
                }
#endif
#ifdef KV_FFT_SSE
                if (!done && path_ != LFFTPath::Portable && st.s % 4 == 0) {
                    RunStrided<SseOps>(st.radix, srcR, srcI, dstR, dstI, st.m, st.s, twr, twi);
                    done = true;
                }
#endif
            }
            if (!done) RunStrided<ScalarOps<T>>(st.radix, srcR, srcI, dstR, dstI, st.m, st.s, twr, twi);
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

// SplitPair and MergePair on W = Ops::kWidth pairs at once: k..k+W-1
// against M-k-W+1..M-k (loaded and stored reversed). They return the first k
// not done; the two blocks never overlap.
template <class Ops>
KV_FFT_INLINE long SplitPairsWide(float* re, float* im, long M, const float* cosT, const float* sinT) {
    using V = typename Ops::V;
    constexpr long kW = Ops::kWidth;
    const V half = Ops::Set(0.5f);
    long k = 1;
    for (; 2 * k + 2 * kW - 1 <= M; k += kW) {
        const long back = M - k - kW + 1;
        const V ar = Ops::Load(re + k), ai = Ops::Load(im + k);
        const V br = Ops::Reverse(Ops::Load(re + back)), bi = Ops::Reverse(Ops::Load(im + back));
        const V c = Ops::Load(cosT + k), s = Ops::Load(sinT + k);
        const V er = half * (ar + br), ei = half * (ai - bi);
        const V orr = half * (ai + bi), oi = half * (br - ar);
        const V t1 = c * orr + s * oi, t2 = c * oi - s * orr;
        Ops::Store(re + k, er + t1);
        Ops::Store(im + k, ei + t2);
        Ops::Store(re + back, Ops::Reverse(er - t1));
        Ops::Store(im + back, Ops::Reverse(t2 - ei));
    }
    return k;
}

template <class Ops>
KV_FFT_INLINE long MergePairsWide(float* re, float* im, long M, const float* cosT, const float* sinT) {
    using V = typename Ops::V;
    constexpr long kW = Ops::kWidth;
    long k = 1;
    for (; 2 * k + 2 * kW - 1 <= M; k += kW) {
        const long back = M - k - kW + 1;
        const V ar = Ops::Load(re + k), ai = Ops::Load(im + k);
        const V br = Ops::Reverse(Ops::Load(re + back)), bi = Ops::Reverse(Ops::Load(im + back));
        const V c = Ops::Load(cosT + k), s = Ops::Load(sinT + k);
        const V er = ar + br, ei = ai - bi;
        const V dr = ar - br, di = ai + bi;
        const V orr = dr * c - di * s, oi = dr * s + di * c;
        Ops::Store(re + k, er - oi);
        Ops::Store(im + k, ei + orr);
        Ops::Store(re + back, Ops::Reverse(er + oi));
        Ops::Store(im + back, Ops::Reverse(orr - ei));
    }
    return k;
}

#ifdef KV_FFT_AVX
KV_FFT_AVX_TARGET long SplitPairsAvx(float* re, float* im, long M, const float* cosT, const float* sinT) {
    return SplitPairsWide<AvxOps>(re, im, M, cosT, sinT);
}

KV_FFT_AVX_TARGET long MergePairsAvx(float* re, float* im, long M, const float* cosT, const float* sinT) {
    return MergePairsWide<AvxOps>(re, im, M, cosT, sinT);
}
#endif

// The widest pair loop the path allows; returns the first k left to do.
template <class T>
long SplitPairsFast(LFFTPath path, T* re, T* im, long M, const T* cosT, const T* sinT) {
    if constexpr (std::is_same_v<T, float>) {
#ifdef KV_FFT_AVX
        if (path == LFFTPath::Avx2) return SplitPairsAvx(re, im, M, cosT, sinT);
#endif
#ifdef KV_FFT_SSE
        if (path == LFFTPath::Sse2) return SplitPairsWide<SseOps>(re, im, M, cosT, sinT);
#endif
    }
    (void)path, (void)re, (void)im, (void)M, (void)cosT, (void)sinT;
    return 1;
}

template <class T>
long MergePairsFast(LFFTPath path, T* re, T* im, long M, const T* cosT, const T* sinT) {
    if constexpr (std::is_same_v<T, float>) {
#ifdef KV_FFT_AVX
        if (path == LFFTPath::Avx2) return MergePairsAvx(re, im, M, cosT, sinT);
#endif
#ifdef KV_FFT_SSE
        if (path == LFFTPath::Sse2) return MergePairsWide<SseOps>(re, im, M, cosT, sinT);
#endif
    }
    (void)path, (void)re, (void)im, (void)M, (void)cosT, (void)sinT;
    return 1;
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
    complex_.RunStages(in, re, im);
    const T z0r = re[0], z0i = im[0];
    re[0] = z0r + z0i;
    im[0] = 0;
    re[M] = z0r - z0i;
    im[M] = 0;
    long k = SplitPairsFast(complex_.path_, re, im, M, cos_.data(), sin_.data());
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
    long k = MergePairsFast(complex_.path_, re, im, M, cos_.data(), sin_.data());
    for (; 2 * k < M; ++k) MergePair(re, im, k, M, cos_[k], sin_[k]);
    if (M >= 2) {
        re[M / 2] *= 2;
        im[M / 2] *= -2;
    }
    complex_.DoInverseFFT(re, im);
    Interleave(re, im, out, M);
}

template <class T>
bool LRealFFTOf<T>::ForcePathForTesting(LFFTPath path) {
    return complex_.ForcePathForTesting(path);
}

template class LFFTOf<float>;
template class LFFTOf<double>;
template class LRealFFTOf<float>;
template class LRealFFTOf<double>;
