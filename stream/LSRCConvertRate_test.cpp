#include "stream/LSPConvertRate.h"
#include "stream/LSRCConvertRate.h"
#include "stream/testing/ConversionTestSource.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <complex>
#include <random>
#include <vector>

using kvtest::FunctionSource;

namespace {

constexpr double kPi = 3.14159265358979323846;

LSoundSource Sine(int rate, int channels, long long frames, double hz, double amplitude) {
    return LSoundSource(new FunctionSource(rate, channels, frames, [=](long long f, int) {
        return float(amplitude * std::sin(2.0 * kPi * hz * double(f) / rate));
    }));
}

std::vector<float> ReadAll(LSoundSource& s, long long frames) {
    std::vector<float> out(size_t(frames * s->GetChannels()));
    s->Read(out.data(), frames);
    return out;
}

// Amplitude of the `hz` component of channel 0 over [start, start + n).
double ToneAmplitude(const std::vector<float>& v, int channels, int rate, double hz, long long start, long long n) {
    std::complex<double> sum = 0.0;
    for (long long i = 0; i < n; ++i)
        sum += double(v[size_t((start + i) * channels)]) * std::polar(1.0, -2.0 * kPi * hz * double(start + i) / rate);
    return 2.0 * std::abs(sum) / double(n);
}

long long ZeroCrossings(const std::vector<float>& v, int channels, long long start, long long n) {
    long long count = 0;
    for (long long i = start + 1; i < start + n; ++i)
        if ((v[size_t((i - 1) * channels)] < 0) != (v[size_t(i * channels)] < 0)) ++count;
    return count;
}

FunctionSource* Raw(const LSoundSource& s) { return static_cast<FunctionSource*>(s.Get()); }

}  // namespace

TEST(LConvertRateBase, FactorsFollowTheRatesExactlyWherePossible) {
    auto f = LConvertRateBase::ExactFactors(44100, 48000);
    EXPECT_EQ(f.up, 160);
    EXPECT_EQ(f.down, 147);
    f = LConvertRateBase::ExactFactors(48000, 44100);
    EXPECT_EQ(f.up, 147);
    EXPECT_EQ(f.down, 160);
    f = LConvertRateBase::ExactFactors(96000, 16000);
    EXPECT_EQ(f.up, 1);
    EXPECT_EQ(f.down, 6);
    f = LConvertRateBase::ExactFactors(22050, 44100);
    EXPECT_EQ(f.up, 2);
    EXPECT_EQ(f.down, 1);
    f = LConvertRateBase::ExactFactors(48000, 0);  // a target of 0 means 44100
    EXPECT_EQ(f.up, 147);
    EXPECT_EQ(f.down, 160);

    // The approximate search finds the same exact ratio when it is small enough...
    f = LConvertRateBase::ApproximateFactors(44100, 48000);
    EXPECT_EQ(f.up, 160);
    EXPECT_EQ(f.down, 147);
    // ...and the nearest one below 256 phases otherwise.
    LConvertRateBase odd(8000, 44100);  // exact would be 441/80
    EXPECT_LE(odd.GetUp(), LConvertRateBase::kMaxPhases);
    EXPECT_NEAR(double(odd.GetDown()) / double(odd.GetUp()), 8000.0 / 44100.0, 1e-4);
    EXPECT_GE(LConvertRateBase::ApproximateFactors(1, 1000000).down, 1);
}

TEST(LConvertRateBase, TableIsAWindowedSincWithUnityGain) {
    LConvertRateBase up(44100, 48000);
    ASSERT_EQ(up.GetTaps(), 63);
    EXPECT_EQ(up.GetHalf(), 31);
    EXPECT_FLOAT_EQ(up.Tap(0, 31), 0.975f);  // h(0) = fc when upsampling
    for (int k = 1; k <= 31; ++k) EXPECT_FLOAT_EQ(up.Tap(0, 31 - k), up.Tap(0, 31 + k));
    for (int t = up.GetTaps(); t < up.GetWindow(); ++t) EXPECT_EQ(up.Tap(5, t), 0.0f);
    for (long long p = 0; p < up.GetUp(); p += 7) {
        double sum = 0;
        for (int t = 0; t < up.GetTaps(); ++t) sum += up.Tap(p, t);
        EXPECT_NEAR(sum, 1.0, 0.01) << "phase " << p;
    }
    LConvertRateBase down(48000, 44100);
    EXPECT_NEAR(down.Tap(0, 31), 44100.0 / 48000.0 - 0.046875, 1e-6);
    EXPECT_GT(down.GetGainBound(), 1.0);
}

TEST(LSPConvertRate, LargeRatiosGoThroughTwoStagesAndErrorsPassThrough) {
    LSoundSource src = Sine(96000, 1, 96000, 1000, 0.5);
    LSoundSource out = LSPConvertRate(8000).OpenSource(src);
    auto* last = dynamic_cast<LSRCConvertRate*>(out.Get());
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->GetSampleRate(), 8000);
    auto* first = dynamic_cast<LSRCConvertRate*>(last->Inner().Get());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetSampleRate(), 16000);
    EXPECT_EQ(first->Inner().Get(), src.Get());
    EXPECT_EQ(out->GetEndSample(), 8000);

    // Exactly a quarter is still one stage.
    LSoundSource quarter = LSPConvertRate(11025).OpenSource(Sine(44100, 1, 100, 1000, 0.5));
    auto* single = dynamic_cast<LSRCConvertRate*>(quarter.Get());
    ASSERT_NE(single, nullptr);
    EXPECT_EQ(dynamic_cast<LSRCConvertRate*>(single->Inner().Get()), nullptr);

    LSoundSource broken(new LSoundSourceError(kSourceNoFile, 22050, 2));
    EXPECT_EQ(LSPConvertRate(48000).OpenSource(broken).Get(), broken.Get());
    LSoundSource same = Sine(48000, 2, 10, 1000, 0.5);
    EXPECT_EQ(LSPConvertRate(48000).OpenSource(same).Get(), same.Get());
}

TEST(LSRCConvertRate, BadTargetRateGivesErrorThreeWithASafeFormat) {
    LSoundSource out(new LSRCConvertRate(Sine(48000, 2, 1000, 1000, 0.5), 0));
    EXPECT_EQ(out->GetError(), kSourceBadFormat);
    EXPECT_EQ(out->GetSampleRate(), 44100);
    EXPECT_EQ(out->GetChannels(), 2);
    std::vector<float> buffer(200);
    out->Read(buffer.data(), 100);  // still safe to read
    EXPECT_EQ(out->GetPositionSample(), 100);
}

TEST(LSRCConvertRate, SineSurvivesARoundTripWithItsFrequencyAndLevel) {
    const long long frames = 3 * 44100;
    for (int channels : {1, 2, 3, 6, 8}) {
        LSoundSource s = Sine(44100, channels, frames, 1000.0, 0.5);
        LSoundSource up(new LSRCConvertRate(s, 48000));
        ASSERT_EQ(up->GetEndSample(), 3 * 48000);
        LSoundSource down(new LSRCConvertRate(up, 44100));
        ASSERT_EQ(down->GetEndSample(), frames);
        std::vector<float> out = ReadAll(down, frames);
        // One second in the middle: away from the edges' half windows.
        const double amplitude = ToneAmplitude(out, channels, 44100, 1000.0, 44100, 44100);
        EXPECT_NEAR(20.0 * std::log10(amplitude / 0.5), 0.0, 0.1) << channels << " channels";
        EXPECT_NEAR(double(ZeroCrossings(out, channels, 44100, 44100)), 2000.0, 1.0);
        // Every channel carries the same tone; the last one is checked sample by sample.
        for (long long i = 44100; i < 44200; ++i)
            EXPECT_NEAR(out[size_t(i * channels + channels - 1)], out[size_t(i * channels)], 1e-6);
    }
}

TEST(LSRCConvertRate, UpsampledToneIsAtTheSameFrequencyAndLevel) {
    LSoundSource s = Sine(44100, 2, 2 * 44100, 1000.0, 0.5);
    LSoundSource up(new LSRCConvertRate(s, 48000));
    std::vector<float> out = ReadAll(up, 2 * 48000);
    EXPECT_NEAR(20.0 * std::log10(ToneAmplitude(out, 2, 48000, 1000.0, 24000, 48000) / 0.5), 0.0, 0.1);
    EXPECT_NEAR(double(ZeroCrossings(out, 2, 24000, 48000)), 2000.0, 1.0);
    // Output frame 0 stands at input instant 0: sin(0) = 0 apart from ripple.
    EXPECT_NEAR(out[0], 0.0f, 1e-3);
}

TEST(LSRCConvertRate, DownsamplingRemovesWhatTheTargetCannotHold) {
    // 20 kHz at 48 kHz has no place at 16 kHz: it must be filtered, not folded to 4 kHz.
    LSoundSource s = Sine(48000, 1, 48000, 20000.0, 0.5);
    LSoundSource down = LSPConvertRate(16000).OpenSource(s);
    std::vector<float> out = ReadAll(down, 16000);
    EXPECT_LT(ToneAmplitude(out, 1, 16000, 4000.0, 4000, 8000), 0.5 * 0.01);
}

TEST(LSRCConvertRate, PositionsEndsAndSeeksMapExactly) {
    LSoundSource inner(new FunctionSource(44100, 2, 44100, [](long long f, int) { return float(f % 7); }));
    LSoundSource out(new LSRCConvertRate(inner, 48000));
    EXPECT_EQ(out->GetEndSample(), 48000);
    EXPECT_EQ(out->GetPositionSample(), 0);
    std::vector<float> buffer(2 * 5000);
    out->Read(buffer.data(), 1000);
    EXPECT_EQ(out->GetPositionSample(), 1000);
    // Only the input the request needed was pulled: up to input instant
    // 999 * 147 / 160 plus the right half window and the padding tap.
    EXPECT_EQ(inner->GetPositionSample(), 999 * 147 / 160 + 32 + 1);

    out->Seek(48000);
    EXPECT_EQ(out->GetPositionSample(), 48000);
    EXPECT_EQ(inner->GetPositionSample(), 44100);
    out->Seek(161);
    EXPECT_EQ(inner->GetPositionSample(), 147);  // floor(161 * 147 / 160)
    out->Seek(-1);
    EXPECT_EQ(inner->GetPositionSample(), -1);  // floor, so the window stays before the instant
    out->Seek(-1000);
    out->Read(buffer.data(), 1000);
    EXPECT_EQ(out->GetPositionSample(), 0);
    for (float v : std::vector<float>(buffer.begin(), buffer.begin() + 1900)) ASSERT_EQ(v, 0.0f);

    // A stage opened on a source that is already under way starts at the mapped instant.
    inner->Seek(14700);
    LSoundSource late(new LSRCConvertRate(inner, 48000));
    EXPECT_EQ(late->GetPositionSample(), 16000);
    EXPECT_EQ(inner->GetPositionSample(), 14700);
}

TEST(LSRCConvertRate, ControlMessagesMapOffsetsAndLatency) {
    LSoundSource inner(new FunctionSource(44100, 1, 100000, [](long long, int) { return 0.25f; }));
    LSoundSource out(new LSRCConvertRate(inner, 48000));
    FunctionSource* raw = Raw(inner);

    EXPECT_FALSE(out->ControlMessage(ControlMapOffset, nullptr));
    EXPECT_EQ(raw->lastCode, 0);  // a null value goes no further

    long value = 1600;
    EXPECT_TRUE(out->ControlMessage(ControlMapOffset, &value));
    EXPECT_EQ(raw->lastCode, ControlMapOffset);
    EXPECT_EQ(value, 1470);
    value = -161;
    out->ControlMessage(ControlMapOffset, &value);
    EXPECT_EQ(value, -147);  // truncated toward zero

    value = 0;
    out->ControlMessage(ControlAddLatency, &value);
    EXPECT_EQ(value, 0);  // nothing pulled yet
    std::vector<float> buffer(3000);
    out->Read(buffer.data(), 3000);
    value = 160;
    out->ControlMessage(ControlAddLatency, &value);
    // 147 for the mapped value, plus what was pulled past output frame 3000's instant.
    EXPECT_EQ(value, 147 + inner->GetPositionSample() - 3000 * 147 / 160);
    EXPECT_EQ(raw->lastCode, ControlAddLatency);
    EXPECT_EQ(raw->lastValue, value);

    EXPECT_EQ(out->AdjustRelativeOffset(-4800, 3000), -4800 * 147 / 160 * 160 / 147);
}

TEST(LSRCConvertRate, ContinuousReadsDoNotDependOnTheBlockSize) {
    auto make = [] {
        return LSoundSource(new LSRCConvertRate(
            LSoundSource(new FunctionSource(44100, 2, 100000, [](long long f, int c) {
                return float(std::sin(0.001 * double(f) * (c + 1)));
            })),
            48000));
    };
    LSoundSource whole = make();
    std::vector<float> a = ReadAll(whole, 80000);
    LSoundSource pieces = make();
    std::vector<float> b(a.size());
    std::mt19937 rng(7);
    long long done = 0;
    while (done < 80000) {
        long long n = std::min<long long>(80000 - done, 1 + rng() % 40000);
        pieces->Read(b.data() + done * 2, n);
        done += n;
    }
    EXPECT_EQ(a, b);
}

TEST(LSRCConvertRate, AnySeekAndReadIsSafe) {
    const long long extremes[] = {LLONG_MIN, LLONG_MIN + 1, -1, 0, 1, LLONG_MAX - 1, LLONG_MAX, LLONG_MAX / 147,
                                  LLONG_MIN / 160};
    std::mt19937_64 rng(1234);
    std::vector<float> buffer(8 * 40000);
    for (int rates = 0; rates < 4; ++rates) {
        const int from[] = {44100, 96000, 8000, 1};
        const int to[] = {48000, 8000, 44100, 1000000};
        LSoundSource inner(new FunctionSource(from[rates], 3, 1 << 20, [](long long f, int) { return float(f & 1); }));
        LSoundSource out = LSPConvertRate(to[rates]).OpenSource(inner);
        for (int i = 0; i < 300; ++i) {
            long long p = (i % 3 == 0) ? extremes[rng() % std::size(extremes)] : static_cast<long long>(rng());
            if (i % 5 == 1) p = static_cast<long long>(rng() % 4000000) - 2000000;
            out->Seek(p);
            EXPECT_EQ(out->GetPositionSample(), p);
            const long long n = static_cast<long long>(rng() % 20000) - 2000;
            out->Read(buffer.data(), n);
            (void)out->GetEndSample();
            long value = static_cast<long>(rng());
            out->ControlMessage(ControlAddLatency, &value);
            out->ControlMessage(ControlMapOffset, &value);
            (void)out->AdjustRelativeOffset(static_cast<long long>(rng()), p);
        }
    }
}
