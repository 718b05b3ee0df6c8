#pragma once
// The per-value rounding rules of the sample conversions, shared by the plain
// loops (LSampleFormat.cpp) and the processor-specific kernels
// (LSampleFormatPaths.cpp). Internal to those two files.
//
// Keep these functions out of code compiled with FMA enabled: the compiler
// would be free to fuse a multiply and an add and change the last bit.
#include "stream/LSampleFormat.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kv_sample_rules {

// Clamps a double into [lo, hi]; NaN goes to lo so that a cast never overflows.
inline double ClampForCast(double x, double lo, double hi) { return x >= lo ? (x <= hi ? x : hi) : lo; }

// trunc(double(f * 32767) +- 0.5), kept wide so that the caller decides
// between saturating and wrapping.
inline long long Round16Wide(float f) {
    const double x = static_cast<double>(f * 32767.0f) + (f < 0 ? -0.5 : 0.5);
    return static_cast<long long>(ClampForCast(x, -4.0e18, 4.0e18));
}

// The tail of the 16-bit writer: plain truncation to 16 bits (wraps).
inline int16_t Round16Wrap(float f) { return static_cast<int16_t>(Round16Wide(f)); }

inline int16_t Round16Saturate(float f) {
    const long long v = Round16Wide(f);
    return static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v));
}

// trunc(double(f) * 2147483647 +- 0.5), saturated to 32 bits: a value out of
// range must not become an arbitrary number in a file.
inline int32_t Round32(float f) {
    const double x = static_cast<double>(f) * 2147483647.0 + (f < 0 ? -0.5 : 0.5);
    return static_cast<int32_t>(ClampForCast(x, -2147483648.0, 2147483647.0));
}

inline float Int16ToFloat(int16_t v) { return static_cast<float>(v) / 32767.0f; }

inline float Int32ToFloat(int32_t v) { return static_cast<float>(static_cast<double>(v) / 2147483647.0); }

// A 24-bit value in the top of a 32-bit word has at most 24 significant bits,
// so float(word) is exact, and so is scaling it by 2^-31. The true quotient
// word / (2^31 - 1) is that number times (1 + 2^-31 + ...), a change far
// below half a float step, so it rounds back to the same float (the tests
// check every 24-bit value against the division).
inline float Int24WordToFloat(int32_t word) { return static_cast<float>(word) * 0x1p-31f; }

// The three stored bytes of a 24-bit value sit in the top of a 32-bit word.
inline int32_t LoadWord24(const LSFLE24& s) {
    return static_cast<int32_t>(uint32_t(s.bytes[0]) << 8 | uint32_t(s.bytes[1]) << 16 | uint32_t(s.bytes[2]) << 24);
}
inline int32_t LoadWord24(const LSFBE24& s) {
    return static_cast<int32_t>(uint32_t(s.bytes[2]) << 8 | uint32_t(s.bytes[1]) << 16 | uint32_t(s.bytes[0]) << 24);
}
inline void StoreWord24(LSFLE24& s, int32_t v) {
    const uint32_t u = static_cast<uint32_t>(v);
    s.bytes[0] = uint8_t(u >> 8);
    s.bytes[1] = uint8_t(u >> 16);
    s.bytes[2] = uint8_t(u >> 24);
}
inline void StoreWord24(LSFBE24& s, int32_t v) {
    const uint32_t u = static_cast<uint32_t>(v);
    s.bytes[0] = uint8_t(u >> 24);
    s.bytes[1] = uint8_t(u >> 16);
    s.bytes[2] = uint8_t(u >> 8);
}

// Eight values rounded as Round16Saturate.
inline void Round16Block(const float* in, int16_t* out) {
#if defined(__SSE2__)
    // Exact in single precision: x = f * 32767 is a float, and rounding half
    // away from zero equals trunc(x) plus one step when |x - trunc(x)| >= 0.5.
    // The clamp keeps the integer conversion in range (NaN lands on the low
    // end, as in the scalar rule); everything past it saturates anyway.
    const __m128 scale = _mm_set1_ps(32767.0f);
    const __m128 lo = _mm_set1_ps(-65536.0f);
    const __m128 hi = _mm_set1_ps(65536.0f);
    const __m128 half = _mm_set1_ps(0.5f);
    const __m128 minusHalf = _mm_set1_ps(-0.5f);
    __m128i r[2];
    for (int k = 0; k < 2; ++k) {
        const __m128 x = _mm_min_ps(_mm_max_ps(_mm_mul_ps(_mm_loadu_ps(in + 4 * k), scale), lo), hi);
        __m128i t = _mm_cvttps_epi32(x);
        const __m128 frac = _mm_sub_ps(x, _mm_cvtepi32_ps(t));
        t = _mm_sub_epi32(t, _mm_castps_si128(_mm_cmpge_ps(frac, half)));
        t = _mm_add_epi32(t, _mm_castps_si128(_mm_cmple_ps(frac, minusHalf)));
        r[k] = t;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packs_epi32(r[0], r[1]));
#else
    for (int i = 0; i < 8; ++i) out[i] = Round16Saturate(in[i]);
#endif
}

#if defined(__SSE2__)
// Four values rounded as Round32: the product needs double precision (the
// exact f * (2^31 - 1) has up to 55 bits), and the +-0.5 follows its sign
// (-0.0 rounds to 0 either way).
//
// Only the top needs clamping: the conversion turns NaN and everything below
// -2^31 into -2^31 by itself, which is where Round32 puts them. min_pd returns
// its second operand when one is NaN, so NaN must stay second.
inline __m128i Round32Half(__m128 f4, int half) {
    const __m128d d = _mm_cvtps_pd(half == 0 ? f4 : _mm_movehl_ps(f4, f4));
    const __m128d x = _mm_mul_pd(d, _mm_set1_pd(2147483647.0));
    const __m128d x2 = _mm_add_pd(x, _mm_or_pd(_mm_set1_pd(0.5), _mm_and_pd(x, _mm_set1_pd(-0.0))));
    return _mm_cvttpd_epi32(_mm_min_pd(_mm_set1_pd(2147483647.0), x2));
}

inline __m128i Round32Quad(const float* in) {
    const __m128 f = _mm_loadu_ps(in);
    return _mm_unpacklo_epi64(Round32Half(f, 0), Round32Half(f, 1));
}
#endif

// Eight values rounded as Round32.
inline void Round32Block(const float* in, int32_t* out) {
#if defined(__SSE2__)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), Round32Quad(in));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), Round32Quad(in + 4));
#else
    for (int i = 0; i < 8; ++i) out[i] = Round32(in[i]);
#endif
}

}  // namespace kv_sample_rules
