#include "stream/LSPEq.h"
#include "stream/LSRCEq.h"

#include "dsp/LPointList.h"
#include "stream/testing/MemorySource.h"
#include "stream/testing/RampSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

namespace {

std::vector<float> Noise(long long n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

// Reads the rest of a source in calls of awkward sizes.
std::vector<float> ReadAll(LSoundSource& s, long long frames) {
    const int ch = s->GetChannels();
    std::vector<float> out(frames * ch);
    const long long sizes[] = {1, 999, 4096, 12290, 30000};
    long long done = 0;
    for (int i = 0; done < frames; ++i) {
        const long long n = std::min(sizes[i % 5], frames - done);
        s->Read(out.data() + done * ch, n);
        done += n;
    }
    return out;
}

}  // namespace

TEST(LSRCEq, FlatCurvePassesAudioUnchangedWithoutLag) {
    const long long frames = 60000;
    const auto samples = Noise(frames * 2, 1);
    LSoundSource source(new MemorySource(samples, 44100, 2));
    LSPEq flat;
    LSoundSource eq = flat.OpenSource(source);
    ASSERT_TRUE(eq->IsOk());
    EXPECT_EQ(eq->GetEndSample(), frames);
    EXPECT_EQ(eq->GetPositionSample(), 0);
    auto out = ReadAll(eq, frames);
    EXPECT_EQ(eq->GetPositionSample(), frames);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], samples[i], 1e-6) << i;

    eq->Seek(12345);
    EXPECT_EQ(eq->GetPositionSample(), 12345);
    out = ReadAll(eq, frames - 12345);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], samples[12345 * 2 + i], 1e-6) << i;
    // Past the end: silence, as every source gives.
    std::vector<float> tail(200, 1.0f);
    eq->Read(tail.data(), 100);
    for (float v : tail) EXPECT_EQ(v, 0.0f);
}

TEST(LSRCEq, ShapedCurveEqualsZeroPhaseConvolutionAfterSeek) {
    LPointList curve;
    curve.count = 3;
    curve.points[0] = {200.0, 6.0};
    curve.points[1] = {2000.0, -12.0};
    curve.points[2] = {9000.0, 3.0};
    const LSPEq eq = LSPEq::FromPointList(curve, 44100);
    const auto taps = MakeEqTaps(eq.gain);
    const long long frames = 40000;
    const auto samples = Noise(frames, 2);
    LSoundSource source(new MemorySource(samples, 44100, 1));
    LSoundSource filtered = eq.OpenSource(source);
    auto expect = [&](long long p) {
        double sum = 0;
        for (int k = 0; k < kEqTapCount; ++k) {
            const long long i = p + kEqCentreTap - k;
            if (i >= 0 && i < frames) sum += double(taps[k]) * samples[i];
        }
        return sum;
    };
    auto out = ReadAll(filtered, 3000);
    for (long long p : {0LL, 1LL, 100LL, 2047LL, 2999LL}) EXPECT_NEAR(out[p], expect(p), 1e-5) << p;

    filtered->Seek(12345);
    out = ReadAll(filtered, frames - 12345);
    for (long long p : {12345LL, 12346LL, 20000LL, frames - 1}) EXPECT_NEAR(out[p - 12345], expect(p), 1e-5) << p;

    // Read-ahead shows as latency once primed.
    long latency = 0;
    filtered->ControlMessage(ControlAddLatency, &latency);
    EXPECT_EQ(latency, 2047);
}

TEST(LSRCEq, InnerErrorShowsAsError2) {
    LSoundSource broken;  // an error stream
    LSoundSource eq = LSPEq().OpenSource(broken);
    EXPECT_EQ(eq->GetError(), kSourceInnerError);
    std::vector<float> buf(64, 1.0f);
    eq->Read(buf.data(), 64);
    for (float v : buf) EXPECT_EQ(v, 0.0f);
}

// Seeks to the ends of the 64-bit range: the read-ahead and the position
// saturate like every other stage's instead of wrapping around.
TEST(LSRCEq, ExtremeSeeksGiveSilenceAndSaturatedPositions) {
    LSoundSource eq = LSPEq().OpenSource(LSoundSource(new RampSource(1000)));
    std::vector<float> buf(100, 1.0f);
    eq->Seek(LLONG_MIN);
    eq->Read(buf.data(), 100);
    for (float v : buf) EXPECT_EQ(v, 0.0f);
    EXPECT_EQ(eq->GetPositionSample(), LLONG_MIN + 100);

    std::fill(buf.begin(), buf.end(), 1.0f);
    eq->Seek(LLONG_MAX - 5);
    eq->Read(buf.data(), 100);
    for (float v : buf) EXPECT_EQ(v, 0.0f);
    EXPECT_EQ(eq->GetPositionSample(), LLONG_MAX);
}
