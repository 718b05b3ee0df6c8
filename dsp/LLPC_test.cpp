#include "dsp/LLPC.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

// Written apart from the library on purpose: the textbook recursion with
// reflection coefficients kept in a separate array.
std::vector<double> ReferenceLevinson(const std::vector<double>& r, int p) {
    std::vector<double> a(p + 1, 0.0), tmp(p + 1);
    a[0] = 1;
    double e = r[0];
    for (int m = 1; m <= p; ++m) {
        double lambda = 0;
        for (int j = 0; j < m; ++j) lambda -= a[j] * r[m - j];
        lambda /= e;
        for (int j = 0; j <= m; ++j) tmp[j] = a[j] + lambda * a[m - j];
        for (int j = 0; j <= m; ++j) a[j] = tmp[j];
        e *= 1 - lambda * lambda;
    }
    return a;
}

std::vector<float> ArProcess(const std::vector<double>& a, long n, unsigned seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> noise(0.0, 0.01);
    std::vector<float> x(n, 0.0f);
    for (long i = 0; i < n; ++i) {
        double v = noise(gen);
        for (size_t k = 1; k < a.size(); ++k)
            if (i >= static_cast<long>(k)) v -= a[k] * x[i - k];
        x[i] = static_cast<float>(v);
    }
    return x;
}

}  // namespace

TEST(LLPC, RecoversTheCoefficientsOfAnArProcess) {
    // Poles at 0.9*e^(+-i*0.5) and 0.5: stable and clearly resonant.
    const double r = 0.9, th = 0.5;
    std::vector<double> a2 = {1.0, -2 * r * std::cos(th), r * r};
    std::vector<double> truth = {1.0, a2[1] - 0.5, a2[2] - 0.5 * a2[1], -0.5 * a2[2]};
    const long n = 32768;
    const auto x = ArProcess(truth, n, 42);

    LLPC<float> lpc;
    std::vector<double> a;
    ASSERT_TRUE(lpc.ComputeCoefficients(x.data(), n, 3, a));
    ASSERT_EQ(a.size(), 4u);
    EXPECT_EQ(a[0], 1.0);
    for (int k = 1; k <= 3; ++k) EXPECT_NEAR(a[k], truth[k], 0.03) << "k=" << k;

    // Against an independent recursion over the same windowed autocorrelation.
    std::vector<float> w = x;
    lpc.Tukey(w.data(), n);
    const int p = 12;
    std::vector<double> rr(p + 1, 0.0);
    for (int lag = 0; lag <= p; ++lag)
        for (long i = lag; i < n; ++i) rr[lag] += double(w[i]) * w[i - lag];
    const auto ref = ReferenceLevinson(rr, p);
    ASSERT_TRUE(lpc.ComputeCoefficients(x.data(), n, p, a));
    for (int k = 0; k <= p; ++k) EXPECT_NEAR(a[k], ref[k], 1e-9) << "k=" << k;
}

TEST(LLPC, TukeyWindowShape) {
    LLPC<float> lpc;
    std::vector<float> ones(64, 1.0f);
    lpc.Tukey(ones.data(), 64);
    // T = 64 - 32 = 32, so 16 values rise at each end.
    EXPECT_FLOAT_EQ(ones[0], 0.0f);
    EXPECT_NEAR(ones[8], 0.5f, 1e-6);
    EXPECT_FLOAT_EQ(ones[16], 1.0f);
    EXPECT_FLOAT_EQ(ones[47], 1.0f);
    EXPECT_NEAR(ones[55], 0.5f, 1e-6);
    EXPECT_FLOAT_EQ(ones[63], 0.0f);
    // Odd, uncached lengths: T = 101 - 50 = 51, 25 values rising.
    std::vector<double> odd(101, 1.0);
    LLPC<double> lpcd;
    lpcd.Tukey(odd.data(), 101);
    EXPECT_NEAR(odd[1], (std::cos(2 * M_PI / 51 + M_PI) + 1) / 2, 1e-12);
    EXPECT_EQ(odd[25], 1.0);
    EXPECT_EQ(odd[75], 1.0);
    EXPECT_NEAR(odd[99], odd[1], 1e-12);
}

TEST(LLPC, SilenceGivesTheZeroFilterAndPredictionContinuesASine) {
    LLPC<float> lpc;
    std::vector<float> silent(256, 0.0f);
    std::vector<double> a;
    EXPECT_FALSE(lpc.ComputeCoefficients(silent.data(), 256, 8, a));
    ASSERT_EQ(a.size(), 9u);
    EXPECT_EQ(a[0], 1.0);
    for (int k = 1; k <= 8; ++k) EXPECT_EQ(a[k], 0.0);

    // A pure tone is predictable: a gap filled by prediction continues it.
    // A little noise keeps the autocorrelation well conditioned, as real audio is.
    std::mt19937 gen(5);
    std::normal_distribution<double> noise(0.0, 1e-4);
    std::vector<float> tone(4096 + 32);
    for (size_t i = 0; i < tone.size(); ++i) tone[i] = static_cast<float>(0.5 * std::sin(0.05 * i) + noise(gen));
    std::vector<float> damaged = tone;
    for (size_t i = 4096; i < tone.size(); ++i) damaged[i] = 1.0f;
    ASSERT_TRUE(lpc.ComputeCoefficients(damaged.data(), 4096, 16, a));
    LLPC<float>::Predict(damaged.data(), 4096, static_cast<long>(tone.size()), a);
    for (size_t i = 4096; i < tone.size(); ++i) EXPECT_NEAR(damaged[i], tone[i], 1e-2) << i;
}
