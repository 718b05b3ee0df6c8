#include "dsp/BufferPeak.h"
#include "dsp/LdB.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

TEST(LdB, WholeValuesComeFromTablesAndSilenceIsExactlyZero) {
    EXPECT_EQ(LdB<signed char>(-127).GetLin(), 0.0f);
    EXPECT_EQ(LdB<signed char>(-127).GetLinPower(), 0.0f);
    EXPECT_EQ(LdB<signed char>(0).GetLin(), 1.0f);
    EXPECT_NEAR(LdB<signed char>(-6).GetLin(), 0.501187f, 1e-6);
    EXPECT_NEAR(LdB<signed char>(-6).GetLinPower(), 0.251189f, 1e-6);
    EXPECT_NEAR(LdB<signed char>(127).GetLin(), std::pow(10.0, 127 / 20.0), 1e-6 * std::pow(10.0, 127 / 20.0));
    EXPECT_NEAR(LdB<signed char>(-126).GetLin(), std::pow(10.0, -126 / 20.0), 1e-12);
    EXPECT_EQ(LdB<float>(-6.0f).GetLin(), LdB<signed char>(-6).GetLin());
    EXPECT_NEAR(LdB<float>(-6.5f).GetLin(), std::pow(10.0, -6.5 / 20.0), 1e-7);
    EXPECT_EQ(LdB<float>(-200.0f).GetLin(), 0.0f);
}

TEST(LdB, FromLinearRoundsHalfAwayFromZeroAndClamps) {
    EXPECT_EQ(LdB<signed char>::FromLinear(1.0).Get(), 0);
    EXPECT_EQ(LdB<signed char>::FromLinear(0.5).Get(), -6);
    EXPECT_EQ(LdB<signed char>::FromLinear(2.0).Get(), 6);
    EXPECT_EQ(LdB<signed char>::FromLinear(std::pow(10.0, -6.6 / 20)).Get(), -7);
    EXPECT_EQ(LdB<signed char>::FromLinear(std::pow(10.0, 6.6 / 20)).Get(), 7);
    EXPECT_EQ(LdB<signed char>::FromLinear(0.0).Get(), -127);
    EXPECT_EQ(LdB<signed char>::FromLinear(-1.0).Get(), -127);
    EXPECT_EQ(LdB<signed char>::FromLinear(1e-30).Get(), -127);
    EXPECT_EQ(LdB<signed char>::FromLinear(1e30).Get(), 127);
    EXPECT_NEAR(LdB<float>::FromLinear(0.5).Get(), -6.0206f, 1e-4);
}

TEST(GetBufferPeak, FindsTheLargestMagnitudeAnywhere) {
    std::vector<float> values(37, 0.25f);
    values[36] = -0.75f;  // in the tail after the blocks of eight
    EXPECT_EQ(GetBufferPeak(values.data(), 37), 0.75f);
    values[3] = 0.9f;
    EXPECT_EQ(GetBufferPeak(values.data(), 37), 0.9f);
    EXPECT_EQ(GetBufferPeak(values.data(), 18, 2), 0.25f);     // even places only
    EXPECT_EQ(GetBufferPeak(values.data() + 1, 18, 2), 0.9f);  // odd places only
    EXPECT_EQ(GetBufferPeak(values.data(), 0), 0.0f);
}
