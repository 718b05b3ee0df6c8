#include "stream/LSampleFormatPaths.h"

#include "base/LCpuFeatures.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using LSampleFormatPaths::Level;

const Level kLevels[] = {Level::Scalar, Level::Sse2, Level::Ssse3, Level::Avx2, Level::Avx512};
const Level kFastLevels[] = {Level::Sse2, Level::Ssse3, Level::Avx2, Level::Avx512};

std::string Name(Level level) {
    switch (level) {
    case Level::Scalar: return "scalar";
    case Level::Sse2: return "sse2";
    case Level::Ssse3: return "ssse3";
    case Level::Avx2: return "avx2";
    case Level::Avx512: return "avx512";
    }
    return "?";
}

// Values that sit on every rounding decision of both writers, beyond full
// scale, and the special values.
std::vector<float> EdgeAndRandomFloats() {
    std::vector<float> v = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, -0.5f, 1.0001f, -1.0001f, 1.5f, -1.5f, 2.0f, -2.0f,
                            1.0e12f, -1.0e12f, std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(),
                            -std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::denorm_min(),
                            -std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max(),
                            std::bit_cast<float>(0x7F800001u), std::bit_cast<float>(0xFFC00001u)};
    for (int k = -40000; k <= 40000; k += 7) {
        const float tie16 = (static_cast<float>(k) + 0.5f) / 32767.0f;
        const float tie32 = static_cast<float>((k * 53.0 + 0.5) / 2147483647.0);
        for (float f : {tie16, tie32}) {
            v.push_back(f);
            v.push_back(std::nextafter(f, 2.0f));
            v.push_back(std::nextafter(f, -2.0f));
        }
    }
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> wide(-4.0f, 4.0f);
    std::uniform_int_distribution<uint32_t> bits;
    for (int i = 0; i < 20000; ++i) {
        v.push_back(wide(rng));
        v.push_back(std::bit_cast<float>(bits(rng)));
    }
    return v;
}

// Converts `in` at `level` and compares byte for byte with the plain loop,
// for every count from 0 to 40 at a few starting points (tails and odd
// pointers), and for the whole array.
template <class T>
void ExpectOutMatchesScalar(Level level, const std::vector<float>& in) {
    auto convert = [&](Level l, size_t offset, size_t n) {
        std::vector<T> out(n + 2);
        std::memset(out.data(), 0xA5, out.size() * sizeof(T));
        if constexpr (sizeof(T) == 2) LSampleFormatPaths::Out16(l, out.data() + 1, in.data() + offset, n);
        else LSampleFormatPaths::Out24(l, out.data() + 1, in.data() + offset, n);
        std::vector<uint8_t> bytes(out.size() * sizeof(T));
        std::memcpy(bytes.data(), out.data(), bytes.size());
        return bytes;
    };
    for (size_t offset : {0, 1, 3, 8, 17})
        for (size_t n = 0; n <= 40; ++n)
            ASSERT_EQ(convert(level, offset, n), convert(Level::Scalar, offset, n))
                << Name(level) << " offset " << offset << " count " << n;
    ASSERT_EQ(convert(level, 1, in.size() - 1), convert(Level::Scalar, 1, in.size() - 1)) << Name(level);
}

TEST(SampleFormatPaths, FastestIsSupported) {
    EXPECT_TRUE(LSampleFormatPaths::IsSupported(Level::Scalar));
    EXPECT_TRUE(LSampleFormatPaths::IsSupported(LSampleFormatPaths::Fastest()));
}

// The conversions dispatch through the program's one processor level: a cap
// there makes them take the lower kernels, with the same results.
TEST(SampleFormatPaths, ConversionsFollowTheProcessorLevelCap) {
    const auto in = EdgeAndRandomFloats();
    std::vector<LSF16> fast(in.size()), capped(in.size());
    ConvertSamplesOut(fast.data(), in.data(), static_cast<long long>(in.size()));
    for (LCpuLevel level : {LCpuLevel::Scalar, LCpuLevel::Sse2, LCpuLevel::Ssse3, LCpuLevel::Avx2}) {
        LCpuLevelScope cap(level);
        if (!cap.IsApplied()) continue;
        EXPECT_EQ(static_cast<int>(LSampleFormatPaths::Fastest()), static_cast<int>(level));
        ConvertSamplesOut(capped.data(), in.data(), static_cast<long long>(in.size()));
        EXPECT_EQ(std::memcmp(fast.data(), capped.data(), fast.size() * sizeof(LSF16)), 0);
    }
}

TEST(SampleFormatPaths, EveryLevelWritesLikeThePlainLoop) {
    const auto in = EdgeAndRandomFloats();
    ASSERT_EQ(in.size() % 2, 1u);  // an odd count leaves a tail everywhere
    for (Level level : kFastLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        ExpectOutMatchesScalar<LSF16>(level, in);
        ExpectOutMatchesScalar<LSFLE24>(level, in);
        ExpectOutMatchesScalar<LSFBE24>(level, in);
    }
}

TEST(SampleFormatPaths, EveryLevelWritesADenseSampleOfAllFloatsLikeThePlainLoop) {
    // Every 4099th bit pattern (a prime stride, so every low-bit pattern and
    // exponent is met), plus every float from 0.999 to just past 1.0 of both signs.
    std::vector<float> in;
    for (uint64_t bits = 0; bits < (uint64_t(1) << 32); bits += 4099) in.push_back(std::bit_cast<float>(uint32_t(bits)));
    for (float f = 0.999f; f <= 1.0001f; f = std::nextafter(f, 2.0f)) {
        in.push_back(f);
        in.push_back(-f);
    }
    if (in.size() % 2 == 0) in.push_back(0.25f);
    for (Level level : kFastLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        ExpectOutMatchesScalar<LSF16>(level, in);
        ExpectOutMatchesScalar<LSFLE24>(level, in);
        ExpectOutMatchesScalar<LSFBE24>(level, in);
    }
}

TEST(SampleFormatPaths, SixteenBitBlocksSaturateAndTheTailWrapsAtEveryLevel) {
    // 16 + 8 + 3: one wide block, one block of eight and a tail.
    std::vector<float> in(27, 1.5f);
    for (size_t i = 1; i < in.size(); i += 2) in[i] = -1.5f;
    for (Level level : kLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        std::vector<LSF16> out(in.size());
        LSampleFormatPaths::Out16(level, out.data(), in.data(), static_cast<long long>(in.size()));
        for (size_t i = 0; i < 24; ++i) ASSERT_EQ(out[i].value, i % 2 ? -32768 : 32767) << Name(level) << " " << i;
        EXPECT_EQ(out[24].value, static_cast<int16_t>(49151)) << Name(level);
        EXPECT_EQ(out[25].value, static_cast<int16_t>(-49151)) << Name(level);
    }
}

TEST(SampleFormatPaths, NaNWritesAsTheLowestValue) {
    std::vector<float> in(16, std::numeric_limits<float>::quiet_NaN());
    in[1] = -in[1];
    for (Level level : kLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        std::vector<LSF16> out16(in.size());
        std::vector<LSFLE24> out24(in.size());
        LSampleFormatPaths::Out16(level, out16.data(), in.data(), 16);
        LSampleFormatPaths::Out24(level, out24.data(), in.data(), 16);
        for (size_t i = 0; i < in.size(); ++i) {
            EXPECT_EQ(out16[i].value, -32768) << Name(level);
            EXPECT_EQ(out24[i].bytes[2], 0x80) << Name(level);
            EXPECT_EQ(out24[i].bytes[0], 0x00) << Name(level);
        }
    }
}

TEST(SampleFormatPaths, EveryLevelReadsEverySixteenBitValueAsTheDivision) {
    // An odd count and an odd start put every value once into a wide block and
    // once into a tail.
    std::vector<LSF16> all(65536 + 13);
    for (size_t i = 0; i < all.size(); ++i) all[i].value = static_cast<int16_t>(i);
    for (Level level : kLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        for (size_t start : {0, 7}) {
            std::vector<float> f(all.size() - start);
            LSampleFormatPaths::In16(level, f.data(), all.data() + start, static_cast<long long>(f.size()));
            for (size_t i = 0; i < f.size(); ++i)
                ASSERT_EQ(f[i], static_cast<float>(all[start + i].value) / 32767.0f) << Name(level) << " " << i;
        }
    }
}

template <class T>
void ExpectEvery24BitValueReadsAsTheDivision(bool bigEndian) {
    const long long n = (1 << 24) + 5;  // every value, then a tail
    std::vector<T> all(static_cast<size_t>(n));
    for (long long u = 0; u < n; ++u) {
        const uint32_t v = static_cast<uint32_t>(u) & 0xFFFFFF;
        const uint8_t le[3] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16)};
        const uint8_t be[3] = {le[2], le[1], le[0]};
        std::memcpy(all[u].bytes, bigEndian ? be : le, 3);
    }
    std::vector<float> f(static_cast<size_t>(n));
    for (Level level : kLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        LSampleFormatPaths::In24(level, f.data(), all.data(), n);
        for (long long u = 0; u < n; ++u) {
            const int32_t word = static_cast<int32_t>(static_cast<uint32_t>(u) << 8);
            ASSERT_EQ(f[u], static_cast<float>(static_cast<double>(word) / 2147483647.0)) << Name(level) << " " << u;
        }
    }
}

TEST(SampleFormatPaths, EveryLevelReadsEveryLittleEndian24BitValueAsTheDivision) {
    ExpectEvery24BitValueReadsAsTheDivision<LSFLE24>(false);
}

TEST(SampleFormatPaths, EveryLevelReadsEveryBigEndian24BitValueAsTheDivision) {
    ExpectEvery24BitValueReadsAsTheDivision<LSFBE24>(true);
}

TEST(SampleFormatPaths, ReadingWritesNothingPastTheCount) {
    // Counts around the 16-value blocks; the kernels' loads stay inside the
    // input too, which the address-sanitizer build checks.
    for (Level level : kLevels) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        for (long long n : {15, 16, 17, 31, 32, 33}) {
            std::vector<LSFLE24> in(static_cast<size_t>(n));
            std::memset(in.data(), 0x11, in.size() * sizeof(LSFLE24));
            std::vector<float> f(static_cast<size_t>(n) + 1, -5.0f);
            LSampleFormatPaths::In24(level, f.data(), in.data(), n);
            EXPECT_EQ(f[static_cast<size_t>(n)], -5.0f) << Name(level);
            EXPECT_EQ(f[static_cast<size_t>(n) - 1], f[0]) << Name(level);
            EXPECT_GT(f[0], 0.0f) << Name(level);
        }
    }
}

}  // namespace
