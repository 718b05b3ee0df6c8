#include "dsp/LHighPassIIR2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

TEST(LHighPassIIR2, CoefficientsAt3kHzAnd44100) {
    LHighPassIIR2 hp(3000, 44100);
    EXPECT_NEAR(hp.B0(), 0.738513, 1e-6);
    EXPECT_NEAR(hp.B1(), -1.477027, 1e-6);
    EXPECT_NEAR(hp.B2(), 0.738513, 1e-6);
    EXPECT_NEAR(hp.A1(), -1.407457, 1e-6);
    EXPECT_NEAR(hp.A2(), 0.546597, 1e-6);
}

TEST(LHighPassIIR2, OutOfRangeArgumentsFallBackToDefaults) {
    LHighPassIIR2 fallback(0, 0, 0);
    LHighPassIIR2 expected(10, 44100, 1);
    EXPECT_EQ(fallback.B0(), expected.B0());
    EXPECT_EQ(fallback.A1(), expected.A1());
    EXPECT_EQ(fallback.Channels(), 1);
}

TEST(LHighPassIIR2, BlocksDcPassesHighsAndKeepsChannelsApart) {
    const int rate = 44100;
    const long long n = rate;
    std::vector<float> buf(2 * n);
    for (long long i = 0; i < n; ++i) {
        buf[2 * i] = 0.5f;                                                     // DC on the left
        buf[2 * i + 1] = static_cast<float>(std::sin(2 * M_PI * 15000.0 * i / rate));  // highs on the right
    }
    LHighPassIIR2 hp(3000, rate, 2);
    // In two calls: the state carries over between them.
    hp.ApplyFilter(buf.data(), n / 2);
    hp.ApplyFilter(buf.data() + n, n - n / 2);
    double dc = 0, rmsHigh = 0;
    for (long long i = n / 2; i < n; ++i) {
        dc = std::max(dc, std::fabs(double(buf[2 * i])));
        rmsHigh += double(buf[2 * i + 1]) * buf[2 * i + 1];
    }
    rmsHigh = std::sqrt(rmsHigh / (n - n / 2));
    EXPECT_LT(dc, 1e-6);
    EXPECT_NEAR(rmsHigh, std::sqrt(0.5), 0.02);

    // The first output sample is b0*x: the state starts from silence, and Reset returns there.
    hp.Reset();
    float one[2] = {1.0f, 1.0f};
    hp.ApplyFilter(one, 1);
    EXPECT_FLOAT_EQ(one[0], hp.B0());
    EXPECT_FLOAT_EQ(one[1], hp.B0());
}
