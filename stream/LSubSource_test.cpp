#include "stream/LSRCOffset.h"
#include "stream/LSilenceSourceBase.h"
#include "stream/LSubSource.h"
#include "stream/testing/RampSource.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<float> ReadFrames(LSoundSource& s, long long frames) {
    std::vector<float> out(static_cast<size_t>(frames * s->GetChannels()), -7.0f);
    s->Read(out.data(), frames);
    return out;
}

TEST(SilenceSource, ReadsZerosAnywhereAndIgnoresItsEnd) {
    LSoundSource s(new LSilenceSourceBase(44100, 2, 10));
    s->Seek(5);
    auto v = ReadFrames(s, 20);
    for (float x : v) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(s->GetPositionSample(), 25);
    EXPECT_EQ(s->GetEndSample(), 10);
    s->Read(nullptr, 0);
    s->Read(nullptr, -5);
    EXPECT_EQ(s->GetPositionSample(), 25);
}

TEST(ErrorSource, CloseLeavesAWorkingErrorSource) {
    LSoundSource s(new RampSource(100, 2));
    s.Close();
    EXPECT_EQ(s->GetError(), kSourceClosed);
    EXPECT_EQ(s->GetChannels(), 1);
    auto v = ReadFrames(s, 8);
    for (float x : v) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(s->GetPositionSample(), 0);
    EXPECT_EQ(s->GetEndSample(), 0);
}

TEST(OffsetSource, ShiftsPositionEndAndSeek) {
    LSoundSource inner(new RampSource(100));
    LSoundSource s;
    s = MakeSource<LSRCOffset>(inner, 1000);
    EXPECT_EQ(s->GetPositionSample(), 1000);
    EXPECT_EQ(s->GetEndSample(), 1100);
    s->Seek(1010);
    EXPECT_EQ(inner->GetPositionSample(), 10);
    EXPECT_EQ(ReadFrames(s, 1)[0], RampSource::Value(10));
    s->Seek(LLONG_MIN);  // saturates instead of overflowing
    EXPECT_EQ(inner->GetPositionSample(), LLONG_MIN);
}

TEST(SubSource, PresentsARangeFromZero) {
    LSoundSource inner(new RampSource(1000, 2));
    LSoundSource s;
    LSubSource::OpenSource(s, inner, 100, 50);
    EXPECT_EQ(s->GetChannels(), 2);
    EXPECT_EQ(inner->GetPositionSample(), 100);
    EXPECT_EQ(s->GetPositionSample(), 0);
    EXPECT_EQ(s->GetEndSample(), 50);
    auto v = ReadFrames(s, 60);
    EXPECT_EQ(v[0], RampSource::Value(100));
    EXPECT_EQ(v[1], RampSource::Value(100, 1));
    EXPECT_EQ(v[2 * 49], RampSource::Value(149));
    for (int i = 2 * 50; i < 120; ++i) EXPECT_EQ(v[i], 0.0f) << i;  // past the range: zeros
    EXPECT_EQ(s->GetPositionSample(), 60);  // and the position stays exact
}

TEST(SubSource, SoughtToMinus1000GivesZerosThenFrameZero) {
    LSoundSource inner(new RampSource(5000));
    LSoundSource s;
    LSubSource::OpenSource(s, inner, 2000, 1000);
    s->Seek(-1000);
    auto v = ReadFrames(s, 1003);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(v[i], 0.0f) << i;
    EXPECT_EQ(v[1000], RampSource::Value(2000));
    EXPECT_EQ(v[1002], RampSource::Value(2002));
    EXPECT_EQ(s->GetPositionSample(), 3);
}

TEST(SubSource, ZeroAndNegativeCountsChangeNothing) {
    auto* ramp = new RampSource(5000);
    LSoundSource inner(ramp);
    LSoundSource s;
    LSubSource::OpenSource(s, inner, 10, 100);
    s->Read(nullptr, 0);
    s->Read(nullptr, -1);
    EXPECT_EQ(ramp->Reads(), 0);
    EXPECT_EQ(s->GetPositionSample(), 0);
}

TEST(SubSource, SeekPastTheEndReadsSilence) {
    LSoundSource inner(new RampSource(5000));
    LSoundSource s;
    LSubSource::OpenSource(s, inner, 10, 100);
    s->Seek(500);
    auto v = ReadFrames(s, 10);
    for (float x : v) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(s->GetPositionSample(), 510);
}

}  // namespace
