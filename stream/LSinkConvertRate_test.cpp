#include "stream/LSinkConvertChannels.h"
#include "stream/LSinkConvertRate.h"
#include "stream/LSRCConvertRate.h"
#include "stream/testing/ConversionTestSource.h"
#include "stream/testing/MemorySink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

MemorySink* Raw(const LSoundSink& s) { return static_cast<MemorySink*>(s.Get()); }

}  // namespace

TEST(LSinkConvertChannels, WritesTheConvertedFrames) {
    struct Case {
        int in, out;
        std::vector<float> frame, expected;
    };
    const Case cases[] = {
        {1, 2, {0.5f}, {0.5f, 0.5f}},
        {2, 1, {0.5f, 0.25f}, {0.375f}},
        {2, 4, {0.5f, 0.25f}, {0.5f, 0.25f, 0.5f, 0.5f}},
        {2, 6, {0.5f, 0.25f}, {0.5f, 0.25f, 0.5f, 0.5f, 0.5f, 0.5f}},
        {3, 2, {1, 2, 3}, {1, 2}},
    };
    for (const Case& c : cases) {
        LSoundSink inner(new MemorySink(48000, c.out));
        LSoundSink sink = inner;
        LSinkConvertChannels::OpenSink(sink, c.in);
        ASSERT_EQ(sink->GetChannels(), c.in);
        const long long frames = LSinkConvertChannelsBase::kBlockFrames + 10;
        std::vector<float> input;
        for (long long f = 0; f < frames; ++f) input.insert(input.end(), c.frame.begin(), c.frame.end());
        sink->Write(input.data(), frames);
        EXPECT_EQ(sink->GetPositionSample(), frames);
        const auto& got = Raw(inner)->Samples();
        ASSERT_EQ(got.size(), size_t(frames * c.out));
        for (long long f = 0; f < frames; f += frames - 1)
            for (int ch = 0; ch < c.out; ++ch) EXPECT_EQ(got[size_t(f * c.out + ch)], c.expected[size_t(ch)]);
    }
    LSoundSink same(new MemorySink(48000, 2));
    LSoundSink before = same;
    LSinkConvertChannels::OpenSink(same, 2);
    EXPECT_EQ(same.Get(), before.Get());
}

TEST(LSinkConvertChannels, SeekForwardsAndFailureShows) {
    LSoundSink inner(new MemorySink(44100, 2, /*failAfterFrames=*/0));  // fails on its first write
    LSoundSink sink = inner;
    LSinkConvertChannels::OpenSink(sink, 1);
    sink->Seek(1234);
    EXPECT_EQ(Raw(inner)->LastSeek(), 1234);
    EXPECT_EQ(sink->GetPositionSample(), 1234);
    EXPECT_FALSE(sink->HasFailed());
    float one = 0.1f;
    sink->Write(&one, 1);
    EXPECT_TRUE(sink->HasFailed());
}

TEST(LSinkConvertRate, WritesExactlyTheMappedLengthAndMatchesTheSourceSide) {
    const long long frames = 44100 + 77;
    auto tone = [](long long f, int c) { return float(0.5 * std::sin(0.0712 * double(f) + c)); };
    std::vector<float> input(size_t(frames * 2));
    for (long long f = 0; f < frames; ++f)
        for (int c = 0; c < 2; ++c) input[size_t(f * 2 + c)] = tone(f, c);

    LSoundSink inner(new MemorySink(48000, 2));
    {
        LSoundSink sink;
        LSinkConvertRate::OpenSink(sink, inner, 44100);
        ASSERT_EQ(sink->GetSampleRate(), 44100);
        ASSERT_EQ(sink->GetChannels(), 2);
        long long done = 0;
        for (long long n : {1LL, 1000LL, 40000LL, 3LL}) {
            sink->Write(input.data() + done * 2, n);
            done += n;
        }
        sink->Write(input.data() + done * 2, frames - done);
        EXPECT_EQ(sink->GetPositionSample(), frames);
    }  // closing flushes the rest
    const long long expected = frames * 160 / 147;
    const auto& got = Raw(inner)->Samples();
    ASSERT_EQ(got.size(), size_t(expected * 2));

    // The same filter runs on the pull side: the samples agree.
    LSoundSource source(new kvtest::FunctionSource(44100, 2, frames, tone));
    LSoundSource pulled(new LSRCConvertRate(source, 48000));
    ASSERT_EQ(pulled->GetEndSample(), expected);
    std::vector<float> want(size_t(expected * 2));
    pulled->Read(want.data(), expected);
    for (size_t i = 0; i < want.size(); ++i) ASSERT_NEAR(got[i], want[i], 1e-6) << i;
}

TEST(LSinkConvertRate, SameRatePassesTheSinkAndABadRateFails) {
    LSoundSink inner(new MemorySink(48000, 1));
    LSoundSink result;
    LSinkConvertRate::OpenSink(result, inner, 48000);
    EXPECT_EQ(result.Get(), inner.Get());
    LSinkConvertRate::OpenSink(result, inner, 0);
    EXPECT_TRUE(result->HasFailed());
    EXPECT_EQ(result->GetSampleRate(), 44100);
}
