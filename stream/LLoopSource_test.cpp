#include "stream/LLoopSource.h"
#include "stream/testing/RampSource.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

LSoundSource OpenLoop(long long sourceLength, long long start, long long end) {
    LSoundSource inner(new RampSource(sourceLength));
    LSoundSource loop;
    LLoopSource::OpenSource(loop, inner, start, end);
    return loop;
}

TEST(LoopSource, OpeningErrors) {
    EXPECT_EQ(OpenLoop(10000, 0, 0)->GetError(), kSourceEmptyLoop);
    EXPECT_EQ(OpenLoop(10000, 0, -1)->GetError(), kSourceLoopStartPastEnd);
    EXPECT_EQ(OpenLoop(10000, 10000, 20000)->GetError(), kSourceLoopStartPastEnd);
    EXPECT_EQ(OpenLoop(10000, 100, 200)->GetError(), kSourceOk);
    // An end before the start is legal; it has nothing to repeat and plays silence.
    LSoundSource odd = OpenLoop(10000, 5000, 4000);
    EXPECT_EQ(odd->GetError(), kSourceOk);
    std::vector<float> v(100, 1.0f);
    odd->Read(v.data(), 100);
    for (float x : v) EXPECT_EQ(x, 0.0f);
}

TEST(LoopSource, ClampsTheRangeToTheSource) {
    LSoundSource loop = OpenLoop(1000, -50, 5000);
    auto* base = static_cast<LLoopSourceBase*>(loop.Get());
    EXPECT_EQ(base->GetLoopStart(), 0);
    EXPECT_EQ(base->GetLoopEnd(), 1000);
}

TEST(LoopSource, RepeatsTheRangeAndKeepsTheEndAhead) {
    LSoundSource loop = OpenLoop(1000, 100, 110);
    loop->Seek(105);
    std::vector<float> v(25);
    loop->Read(v.data(), 25);
    for (int i = 0; i < 25; ++i) EXPECT_EQ(v[i], RampSource::Value(100 + (5 + i) % 10)) << i;
    EXPECT_EQ(loop->GetEndSample(), 110 + 8192);
    EXPECT_EQ(loop->GetPositionSample(), 110);  // wraps lazily, on the next read
    EXPECT_EQ(loop->GetEndSample(), 110 + 8192);
}

TEST(LoopSource, FoldsPositionsIntoTheRange) {
    LSoundSource loop = OpenLoop(1000, 100, 110);
    auto* base = static_cast<LLoopSourceBase*>(loop.Get());
    EXPECT_EQ(base->Fold(95), 105);
    EXPECT_EQ(base->Fold(90), 110);  // below start: end - ((start - p) % length)
    EXPECT_EQ(base->Fold(115), 105);
    EXPECT_EQ(base->Fold(110), 110);
    EXPECT_EQ(base->Fold(100), 100);
    const long long low = base->Fold(LLONG_MIN), high = base->Fold(LLONG_MAX);
    EXPECT_TRUE(low >= 100 && low <= 110);
    EXPECT_TRUE(high >= 100 && high <= 110);

    long value = 125;
    EXPECT_TRUE(loop->ControlMessage(ControlWrapPosition, &value));
    EXPECT_EQ(value, 105);
    EXPECT_FALSE(loop->ControlMessage(ControlWrapPosition, nullptr));

    // Code 6 and AdjustRelativeOffset: an offset of -8 heard at inner position
    // 102 lies 8 frames back around the loop, i.e. at 104.
    loop->Seek(102);
    long offset = -8;
    EXPECT_TRUE(loop->ControlMessage(ControlMapOffset, &offset));
    EXPECT_EQ(offset, 2);
    EXPECT_EQ(loop->AdjustRelativeOffset(-8, 102), 2);
    loop->Seek(-3);
    EXPECT_EQ(loop->GetPositionSample(), 107);
}

}  // namespace
