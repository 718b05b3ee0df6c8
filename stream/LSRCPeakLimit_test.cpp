#include "stream/LSPPeakLimit.h"
#include "stream/LSRCPeakLimit.h"
#include "stream/testing/MemorySource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

std::vector<float> Sine(double frequency, double amplitude, int rate, int channels, long long frames) {
    std::vector<float> out(static_cast<size_t>(frames) * channels);
    for (long long f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            out[f * channels + c] = static_cast<float>(amplitude * std::sin(2 * M_PI * frequency * f / rate));
    return out;
}

std::vector<float> ReadAll(LSoundSource& source, long long frames) {
    std::vector<float> out(static_cast<size_t>(frames) * source->GetChannels());
    source->Read(out.data(), frames);
    return out;
}

TEST(LSPPeakLimit, CeilingHasTheExpectedBits) {
    uint32_t bits;
    std::memcpy(&bits, &kLimiterCeiling, 4);
    EXPECT_EQ(bits, 0x3F7FFE00u);
}

TEST(LSPPeakLimit, IntegerPcmIsNotWrapped) {
    LSoundSource pcm(new MemorySource({0.5f}, 44100, 1, 0.9999695f));
    EXPECT_EQ(LSPPeakLimit{}.OpenSource(pcm).Get(), pcm.Get());
    LSoundSource unbounded(new MemorySource({0.5f}, 44100, 1));
    LSoundSource limited = LSPPeakLimit{}.OpenSource(unbounded);
    EXPECT_NE(limited.Get(), unbounded.Get());
    EXPECT_EQ(limited->GetPeak(), kLimiterCeiling);
    // The limiter's own peak is its ceiling, so it is never stacked twice.
    EXPECT_EQ(LSPPeakLimit{}.OpenSource(limited).Get(), limited.Get());
}

TEST(LSRCPeakLimit, LoudSineNeverExceedsTheCeilingAndKeepsLengthAndPhase) {
    const int rate = 44100;
    const long long frames = rate * 2;
    std::vector<float> input = Sine(1000, 2.0, rate, 2, frames);
    LSoundSource source = LSPPeakLimit{}.OpenSource(LSoundSource(new MemorySource(input, rate, 2)));
    EXPECT_EQ(source->GetEndSample(), frames);
    std::vector<float> output = ReadAll(source, frames);
    EXPECT_EQ(source->GetPositionSample(), frames);

    float peak = 0;
    for (size_t i = 0; i < output.size(); ++i) {
        peak = std::max(peak, std::fabs(output[i]));
        // Zero lag: the output is the input times a non-negative gain, frame for frame.
        ASSERT_GE(output[i] * input[i], 0.0f) << "at " << i;
        if (input[i] == 0.0f) {
            ASSERT_EQ(output[i], 0.0f);
        }
    }
    EXPECT_LE(peak, kLimiterCeiling);
    EXPECT_GT(peak, 0.99f);  // limited, not muted
}

TEST(LSRCPeakLimit, QuietAudioAfterALoudBurstComesBackUnchanged) {
    const int rate = 44100;
    std::vector<float> input = Sine(440, 0.5, rate, 1, rate);
    for (int f = 0; f < 2000; ++f) input[10000 + f] *= 4.0f;  // a burst to 2.0
    LSoundSource source(new LSRCPeakLimit(LSoundSource(new MemorySource(input, rate, 1)), kLimiterCeiling));
    std::vector<float> output = ReadAll(source, rate);
    for (int f = 0; f < 5000; ++f) ASSERT_EQ(output[f], input[f]) << f;  // untouched well before
    for (int f = 30000; f < rate; ++f) ASSERT_EQ(output[f], input[f]) << f;  // and recovered after
    for (int f = 10000; f < 12000; ++f) ASSERT_LE(std::fabs(output[f]), kLimiterCeiling);
}

TEST(LSRCPeakLimit, BlockSizeFollowsTheRate) {
    LSRCPeakLimit at44(LSoundSource(new MemorySource({}, 44100, 1)), 1.0f);
    EXPECT_EQ(at44.GetBlockFrames(), 1260);
    LSRCPeakLimit tiny(LSoundSource(new MemorySource({}, 100, 1)), 1.0f);
    EXPECT_EQ(tiny.GetBlockFrames(), 16);
    LSRCPeakLimit huge(LSoundSource(new MemorySource({}, 768000, 1)), 1.0f);
    EXPECT_EQ(huge.GetBlockFrames(), 8192);
}

TEST(LSRCPeakLimit, SeekRestartsWithExactPositions) {
    const int rate = 44100;
    std::vector<float> input = Sine(1000, 2.0, rate, 1, rate);
    LSoundSource source(new LSRCPeakLimit(LSoundSource(new MemorySource(input, rate, 1)), kLimiterCeiling));
    std::vector<float> scratch(5000);
    source->Read(scratch.data(), 5000);
    source->Seek(12345);
    EXPECT_EQ(source->GetPositionSample(), 12345);
    std::vector<float> after = ReadAll(source, 100);
    EXPECT_EQ(source->GetPositionSample(), 12445);
    for (int f = 0; f < 100; ++f) {
        ASSERT_GE(after[f] * input[12345 + f], 0.0f);
        ASSERT_LE(std::fabs(after[f]), kLimiterCeiling);
    }
    // Reads of zero or negative counts change nothing.
    source->Read(scratch.data(), 0);
    source->Read(scratch.data(), -5);
    EXPECT_EQ(source->GetPositionSample(), 12445);
}

TEST(LSRCPeakLimit, LookaheadReportsTheDelayLine) {
    LSoundSource source(new LSRCPeakLimit(LSoundSource(new MemorySource(std::vector<float>(50000), 44100, 1)),
                                          kLimiterCeiling));
    std::vector<float> scratch(10);
    source->Read(scratch.data(), 10);
    long lookahead = 0;
    EXPECT_TRUE(source->ControlMessage(ControlGetLookahead, &lookahead));
    EXPECT_EQ(lookahead, 3 * 1260 - 10);
    EXPECT_EQ(source->GetPositionSample(), 10);
}

}  // namespace
