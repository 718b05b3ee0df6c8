#include "stream/LSoundTime.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

long long Parse(const char* text) {
    LSoundTime t(12345);
    t.SetText(text);
    return t.GetMilliseconds();
}

TEST(SoundTime, FrameConversionSplitsSecondsAndTruncatesTowardZero) {
    EXPECT_EQ(LSoundTime::MillisecondsToFrames(1500, 44100), 66150);
    EXPECT_EQ(LSoundTime::MillisecondsToFrames(-1500, 44100), -66150);
    EXPECT_EQ(LSoundTime::MillisecondsToFrames(1, 44100), 44);
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(66150, 44100), 1500);
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(44, 44100), 0);
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(-45, 44100), -1);
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(1000, 0), 0);
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(1000, -8000), 0);
    EXPECT_EQ(LSoundTime::MillisecondsToFrames(1000, 0), 0);
    // A day at 192 kHz in both directions, far from any overflow.
    const long long day = 86400000LL * 1000;
    EXPECT_EQ(LSoundTime::FramesToMilliseconds(LSoundTime::MillisecondsToFrames(day, 192000), 192000), day);
    EXPECT_EQ(LSoundTime::FromFrames(96000, 48000).GetMilliseconds(), 2000);
    EXPECT_EQ(LSoundTime(2000).ToFrames(48000), 96000);
}

TEST(SoundTime, TextFormsRoundAsTheyShould) {
    EXPECT_EQ(LSoundTime(3723004)._GetText(), "1:02:03.004");
    EXPECT_EQ(LSoundTime(-3723004)._GetText(), "-1:02:03.004");
    EXPECT_EQ(LSoundTime(3723996)._GetText2(), "1:02:04.00");
    EXPECT_EQ(LSoundTime(3723994)._GetText2(), "1:02:03.99");
    EXPECT_EQ(LSoundTime(1949)._GetTextHMMSSF(), "0:00:01.9");
    EXPECT_EQ(LSoundTime(1950)._GetTextHMMSSF(), "0:00:02.0");
    EXPECT_EQ(LSoundTime(-1950)._GetTextHMMSSF(), "-0:00:02.0");
    EXPECT_EQ(LSoundTime(59995)._GetTextHMMSSFF(), "0:01:00.00");
    EXPECT_EQ(LSoundTime(59999)._GetTextHMMSSFFF(), "0:00:59.999");
    EXPECT_EQ(LSoundTime(360000000)._GetText(), "100:00:00.000");
    // The extremes print without overflow.
    EXPECT_EQ(LSoundTime(LLONG_MIN)._GetText(), "-2562047788015:12:55.808");
    EXPECT_EQ(LSoundTime(LLONG_MAX)._GetText2(), "2562047788015:12:55.81");
}

TEST(SoundTime, SetTextReadsTheUsualForms) {
    EXPECT_EQ(Parse("1:02:03.004"), 3723004);
    EXPECT_EQ(Parse("12.5"), 12500);
    EXPECT_EQ(Parse("90"), 90000);
    EXPECT_EQ(Parse("1:30"), 90000);
    EXPECT_EQ(Parse(""), 0);
    EXPECT_EQ(Parse(nullptr), 0);
    EXPECT_EQ(Parse(LSoundTime(3723004)._GetText().c_str()), 3723004);
}

TEST(SoundTime, SetTextOddCases) {
    EXPECT_EQ(Parse("1.2345"), 1234);          // places past the third are ignored
    EXPECT_EQ(Parse("-1:02"), -62000);
    EXPECT_EQ(Parse("1:0-2"), -62000);         // "-" anywhere negates
    EXPECT_EQ(Parse("a1b:2c"), 62000);         // other characters are skipped
    EXPECT_EQ(Parse("1:2:3:4"), 3723400);      // a third ":" acts like "."
    EXPECT_EQ(Parse("1:2:3:4:5"), (3723400LL * 60) + 5000);  // a fourth multiplies again
    EXPECT_EQ(Parse("99999999999999999999999"), LLONG_MAX);  // saturates
    EXPECT_EQ(Parse("-9:9:9:9:9:9:9:9:9:9:9:9:9:9:9:9"), -LLONG_MAX);
}

TEST(SoundTime, IsValid) {
    EXPECT_TRUE(LSoundTime::IsValid("1:02:03.5"));
    EXPECT_TRUE(LSoundTime::IsValid("1:2:3:4"));
    EXPECT_TRUE(LSoundTime::IsValid("17"));
    EXPECT_FALSE(LSoundTime::IsValid(""));
    EXPECT_FALSE(LSoundTime::IsValid(nullptr));
    EXPECT_FALSE(LSoundTime::IsValid("-1"));
    EXPECT_FALSE(LSoundTime::IsValid("1.2.3"));
    EXPECT_FALSE(LSoundTime::IsValid("1:2:3:4:5"));
    EXPECT_FALSE(LSoundTime::IsValid("1.5:3"));
    EXPECT_FALSE(LSoundTime::IsValid("1a"));
    EXPECT_FALSE(LSoundTime::IsValid("1 :2"));
}

}  // namespace
