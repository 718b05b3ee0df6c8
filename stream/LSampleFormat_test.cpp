#include "stream/LSampleFormat.h"

#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

namespace {

// Independent statement of the 16-bit rounding: half away from zero in double.
long long Reference16(float f) {
    return static_cast<long long>(std::trunc(static_cast<double>(f * 32767.0f) + (f < 0 ? -0.5 : 0.5)));
}

long long Reference32(float f) {
    return static_cast<long long>(std::trunc(static_cast<double>(f) * 2147483647.0 + (f < 0 ? -0.5 : 0.5)));
}

std::vector<float> RandomFloats(size_t n, float range, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-range, range);
    std::vector<float> v(n);
    for (auto& x : v) x = dist(rng);
    return v;
}

TEST(SampleFormat, TypesHaveTheirFileSize) {
    EXPECT_EQ(sizeof(LSFLE24[10]), 30u);
    EXPECT_EQ(sizeof(LSFBE24[10]), 30u);
    EXPECT_EQ(sizeof(LSFFRE64[3]), 24u);
}

TEST(SampleFormat, Int16RoundsHalfAwayFromZeroInBlocksAndTail) {
    // 1003 values: 125 full blocks and a tail of three, none out of range.
    std::vector<float> in = RandomFloats(1003, 1.0f, 1);
    in[0] = 0.5f / 32767.0f;
    in[1] = -0.5f / 32767.0f;
    in[2] = -0.0f;
    in[3] = 1.0f;
    in[4] = -1.0f;
    in[1002] = 0.49999997f / 32767.0f;  // just below a half step, in the tail
    std::vector<LSF16> out(in.size());
    ConvertSamplesOut(out.data(), in.data(), static_cast<long long>(in.size()));
    for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(out[i].value, Reference16(in[i])) << "at " << i << " " << in[i];
    EXPECT_EQ(out[3].value, 32767);
    EXPECT_EQ(out[4].value, -32767);
}

TEST(SampleFormat, Int16SaturatesInBlocksButWrapsInTheTail) {
    std::vector<float> in(11, 0.0f);
    in[0] = 1.5f;
    in[1] = -1.5f;
    in[2] = 1.0e12f;
    in[3] = -1.0e12f;
    in[8] = 1.5f;   // tail of three values
    in[9] = -1.5f;
    in[10] = 1.0001f;
    std::vector<LSF16> out(in.size());
    ConvertSamplesOut(out.data(), in.data(), static_cast<long long>(in.size()));
    EXPECT_EQ(out[0].value, 32767);
    EXPECT_EQ(out[1].value, -32768);
    EXPECT_EQ(out[2].value, 32767);
    EXPECT_EQ(out[3].value, -32768);
    EXPECT_EQ(out[8].value, static_cast<int16_t>(49151));   // wrapped
    EXPECT_EQ(out[9].value, static_cast<int16_t>(-49151));
    EXPECT_EQ(out[10].value, static_cast<int16_t>(Reference16(1.0001f)));

    std::vector<LSFBE16> be(in.size());
    ConvertSamplesOut(be.data(), in.data(), static_cast<long long>(in.size()));
    EXPECT_EQ(be[0].bytes[0], 0x7F);
    EXPECT_EQ(be[0].bytes[1], 0xFF);
    EXPECT_EQ(static_cast<int16_t>(be[8].bytes[0] << 8 | be[8].bytes[1]), static_cast<int16_t>(49151));
}

TEST(SampleFormat, Int16RoundTripIsExact) {
    std::vector<LSF16> all(65536);
    for (int v = -32768; v < 32768; ++v) all[v + 32768].value = static_cast<int16_t>(v);
    std::vector<float> f(all.size());
    ConvertSamplesIn(f.data(), all.data(), static_cast<long long>(all.size()));
    EXPECT_LT(f[0], -1.0f);  // -32768 reads a little below full scale
    std::vector<LSF16> back(all.size());
    ConvertSamplesOut(back.data(), f.data(), static_cast<long long>(f.size()));
    for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(back[i].value, all[i].value);
}

TEST(SampleFormat, ReadingDividesExactly) {
    std::vector<LSF16> all16(65536);
    for (int v = 0; v < 65536; ++v) all16[v].value = static_cast<int16_t>(v - 32768);
    std::vector<float> f(all16.size());
    ConvertSamplesIn(f.data(), all16.data(), 65536);
    for (int v = 0; v < 65536; ++v) ASSERT_EQ(f[v], static_cast<float>(v - 32768) / 32767.0f);

    const long long n = 1 << 24;  // every 24-bit value
    std::vector<LSFLE24> all24(static_cast<size_t>(n));
    for (long long u = 0; u < n; ++u) std::memcpy(all24[u].bytes, &u, 3);
    std::vector<float> g(static_cast<size_t>(n));
    ConvertSamplesIn(g.data(), all24.data(), n);
    for (long long u = 0; u < n; ++u) {
        const int32_t word = static_cast<int32_t>(static_cast<uint32_t>(u) << 8);
        ASSERT_EQ(g[u], static_cast<float>(static_cast<double>(word) / 2147483647.0)) << u;
    }
}

TEST(SampleFormat, Int24KeepsTheTopThreeBytesOfTheRoundedWord) {
    std::vector<float> in = RandomFloats(21, 1.0f, 2);
    in[0] = 1.0f;
    in[1] = -1.0f;
    in[2] = 0.5f;
    std::vector<LSFLE24> le(in.size());
    std::vector<LSFBE24> be(in.size());
    std::vector<LSF32> w(in.size());
    ConvertSamplesOut(le.data(), in.data(), 21);
    ConvertSamplesOut(be.data(), in.data(), 21);
    ConvertSamplesOut(w.data(), in.data(), 21);
    for (size_t i = 0; i < in.size(); ++i) {
        const uint32_t word = static_cast<uint32_t>(Reference32(in[i]));
        ASSERT_EQ(static_cast<uint32_t>(w[i].value), word);
        EXPECT_EQ(le[i].bytes[0], uint8_t(word >> 8));
        EXPECT_EQ(le[i].bytes[1], uint8_t(word >> 16));
        EXPECT_EQ(le[i].bytes[2], uint8_t(word >> 24));
        EXPECT_EQ(be[i].bytes[0], uint8_t(word >> 24));
        EXPECT_EQ(be[i].bytes[2], uint8_t(word >> 8));
    }
    EXPECT_EQ(le[0].bytes[2], 0x7F);
    EXPECT_EQ(le[0].bytes[0], 0xFF);
    EXPECT_EQ(le[2].bytes[2], 0x40);  // 0.5 -> 0x40000000
    EXPECT_EQ(le[2].bytes[0], 0x00);

    std::vector<float> back(in.size());
    ConvertSamplesIn(back.data(), le.data(), 21);
    std::vector<float> backBe(in.size());
    ConvertSamplesIn(backBe.data(), be.data(), 21);
    for (size_t i = 0; i < in.size(); ++i) {
        EXPECT_NEAR(back[i], in[i], 1.0 / (1 << 22));
        EXPECT_EQ(back[i], backBe[i]);
    }
}

TEST(SampleFormat, Int32SaturatesOutOfRange) {
    float in[9] = {2.0f, -2.0f, 0, 0, 0, 0, 0, 0, 3.0f};
    LSF32 out[9];
    ConvertSamplesOut(out, in, 9);
    EXPECT_EQ(out[0].value, 2147483647);
    EXPECT_EQ(out[1].value, -2147483647 - 1);
    EXPECT_EQ(out[8].value, 2147483647);
}

TEST(SampleFormat, EightBitAndFloatFormats) {
    const float in[4] = {1.0f, -1.0f, 0.5f, -0.5f};
    LSFU8 u[4];
    LSFS8 s[4];
    LSFBE8 b[4];
    ConvertSamplesOut(u, in, 4);
    ConvertSamplesOut(s, in, 4);
    ConvertSamplesOut(b, in, 4);
    EXPECT_EQ(u[0].value, 255);
    EXPECT_EQ(u[1].value, 1);
    EXPECT_EQ(u[2].value, 191);  // 63.5 + 128 truncated
    EXPECT_EQ(s[2].value, 64);   // 63.5 rounded away from zero
    EXPECT_EQ(s[3].value, -64);
    EXPECT_EQ(b[2].value, 63);   // plain truncation
    EXPECT_EQ(b[3].value, -63);
    float back[4];
    ConvertSamplesIn(back, u, 4);
    EXPECT_FLOAT_EQ(back[0], 1.0f);
    EXPECT_FLOAT_EQ(back[1], -1.0f);
    const LSFU8 mid{0x80};
    ConvertSamplesIn(back, &mid, 1);
    EXPECT_EQ(back[0], 0.0f);

    LSFFRE32 r32[4];
    LSFFRE64 r64[4];
    ConvertSamplesOut(r32, in, 4);
    ConvertSamplesOut(r64, in, 4);
    EXPECT_EQ(r32[0].bytes[0], 0x3F);  // 1.0f = 3F800000, big-endian
    EXPECT_EQ(r32[0].bytes[1], 0x80);
    EXPECT_EQ(r64[0].bytes[0], 0x3F);  // 1.0 = 3FF0000000000000
    EXPECT_EQ(r64[0].bytes[1], 0xF0);
    ConvertSamplesIn(back, r64, 4);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(back[i], in[i]);
    ConvertSamplesIn(back, r32, 4);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(back[i], in[i]);
}

// sox rounds A-law to 13 bits, adding half a step and flooring, before it
// splits off the sign; its full scale is 32768 where ours is 32256 (516096 /
// 16). At the sample points below the two agree on every code, so a byte that
// differs is a real encoding fault. (Mu-law rounds as sox does and is checked
// at every 16-bit level below.)
struct CompandCase {
    std::vector<float> ours;  // input to our encoder
    std::vector<float> sox;   // the same points on sox's scale
};

CompandCase MakeCompandCase(int bitsDropped) {
    CompandCase c;
    const int step = 1 << bitsDropped;  // 8 for 13 bits
    for (int j = 0; j * step <= 32000; ++j) {
        for (int sign : {1, -1}) {
            // Points where sox's rounding lands on magnitude j; A-law stores
            // negative magnitudes in one's complement, hence its extra step.
            const int sox16 = sign > 0 ? j * step : -(j * step + step);
            c.sox.push_back(static_cast<float>(sox16) / 32768.0f);
            c.ours.push_back(static_cast<float>(sign * (j * step + step / 2)) / 32256.0f);
        }
    }
    return c;
}

std::vector<uint8_t> SoxEncode(const kvtest::TempDir& dir, const std::vector<float>& in, const char* encoding) {
    const std::string raw = dir.File("in.raw"), out = dir.File("out.raw");
    std::vector<uint8_t> bytes(in.size() * 4);
    std::memcpy(bytes.data(), in.data(), bytes.size());
    kvtest::WriteFileBytes(raw, bytes);
    const std::string cmd = "sox -t f32 -r 8000 -c 1 " + kvtest::ShellQuote(raw) + " -D -t raw -e " + encoding +
                            " -b 8 " + kvtest::ShellQuote(out);
    EXPECT_EQ(kvtest::RunCommand(cmd), 0) << cmd;
    return kvtest::ReadFileBytes(out);
}

std::vector<float> SoxDecode(const kvtest::TempDir& dir, const char* encoding) {
    const std::string raw = dir.File("codes.raw"), out = dir.File("decoded.raw");
    std::vector<uint8_t> codes(256);
    for (int i = 0; i < 256; ++i) codes[i] = static_cast<uint8_t>(i);
    kvtest::WriteFileBytes(raw, codes);
    const std::string cmd = std::string("sox -t raw -e ") + encoding + " -b 8 -r 8000 -c 1 " +
                            kvtest::ShellQuote(raw) + " -t f32 " + kvtest::ShellQuote(out);
    EXPECT_EQ(kvtest::RunCommand(cmd), 0) << cmd;
    const auto bytes = kvtest::ReadFileBytes(out);
    std::vector<float> f(bytes.size() / 4);
    std::memcpy(f.data(), bytes.data(), f.size() * 4);
    return f;
}

template <class T>
void ExpectEncodingMatchesSox(const char* encoding, int bitsDropped) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const CompandCase c = MakeCompandCase(bitsDropped);
    const auto soxBytes = SoxEncode(dir, c.sox, encoding);
    ASSERT_EQ(soxBytes.size(), c.ours.size());
    std::vector<T> ours(c.ours.size());
    ConvertSamplesOut(ours.data(), c.ours.data(), static_cast<long long>(ours.size()));
    int mismatches = 0;
    for (size_t i = 0; i < ours.size(); ++i)
        if (ours[i].value != soxBytes[i] && ++mismatches < 5)
            ADD_FAILURE() << encoding << " at " << c.ours[i] << ": ours " << int(ours[i].value) << " sox "
                          << int(soxBytes[i]);
    EXPECT_EQ(mismatches, 0);
}

template <class T>
void ExpectDecodingMatchesSox(const char* encoding) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const auto soxValues = SoxDecode(dir, encoding);
    ASSERT_EQ(soxValues.size(), 256u);
    std::vector<T> codes(256);
    for (int i = 0; i < 256; ++i) codes[i].value = static_cast<uint8_t>(i);
    std::vector<float> ours(256);
    ConvertSamplesIn(ours.data(), codes.data(), 256);
    // The same 16-bit level on both scales, for every code.
    for (int i = 0; i < 256; ++i) {
        const double soxLevel = double(soxValues[i]) * 32768.0;
        EXPECT_DOUBLE_EQ(std::round(double(ours[i]) * 32256.0), soxLevel) << "code " << i;
    }
}

TEST(SampleFormat, ALawEncodesLikeSox) { ExpectEncodingMatchesSox<LSFALAW>("a-law", 3); }
TEST(SampleFormat, MuLawDecodesLikeSox) { ExpectDecodingMatchesSox<LSFULAW>("u-law"); }
TEST(SampleFormat, ALawDecodesLikeSox) { ExpectDecodingMatchesSox<LSFALAW>("a-law"); }

TEST(SampleFormat, CompandedCodesSaturate) {
    const float in[2] = {4.0f, -4.0f};
    LSFULAW u[2];
    LSFALAW a[2];
    ConvertSamplesOut(u, in, 2);
    ConvertSamplesOut(a, in, 2);
    EXPECT_EQ(u[0].value, 0x80);
    EXPECT_EQ(u[1].value, 0x00);
    EXPECT_EQ(a[0].value, 0xFF ^ 0x55);
    EXPECT_EQ(a[1].value, 0x7F ^ 0x55);
}

}  // namespace

namespace {

uint8_t ULaw(float f) {
    LSFULAW out;
    ConvertSamplesOut(&out, &f, 1);
    return out.value;
}

// Every 16-bit level gives sox's code: the same level on both full scales
// (ours 32256, sox's 32768), including the half steps where rounding decides
// and the levels beyond the clip.
TEST(SampleFormat, MuLawEncodesEvery16BitLevelLikeSox) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    std::vector<float> ours, sox;
    for (int level = -32768; level <= 32767; ++level) {
        ours.push_back(static_cast<float>(level) / 32256.0f);
        sox.push_back(static_cast<float>(level) / 32768.0f);
    }
    const std::vector<uint8_t> soxBytes = SoxEncode(dir, sox, "u-law");
    ASSERT_EQ(soxBytes.size(), ours.size());
    std::vector<LSFULAW> codes(ours.size());
    ConvertSamplesOut(codes.data(), ours.data(), static_cast<long long>(codes.size()));
    int mismatches = 0;
    for (size_t i = 0; i < codes.size(); ++i) {
        if (codes[i].value != soxBytes[i] && ++mismatches < 5)
            ADD_FAILURE() << "level " << int(i) - 32768 << ": ours " << int(codes[i].value) << " sox " << int(soxBytes[i]);
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(SampleFormat, MuLawTableEdges) {
    // G.711's bias: level 2 (half a 14-bit step) already rounds up to the
    // first code above zero.
    EXPECT_EQ(ULaw(1.0f / 32256.0f), 0xFF);
    EXPECT_EQ(ULaw(2.0f / 32256.0f), 0xFE);
    // Segment 5 decodes from 65472 (4092 in 16-bit steps).
    LSFULAW code{uint8_t(~(5 << 4))};
    float level = 0;
    ConvertSamplesIn(&level, &code, 1);
    EXPECT_DOUBLE_EQ(level, float(65472.0 / 516096.0));
}

}  // namespace
