#include "stream/LSampleFormat.h"

#include "stream/LSampleFormatPaths.h"
#include "stream/LSampleFormatRules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

using namespace kv_sample_rules;

namespace {

// ---------------------------------------------------------------------------
// Tables of the companded codes (G.711 segments on a 516096 full scale, that
// is 16 units to a step of a 16-bit sample on a full scale of 32256).

// Mu-law as ITU-T G.711 publishes it, so that files agree with every other
// tool: segment s decodes to ((mantissa << 3) + 132) << s, less the bias 132,
// in 16-bit steps; these bases are that bias part, 2112 * (2^s - 1).
constexpr int kULawDecodeBase[8] = {0, 2112, 6336, 14784, 31680, 65472, 133056, 268224};
// The encoder works on 14-bit magnitudes with the bias 33 added; segment s
// ends at 64 << s.
constexpr int kULawBias14 = 33;
constexpr int kULawClip14 = 8159;
constexpr double kLevel16Scale = kCompandScale / 16.0;  // a float's 16-bit level: 32256 at full scale

constexpr int kALawStep[8] = {256, 256, 512, 1024, 2048, 4096, 8192, 16384};
constexpr int kALawDecodeBase[8] = {128, 4224, 8448, 16896, 33792, 67584, 135168, 270336};
constexpr int kALawEncodeBase[8] = {0, 4096, 8192, 16384, 32768, 65536, 131072, 262144};

constexpr float CompandedToFloat(bool positive, int magnitude) {
    const double value = positive ? magnitude : -magnitude;
    return static_cast<float>(value / kCompandScale);
}

constexpr std::array<float, 256> MakeULawDecodeTable() {
    std::array<float, 256> table{};
    for (int byte = 0; byte < 256; ++byte) {
        const int m = ~byte & 0xFF;
        const int segment = (m >> 4) & 7;
        const int mantissa = m & 15;
        const int magnitude = (mantissa << (segment + 7)) + kULawDecodeBase[segment];
        table[byte] = CompandedToFloat((byte & 0x80) != 0, magnitude);
    }
    return table;
}

constexpr std::array<float, 256> MakeALawDecodeTable() {
    std::array<float, 256> table{};
    for (int byte = 0; byte < 256; ++byte) {
        const int m = byte ^ 0x55;
        const int segment = (m >> 4) & 7;
        const int mantissa = m & 15;
        const int magnitude = mantissa * kALawStep[segment] + kALawDecodeBase[segment];
        table[byte] = CompandedToFloat((byte & 0x80) != 0, magnitude);
    }
    return table;
}

constexpr std::array<float, 256> kULawDecode = MakeULawDecodeTable();
constexpr std::array<float, 256> kALawDecode = MakeALawDecodeTable();

inline int8_t Round8(float f) {
    const double x = static_cast<double>(f * 127.0f) + (f < 0 ? -0.5 : 0.5);
    return static_cast<int8_t>(static_cast<int>(ClampForCast(x, -1.0e9, 1.0e9)));
}

inline int CompandMagnitude(float f) {
    return static_cast<int>(ClampForCast(static_cast<double>(f) * kCompandScale, -1.0e9, 1.0e9));
}

// Index of the highest segment whose base the magnitude reaches.
inline int Segment(int magnitude, const int (&base)[8]) {
    int segment = 0;
    for (int s = 1; s < 8; ++s) segment += magnitude >= base[s];
    return segment;
}

// The sample as a 14-bit value: half a step is added and the result floored,
// for both signs, as G.711 encoders fed from 16-bit audio do. The level is
// first snapped to 1/64 of a 16-bit step so that a float's own rounding
// error can't move a value sitting exactly on a half step.
inline int ULawLinear14(float f) {
    const double level16 = std::nearbyint(ClampForCast(static_cast<double>(f) * kLevel16Scale * 64.0, -1.0e12, 1.0e12)) / 64.0;
    return static_cast<int>(ClampForCast(std::floor((level16 + 2.0) / 4.0), -8192.0, 8191.0));
}

inline uint8_t EncodeULaw(float f) {
    const int linear = ULawLinear14(f);
    const int mask = linear < 0 ? 0x7F : 0xFF;
    const int magnitude = std::min(linear < 0 ? -linear : linear, kULawClip14) + kULawBias14;
    // Segment s holds magnitudes up to (64 << s) - 1.
    if (magnitude >= (0x40 << 7)) return static_cast<uint8_t>(0x7F ^ mask);  // beyond the last segment
    int segment = 0;
    while (magnitude >= (0x40 << segment)) ++segment;
    const int mantissa = (magnitude >> (segment + 1)) & 0xF;
    return static_cast<uint8_t>((segment << 4 | mantissa) ^ mask);
}

inline uint8_t EncodeALaw(float f) {
    int v = CompandMagnitude(f);
    const int top = v >= 0 ? 0x80 : 0;
    if (v < 0) v = -v;
    const int segment = Segment(v, kALawEncodeBase);
    int mantissa = (v - kALawEncodeBase[segment]) / kALawStep[segment];
    if (mantissa & ~15) mantissa = 15;
    return static_cast<uint8_t>((top | segment << 4 | mantissa) ^ 0x55);
}

inline uint16_t Swap16(uint16_t v) { return static_cast<uint16_t>(v << 8 | v >> 8); }

template <class Bytes>
inline uint32_t LoadBE32(const Bytes& b) {
    return uint32_t(b.bytes[0]) << 24 | uint32_t(b.bytes[1]) << 16 | uint32_t(b.bytes[2]) << 8 | b.bytes[3];
}

inline void StoreBE32(uint8_t* b, uint32_t v) {
    b[0] = uint8_t(v >> 24);
    b[1] = uint8_t(v >> 16);
    b[2] = uint8_t(v >> 8);
    b[3] = uint8_t(v);
}

// Runs `block(i)` for each full block of eight and `single(i)` for the tail.
template <class Block, class Single>
inline void ForBlocks(long long n, Block block, Single single) {
    long long i = 0;
    for (; i + 8 <= n; i += 8) block(i);
    for (; i < n; ++i) single(i);
}

// Elementwise conversion in blocks of eight; the loops are simple enough for
// the compiler to vectorise.
template <class Op>
inline void ForEach(long long n, Op op) {
    long long i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k) op(i + k);
    for (; i < n; ++i) op(i);
}

}  // namespace

// ----------------------------------------------------------------- reading

template <> void ConvertSamplesIn<LSF16>(float* out, const LSF16* in, long long n) {
    LSampleFormatPaths::In16(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesIn<LSFBE16>(float* out, const LSFBE16* in, long long n) {
    ForEach(n, [&](long long i) {
        const int16_t v = static_cast<int16_t>(in[i].bytes[0] << 8 | in[i].bytes[1]);
        out[i] = Int16ToFloat(v);
    });
}

template <> void ConvertSamplesIn<LSF32>(float* out, const LSF32* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = Int32ToFloat(in[i].value); });
}

template <> void ConvertSamplesIn<LSFBE32>(float* out, const LSFBE32* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = Int32ToFloat(static_cast<int32_t>(LoadBE32(in[i]))); });
}

template <> void ConvertSamplesIn<LSFLE24>(float* out, const LSFLE24* in, long long n) {
    LSampleFormatPaths::In24(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesIn<LSFBE24>(float* out, const LSFBE24* in, long long n) {
    LSampleFormatPaths::In24(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesIn<LSFU8>(float* out, const LSFU8* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = static_cast<float>(static_cast<int8_t>(in[i].value ^ 0x80)) / 127.0f; });
}

template <> void ConvertSamplesIn<LSFS8>(float* out, const LSFS8* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = static_cast<float>(in[i].value) / 127.0f; });
}

template <> void ConvertSamplesIn<LSFF32>(float* out, const LSFF32* in, long long n) {
    if (n > 0) std::memcpy(out, in, static_cast<size_t>(n) * sizeof(float));
}

template <> void ConvertSamplesIn<LSFF64>(float* out, const LSFF64* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = static_cast<float>(in[i].value); });
}

template <> void ConvertSamplesIn<LSFFRE32>(float* out, const LSFFRE32* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = std::bit_cast<float>(LoadBE32(in[i])); });
}

template <> void ConvertSamplesIn<LSFFRE64>(float* out, const LSFFRE64* in, long long n) {
    ForEach(n, [&](long long i) {
        uint64_t v = 0;
        for (int b = 0; b < 8; ++b) v = v << 8 | in[i].bytes[b];
        out[i] = static_cast<float>(std::bit_cast<double>(v));
    });
}

template <> void ConvertSamplesIn<LSFULAW>(float* out, const LSFULAW* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = kULawDecode[in[i].value]; });
}

template <> void ConvertSamplesIn<LSFALAW>(float* out, const LSFALAW* in, long long n) {
    ForEach(n, [&](long long i) { out[i] = kALawDecode[in[i].value]; });
}

// ----------------------------------------------------------------- writing

template <> void ConvertSamplesOut<LSF16>(LSF16* out, const float* in, long long n) {
    LSampleFormatPaths::Out16(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesOut<LSFBE16>(LSFBE16* out, const float* in, long long n) {
    auto store = [&](long long i, int16_t v) {
        const uint16_t s = Swap16(static_cast<uint16_t>(v));
        std::memcpy(out[i].bytes, &s, 2);
    };
    ForBlocks(
        n,
        [&](long long i) {
            int16_t block[8];
            Round16Block(in + i, block);
            for (int k = 0; k < 8; ++k) store(i + k, block[k]);
        },
        [&](long long i) { store(i, Round16Wrap(in[i])); });
}

template <> void ConvertSamplesOut<LSF32>(LSF32* out, const float* in, long long n) {
    static_assert(sizeof(LSF32) == sizeof(int32_t));
    ForBlocks(
        n, [&](long long i) { Round32Block(in + i, reinterpret_cast<int32_t*>(out + i)); },
        [&](long long i) { out[i].value = Round32(in[i]); });
}

template <> void ConvertSamplesOut<LSFBE32>(LSFBE32* out, const float* in, long long n) {
    ForBlocks(
        n,
        [&](long long i) {
            int32_t block[8];
            Round32Block(in + i, block);
            for (int k = 0; k < 8; ++k) StoreBE32(out[i + k].bytes, static_cast<uint32_t>(block[k]));
        },
        [&](long long i) { StoreBE32(out[i].bytes, static_cast<uint32_t>(Round32(in[i]))); });
}

template <> void ConvertSamplesOut<LSFLE24>(LSFLE24* out, const float* in, long long n) {
    LSampleFormatPaths::Out24(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesOut<LSFBE24>(LSFBE24* out, const float* in, long long n) {
    LSampleFormatPaths::Out24(LSampleFormatPaths::Fastest(), out, in, n);
}

template <> void ConvertSamplesOut<LSFU8>(LSFU8* out, const float* in, long long n) {
    ForEach(n, [&](long long i) {
        const double x = ClampForCast(in[i] * 127.0f + 128.0f, -1.0e9, 1.0e9);
        out[i].value = static_cast<uint8_t>(static_cast<int>(x));
    });
}

template <> void ConvertSamplesOut<LSFS8>(LSFS8* out, const float* in, long long n) {
    ForEach(n, [&](long long i) { out[i].value = Round8(in[i]); });
}

template <> void ConvertSamplesOut<LSFBE8>(LSFBE8* out, const float* in, long long n) {
    ForEach(n, [&](long long i) {
        const double x = ClampForCast(in[i] * 127.0f, -1.0e9, 1.0e9);
        out[i].value = static_cast<int8_t>(static_cast<int>(x));
    });
}

template <> void ConvertSamplesOut<LSFF32>(LSFF32* out, const float* in, long long n) {
    if (n > 0) std::memcpy(out, in, static_cast<size_t>(n) * sizeof(float));
}

template <> void ConvertSamplesOut<LSFF64>(LSFF64* out, const float* in, long long n) {
    ForEach(n, [&](long long i) { out[i].value = in[i]; });
}

template <> void ConvertSamplesOut<LSFFRE32>(LSFFRE32* out, const float* in, long long n) {
    ForEach(n, [&](long long i) { StoreBE32(out[i].bytes, std::bit_cast<uint32_t>(in[i])); });
}

template <> void ConvertSamplesOut<LSFFRE64>(LSFFRE64* out, const float* in, long long n) {
    ForEach(n, [&](long long i) {
        uint64_t v = std::bit_cast<uint64_t>(static_cast<double>(in[i]));
        for (int b = 7; b >= 0; --b, v >>= 8) out[i].bytes[b] = uint8_t(v);
    });
}

template <> void ConvertSamplesOut<LSFULAW>(LSFULAW* out, const float* in, long long n) {
    ForEach(n, [&](long long i) { out[i].value = EncodeULaw(in[i]); });
}

template <> void ConvertSamplesOut<LSFALAW>(LSFALAW* out, const float* in, long long n) {
    ForEach(n, [&](long long i) { out[i].value = EncodeALaw(in[i]); });
}
