#include "dsp/LEqDesign.h"
#include "dsp/LFFT.h"
#include "dsp/LFiltFFT.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace {

std::vector<float> Noise(long n, unsigned seed, float amp = 1.0f) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-amp, amp);
    std::vector<float> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

std::vector<double> DirectConvolution(const std::vector<float>& h, const std::vector<float>& x) {
    std::vector<double> y(x.size(), 0.0);
    for (size_t n = 0; n < x.size(); ++n)
        for (size_t k = 0; k < h.size() && k <= n; ++k) y[n] += double(h[k]) * x[n - k];
    return y;
}

// Feeds x through the convolver in calls of varying sizes, as a stream would.
std::vector<float> Stream(LFiltFFT& f, const std::vector<float>& x, unsigned seed) {
    std::mt19937 gen(seed);
    std::vector<float> y(x.size());
    size_t pos = 0;
    const long sizes[] = {1, 7, 100, 300, 4096, 12290, 20000};
    while (pos < x.size()) {
        const long want = sizes[gen() % 7];
        const long n = static_cast<long>(std::min<size_t>(want, x.size() - pos));
        f.ApplyFilter(y.data() + pos, x.data() + pos, n);
        pos += n;
    }
    return y;
}

}  // namespace

TEST(LFiltFFT, EqualsDirectConvolutionForAnyCallSizes) {
    for (long taps : {1L, 5L, 33L, 300L, 4095L}) {
        const auto h = Noise(taps, 1 + taps, 0.05f);
        const auto x = Noise(60000, 2);
        LFiltFFT f(h.data(), taps);
        const auto y = Stream(f, x, 3);
        const auto ref = DirectConvolution(h, x);
        for (size_t n = 0; n < x.size(); ++n) ASSERT_NEAR(y[n], ref[n], 2e-5) << "taps " << taps << " n " << n;
    }
}

TEST(LFiltFFT, StridedChannelsAndResetAndInPlace) {
    const auto h = Noise(4095, 9, 0.05f);
    const auto left = Noise(20000, 10), right = Noise(20000, 11);
    std::vector<float> inter(40000);
    for (int i = 0; i < 20000; ++i) {
        inter[2 * i] = left[i];
        inter[2 * i + 1] = right[i];
    }
    LFiltFFT fl(h.data(), 4095), fr(h.data(), 4095);
    fl.ApplyFilter(inter.data(), inter.data(), 20000, 2);  // in place
    fr.ApplyFilter(inter.data() + 1, inter.data() + 1, 20000, 2);
    const auto refL = DirectConvolution(h, left), refR = DirectConvolution(h, right);
    for (int i = 0; i < 20000; ++i) {
        ASSERT_NEAR(inter[2 * i], refL[i], 2e-5);
        ASSERT_NEAR(inter[2 * i + 1], refR[i], 2e-5);
    }
    // After Reset the past is silence again: the same input gives the same output.
    fl.Reset();
    std::vector<float> again(left.size());
    fl.ApplyFilter(again.data(), left.data(), 20000);
    for (int i = 0; i < 20000; ++i) ASSERT_NEAR(again[i], refL[i], 2e-5);
}

TEST(LEqDesign, FlatCurveIsAUnitTapAtTheCentre) {
    const auto taps = MakeEqTaps(FlatEqGains());
    ASSERT_EQ(taps.size(), 4095u);
    for (int i = 0; i < 4095; ++i) ASSERT_EQ(taps[i], i == kEqCentreTap ? 1.0f : 0.0f) << i;

    // Half gain everywhere halves the centre tap.
    LEqGains half;
    half.fill(50.0);
    EXPECT_EQ(MakeEqTaps(half)[kEqCentreTap], 0.5f);
}

TEST(LEqDesign, SteppedCurveMatchesAtBinCentres) {
    LEqGains gain;
    for (int k = 0; k < kEqBins; ++k) gain[k] = k < 200 ? 100.0 : (k < 900 ? 25.0 : (k < 1500 ? 200.0 : 50.0));
    const auto taps = MakeEqTaps(gain);
    std::vector<double> re(4096, 0.0), im(4096, 0.0);
    for (int i = 0; i < 4095; ++i) re[i] = taps[i];
    LFFT fft(12);
    fft.DoFFT(re.data(), im.data());
    for (int k = 0; k < kEqBins; ++k) {
        const double mag = std::abs(std::complex<double>(re[k], im[k]));
        const double db = 20 * std::log10(mag / (gain[k] / 100.0));
        ASSERT_LT(std::fabs(db), 0.5) << "bin " << k;
    }
    // Zero phase about tap 2047: the taps are symmetric around it.
    for (int i = 1; i < 2047; ++i) ASSERT_NEAR(taps[kEqCentreTap - i], taps[kEqCentreTap + i], 1e-7);
}
