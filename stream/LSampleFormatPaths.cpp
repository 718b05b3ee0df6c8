#include "stream/LSampleFormatPaths.h"

#include "base/LCpuFeatures.h"

#include "stream/LSampleFormatRules.h"

#include <array>
#include <cstdint>
#include <type_traits>

#if defined(__SSE2__) && (defined(__x86_64__) || defined(__i386__))
#define KV_SAMPLE_X86 1
#include <immintrin.h>
#else
#define KV_SAMPLE_X86 0
#endif

using namespace kv_sample_rules;

namespace LSampleFormatPaths {
namespace {

// Each kernel converts as many whole blocks as it can and returns how many
// values it did; the next lower level goes on from there, down to the plain
// loops, which also take the tail. The blocks of the 16-bit writer are
// multiples of eight, so its saturating blocks and wrapping tail stay where
// the plain loop puts them.

// ------------------------------------------------------------ plain loops

void In16Plain(float* out, const LSF16* in, long long n) {
    for (long long i = 0; i < n; ++i) out[i] = Int16ToFloat(in[i].value);
}

template <class T>
void In24Plain(float* out, const T* in, long long n) {
    for (long long i = 0; i < n; ++i) out[i] = Int32ToFloat(LoadWord24(in[i]));
}

void Out16Plain(LSF16* out, const float* in, long long n) {
    long long i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k) out[i + k].value = Round16Saturate(in[i + k]);
    for (; i < n; ++i) out[i].value = Round16Wrap(in[i]);
}

template <class T>
void Out24Plain(T* out, const float* in, long long n) {
    for (long long i = 0; i < n; ++i) StoreWord24(out[i], Round32(in[i]));
}

#if KV_SAMPLE_X86

// ------------------------------------------------------------------- SSE2

long long In16Sse2(float* out, const LSF16* in, long long n) {
    const __m128 scale = _mm_set1_ps(32767.0f);
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        // Widen by placing each value in the top half and shifting back with its sign.
        const __m128i lo = _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
        const __m128i hi = _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
        _mm_storeu_ps(out + i, _mm_div_ps(_mm_cvtepi32_ps(lo), scale));
        _mm_storeu_ps(out + i + 4, _mm_div_ps(_mm_cvtepi32_ps(hi), scale));
    }
    return i;
}

template <class T>
long long In24Sse2(float* out, const T* in, long long n) {
    const __m128 scale = _mm_set1_ps(0x1p-31f);
    long long i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i words = _mm_setr_epi32(LoadWord24(in[i]), LoadWord24(in[i + 1]), LoadWord24(in[i + 2]),
                                             LoadWord24(in[i + 3]));
        _mm_storeu_ps(out + i, _mm_mul_ps(_mm_cvtepi32_ps(words), scale));
    }
    return i;
}

long long Out16Sse2(LSF16* out, const float* in, long long n) {
    long long i = 0;
    for (; i + 8 <= n; i += 8) Round16Block(in + i, reinterpret_cast<int16_t*>(out + i));
    return i;
}

template <class T>
long long Out24Sse2(T* out, const float* in, long long n) {
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        alignas(16) int32_t block[8];
        Round32Block(in + i, block);
        for (int k = 0; k < 8; ++k) StoreWord24(out[i + k], block[k]);
    }
    return i;
}

// ------------------------------------------------------------------ SSSE3
// pshufb moves the three stored bytes of four values into or out of the top
// of four 32-bit words in one step.

constexpr bool kBigEndian24(const LSFLE24*) { return false; }
constexpr bool kBigEndian24(const LSFBE24*) { return true; }

// Unpacking: four values starting at byte `offset` of a 16-byte load become
// four words with the low byte zero.
template <class T>
constexpr std::array<int8_t, 16> UnpackMask(int offset) {
    std::array<int8_t, 16> m{};
    constexpr bool big = kBigEndian24(static_cast<const T*>(nullptr));
    for (int k = 0; k < 4; ++k) {
        m[4 * k] = -128;  // zero
        for (int j = 0; j < 3; ++j) m[4 * k + 1 + j] = static_cast<int8_t>(offset + 3 * k + (big ? 2 - j : j));
    }
    return m;
}

// Packing: the top three bytes of four words go to bytes 0..11, the rest is zero.
template <class T>
constexpr std::array<int8_t, 16> PackMask() {
    std::array<int8_t, 16> m{};
    constexpr bool big = kBigEndian24(static_cast<const T*>(nullptr));
    for (int k = 0; k < 4; ++k)
        for (int j = 0; j < 3; ++j) m[3 * k + j] = static_cast<int8_t>(4 * k + (big ? 3 - j : 1 + j));
    for (int b = 12; b < 16; ++b) m[b] = -128;
    return m;
}

inline __m128i LoadMask(const std::array<int8_t, 16>& m) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(m.data()));
}

template <class T>
__attribute__((target("ssse3"))) long long In24Ssse3(float* out, const T* in, long long n) {
    static constexpr auto kMask0 = UnpackMask<T>(0);
    static constexpr auto kMask4 = UnpackMask<T>(4);
    const __m128i mask0 = LoadMask(kMask0), mask4 = LoadMask(kMask4);
    const __m128 scale = _mm_set1_ps(0x1p-31f);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        // 48 bytes; the last four values are loaded from byte 32 so that no
        // load reaches past the block.
        const uint8_t* p = in[i].bytes;
        const __m128i w0 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), mask0);
        const __m128i w1 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12)), mask0);
        const __m128i w2 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 24)), mask0);
        const __m128i w3 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32)), mask4);
        _mm_storeu_ps(out + i, _mm_mul_ps(_mm_cvtepi32_ps(w0), scale));
        _mm_storeu_ps(out + i + 4, _mm_mul_ps(_mm_cvtepi32_ps(w1), scale));
        _mm_storeu_ps(out + i + 8, _mm_mul_ps(_mm_cvtepi32_ps(w2), scale));
        _mm_storeu_ps(out + i + 12, _mm_mul_ps(_mm_cvtepi32_ps(w3), scale));
    }
    return i;
}

template <class T>
__attribute__((target("ssse3"))) long long Out24Ssse3(T* out, const float* in, long long n) {
    static constexpr auto kPack = PackMask<T>();
    const __m128i pack = LoadMask(kPack);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i g0 = _mm_shuffle_epi8(Round32Quad(in + i), pack);
        const __m128i g1 = _mm_shuffle_epi8(Round32Quad(in + i + 4), pack);
        const __m128i g2 = _mm_shuffle_epi8(Round32Quad(in + i + 8), pack);
        const __m128i g3 = _mm_shuffle_epi8(Round32Quad(in + i + 12), pack);
        __m128i* p = reinterpret_cast<__m128i*>(out[i].bytes);
        _mm_storeu_si128(p, _mm_or_si128(g0, _mm_slli_si128(g1, 12)));
        _mm_storeu_si128(p + 1, _mm_or_si128(_mm_srli_si128(g1, 4), _mm_slli_si128(g2, 8)));
        _mm_storeu_si128(p + 2, _mm_or_si128(_mm_srli_si128(g2, 8), _mm_slli_si128(g3, 4)));
    }
    return i;
}

// ------------------------------------------------------------------- AVX2

// The only kernel built with FMA: its fused steps are written out, and the
// plain rounding rules are never inlined into it.
__attribute__((target("avx2,fma"))) long long In16Avx2(float* out, const LSF16* in, long long n) {
    // q = v * (1/32767) is up to one step off v / 32767; one correction step
    // with the exact residual v - q * 32767 gives the correctly rounded
    // quotient for every 16-bit v (the tests check all of them).
    const __m256 divisor = _mm256_set1_ps(32767.0f);
    const __m256 reciprocal = _mm256_set1_ps(1.0f / 32767.0f);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
        const __m256 x[2] = {_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm256_castsi256_si128(v))),
                             _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm256_extracti128_si256(v, 1)))};
        for (int h = 0; h < 2; ++h) {
            const __m256 q = _mm256_mul_ps(x[h], reciprocal);
            const __m256 residual = _mm256_fnmadd_ps(q, divisor, x[h]);
            _mm256_storeu_ps(out + i + 8 * h, _mm256_fmadd_ps(residual, reciprocal, q));
        }
    }
    return i;
}

template <class T>
__attribute__((target("avx2"))) long long In24Avx2(float* out, const T* in, long long n) {
    static constexpr auto kMask0 = UnpackMask<T>(0);
    static constexpr auto kMask4 = UnpackMask<T>(4);
    const __m128i mask0 = LoadMask(kMask0), mask4 = LoadMask(kMask4);
    const __m256i maskLow = _mm256_set_m128i(mask0, mask0);
    const __m256i maskHigh = _mm256_set_m128i(mask4, mask0);
    const __m256 scale = _mm256_set1_ps(0x1p-31f);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        const uint8_t* p = in[i].bytes;
        auto load = [p](int offset) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + offset)); };
        const __m256i w0 = _mm256_shuffle_epi8(_mm256_set_m128i(load(12), load(0)), maskLow);
        const __m256i w1 = _mm256_shuffle_epi8(_mm256_set_m128i(load(32), load(24)), maskHigh);
        _mm256_storeu_ps(out + i, _mm256_mul_ps(_mm256_cvtepi32_ps(w0), scale));
        _mm256_storeu_ps(out + i + 8, _mm256_mul_ps(_mm256_cvtepi32_ps(w1), scale));
    }
    return i;
}

// Eight values rounded as Round16Block, unsaturated 32-bit results.
__attribute__((target("avx2"))) inline __m256i Round16Octet(const float* in) {
    const __m256 x = _mm256_min_ps(
        _mm256_max_ps(_mm256_mul_ps(_mm256_loadu_ps(in), _mm256_set1_ps(32767.0f)), _mm256_set1_ps(-65536.0f)),
        _mm256_set1_ps(65536.0f));
    __m256i t = _mm256_cvttps_epi32(x);
    const __m256 frac = _mm256_sub_ps(x, _mm256_cvtepi32_ps(t));
    t = _mm256_sub_epi32(t, _mm256_castps_si256(_mm256_cmp_ps(frac, _mm256_set1_ps(0.5f), _CMP_GE_OQ)));
    return _mm256_add_epi32(t, _mm256_castps_si256(_mm256_cmp_ps(frac, _mm256_set1_ps(-0.5f), _CMP_LE_OQ)));
}

__attribute__((target("avx2"))) long long Out16Avx2(LSF16* out, const float* in, long long n) {
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        // packs works within each 128-bit lane; the permute restores the order.
        const __m256i packed = _mm256_packs_epi32(Round16Octet(in + i), Round16Octet(in + i + 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_permute4x64_epi64(packed, 0xD8));
    }
    return i;
}

// Eight values rounded as Round32, four doubles at a time.
__attribute__((target("avx2"))) inline __m256i Round32Octet(const float* in) {
    __m128i half[2];
    for (int h = 0; h < 2; ++h) {
        const __m256d x = _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(in + 4 * h)), _mm256_set1_pd(2147483647.0));
        const __m256d x2 =
            _mm256_add_pd(x, _mm256_or_pd(_mm256_set1_pd(0.5), _mm256_and_pd(x, _mm256_set1_pd(-0.0))));
        half[h] = _mm256_cvttpd_epi32(_mm256_min_pd(_mm256_set1_pd(2147483647.0), x2));  // as Round32Half
    }
    return _mm256_set_m128i(half[1], half[0]);
}

template <class T>
__attribute__((target("avx2"))) long long Out24Avx2(T* out, const float* in, long long n) {
    static constexpr auto kPack = PackMask<T>();
    const __m256i pack = _mm256_broadcastsi128_si256(LoadMask(kPack));
    // After the in-lane shuffle each lane holds 12 bytes; this closes the gap.
    const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i a = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(Round32Octet(in + i), pack), join);
        const __m256i b = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(Round32Octet(in + i + 8), pack), join);
        // 48 bytes: a's 32-byte store carries 8 spare bytes that b overwrites,
        // and b goes out as 16 + 8 bytes so nothing lands past the block.
        uint8_t* p = out[i].bytes;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 24), _mm256_castsi256_si128(b));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 40), _mm256_extracti128_si256(b, 1));
    }
    return i;
}

// ----------------------------------------------------------------- AVX-512
// The writers gain: twice the lanes per step for the rounding, and for
// 24 bits one masked store writes the 48 bytes of sixteen values.

// GCC 12's AVX-512 headers fill unused mask lanes from a deliberately
// undefined register and then warn about it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
template <class T>
__attribute__((target("avx512f,avx512bw"))) long long Out24Avx512(T* out, const float* in, long long n) {
    static constexpr auto kPack = PackMask<T>();
    const __m512i pack = _mm512_broadcast_i32x4(LoadMask(kPack));
    const __m512i join = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 15, 15, 15, 15);
    const __m512d scale = _mm512_set1_pd(2147483647.0);
    const __m512i half = _mm512_castpd_si512(_mm512_set1_pd(0.5));
    const __m512i sign = _mm512_castpd_si512(_mm512_set1_pd(-0.0));
    constexpr __mmask64 k48Bytes = (__mmask64(1) << 48) - 1;
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        __m256i words[2];
        for (int h = 0; h < 2; ++h) {
            const __m512d x = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(in + i + 8 * h)), scale);
            // half | (x & sign): +-0.5 with the sign of x, in one logic step
            const __m512d offset = _mm512_castsi512_pd(
                _mm512_ternarylogic_epi64(half, _mm512_castpd_si512(x), sign, 0xF8));
            words[h] = _mm512_cvttpd_epi32(_mm512_min_pd(scale, _mm512_add_pd(x, offset)));  // as Round32Half
        }
        const __m512i all = _mm512_inserti64x4(_mm512_castsi256_si512(words[0]), words[1], 1);
        const __m512i packed = _mm512_permutexvar_epi32(join, _mm512_shuffle_epi8(all, pack));
        _mm512_mask_storeu_epi8(out[i].bytes, k48Bytes, packed);
    }
    return i;
}

// Sixteen values rounded as Round16Block; the narrowing saturates as packs does.
__attribute__((target("avx512f,avx512bw"))) long long Out16Avx512(LSF16* out, const float* in, long long n) {
    const __m512 scale = _mm512_set1_ps(32767.0f);
    const __m512 lo = _mm512_set1_ps(-65536.0f), hi = _mm512_set1_ps(65536.0f);
    const __m512 half = _mm512_set1_ps(0.5f), minusHalf = _mm512_set1_ps(-0.5f);
    const __m512i one = _mm512_set1_epi32(1);
    long long i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m512 x = _mm512_min_ps(_mm512_max_ps(_mm512_mul_ps(_mm512_loadu_ps(in + i), scale), lo), hi);
        __m512i t = _mm512_cvttps_epi32(x);
        const __m512 frac = _mm512_sub_ps(x, _mm512_cvtepi32_ps(t));
        t = _mm512_mask_add_epi32(t, _mm512_cmp_ps_mask(frac, half, _CMP_GE_OQ), t, one);
        t = _mm512_mask_sub_epi32(t, _mm512_cmp_ps_mask(frac, minusHalf, _CMP_LE_OQ), t, one);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm512_cvtsepi32_epi16(t));
    }
    return i;
}
#pragma GCC diagnostic pop

#endif  // KV_SAMPLE_X86

// Runs the kernels from `level` down and finishes with the plain loop.
template <class Out, class In, class Avx2, class Ssse3, class Sse2, class Plain>
void Cascade(Level level, Out* out, const In* in, long long n, Avx2 avx2, Ssse3 ssse3, Sse2 sse2, Plain plain) {
    long long done = 0;
#if KV_SAMPLE_X86
    if (level >= Level::Avx2) done += avx2(out, in, n);
    if (level >= Level::Ssse3) done += ssse3(out + done, in + done, n - done);
    if (level >= Level::Sse2) done += sse2(out + done, in + done, n - done);
#else
    (void)level, (void)avx2, (void)ssse3, (void)sse2;
#endif
    plain(out + done, in + done, n - done);
}

template <class Out, class In>
long long Nothing(Out*, const In*, long long) {
    return 0;
}

}  // namespace

// The levels are the processor levels of LCpuFeatures, one for one.
static_assert(int(Level::Avx512) == int(LCpuLevel::Avx512) && int(Level::Sse2) == int(LCpuLevel::Sse2));

bool IsSupported(Level level) {
    return level == Level::Scalar || (KV_SAMPLE_X86 && static_cast<LCpuLevel>(level) <= LCpuFeatures::Detected());
}

Level Fastest() { return KV_SAMPLE_X86 ? static_cast<Level>(LCpuFeatures::Usable()) : Level::Scalar; }

long long Wide16(Level level, LSF16* out, const float* in, long long n) {
#if KV_SAMPLE_X86
    if (level >= Level::Avx512) return Out16Avx512(out, in, n);
#endif
    (void)level, (void)out, (void)in, (void)n;
    return 0;
}

template <class T>
long long Wide24(Level level, T* out, const float* in, long long n) {
#if KV_SAMPLE_X86
    if (level >= Level::Avx512) return Out24Avx512(out, in, n);
#endif
    (void)level, (void)out, (void)in, (void)n;
    return 0;
}

#if KV_SAMPLE_X86
#define KV_KERNELS(avx2, ssse3, sse2) avx2, ssse3, sse2
#else
#define KV_KERNELS(avx2, ssse3, sse2) nullptr, nullptr, nullptr
#endif

void In16(Level level, float* out, const LSF16* in, long long n) {
    Cascade(level, out, in, n, KV_KERNELS(In16Avx2, (Nothing<float, LSF16>), In16Sse2), In16Plain);
}

void In24(Level level, float* out, const LSFLE24* in, long long n) {
    Cascade(level, out, in, n, KV_KERNELS(In24Avx2<LSFLE24>, In24Ssse3<LSFLE24>, In24Sse2<LSFLE24>),
            In24Plain<LSFLE24>);
}

void In24(Level level, float* out, const LSFBE24* in, long long n) {
    Cascade(level, out, in, n, KV_KERNELS(In24Avx2<LSFBE24>, In24Ssse3<LSFBE24>, In24Sse2<LSFBE24>),
            In24Plain<LSFBE24>);
}

void Out16(Level level, LSF16* out, const float* in, long long n) {
    const long long done = Wide16(level, out, in, n);  // multiples of 16 keep the blocks of eight in place
    out += done, in += done, n -= done;
    Cascade(level, out, in, n, KV_KERNELS(Out16Avx2, (Nothing<LSF16, float>), Out16Sse2), Out16Plain);
}

void Out24(Level level, LSFLE24* out, const float* in, long long n) {
    const long long done = Wide24(level, out, in, n);
    out += done, in += done, n -= done;
    Cascade(level, out, in, n, KV_KERNELS(Out24Avx2<LSFLE24>, Out24Ssse3<LSFLE24>, Out24Sse2<LSFLE24>),
            Out24Plain<LSFLE24>);
}

void Out24(Level level, LSFBE24* out, const float* in, long long n) {
    const long long done = Wide24(level, out, in, n);
    out += done, in += done, n -= done;
    Cascade(level, out, in, n, KV_KERNELS(Out24Avx2<LSFBE24>, Out24Ssse3<LSFBE24>, Out24Sse2<LSFBE24>),
            Out24Plain<LSFBE24>);
}

}  // namespace LSampleFormatPaths
