#include "dsp/LFFT.h"
#include "dsp/LFFTFrame.h"
#include "dsp/LFFTWindow.h"

#include "base/LCpuFeatures.h"

#include <gtest/gtest.h>
#include <fftw3.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace {

using cd = std::complex<double>;
constexpr double kTwoPi = 6.283185307179586476925286766559;

// Reference: one bin of the direct DFT, in double.
cd DirectBin(const std::vector<double>& re, const std::vector<double>& im, long k) {
    const long n = static_cast<long>(re.size());
    cd sum = 0;
    for (long t = 0; t < n; ++t) {
        const double angle = -kTwoPi * static_cast<double>((static_cast<long long>(k) * t) % n) / n;
        sum += cd(re[t], im[t]) * cd(std::cos(angle), std::sin(angle));
    }
    return sum;
}

std::vector<double> RandomVector(long n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    std::vector<double> v(n);
    for (auto& x : v) x = static_cast<float>(dist(gen));  // representable in float too
    return v;
}

// Bins to check against the O(N) direct DFT: all of them for small sizes, a
// spread of them (edges, middle and random) for the large ones.
std::vector<long> BinsToCheck(long n) {
    std::vector<long> bins;
    if (n <= 1024) {
        for (long k = 0; k < n; ++k) bins.push_back(k);
        return bins;
    }
    for (long k : {0L, 1L, 2L, 3L, n / 4, n / 2 - 1, n / 2, n / 2 + 1, n - 2, n - 1}) bins.push_back(k);
    std::mt19937 gen(static_cast<unsigned>(n));
    for (int i = 0; i < 40; ++i) bins.push_back(static_cast<long>(gen() % n));
    return bins;
}

template <class T>
void CheckComplexAgainstDft(unsigned long order, LFFTPath path = LFFTPath::Portable, bool force = false) {
    const long n = 1L << order;
    const auto re = RandomVector(n, 1 + order), im = RandomVector(n, 100 + order);
    std::vector<T> r(re.begin(), re.end()), i(im.begin(), im.end());
    LFFTOf<T> fft(order);
    if (force) {
        ASSERT_TRUE(fft.ForcePathForTesting(path));
    }
    fft.DoFFT(r.data(), i.data());
    // Error is measured against the spectrum's RMS: bins of random data are
    // all of the same order of size.
    const double scale = std::sqrt(2.0 * n / 3.0);
    for (long k : BinsToCheck(n)) {
        const cd ref = DirectBin(re, im, k);
        const double err = std::abs(cd(r[k], i[k]) - ref) / scale;
        ASSERT_LT(err, 1e-4) << "order " << order << " bin " << k;
    }
}

template <class T>
void CheckRealAgainstDft(unsigned long order, LFFTPath path = LFFTPath::Portable, bool force = false) {
    const long n = 1L << order;
    const auto x = RandomVector(n, 7 + order);
    const std::vector<double> zero(n, 0.0);
    std::vector<T> in(x.begin(), x.end()), re(n / 2 + 1), im(n / 2 + 1);
    LRealFFTOf<T> fft(order);
    if (force) {
        ASSERT_TRUE(fft.ForcePathForTesting(path));
    }
    fft.Forward(in.data(), re.data(), im.data());
    const double scale = std::sqrt(n / 3.0);
    for (long k : BinsToCheck(n)) {
        if (k > n / 2) continue;
        const cd ref = DirectBin(x, zero, k);
        ASSERT_LT(std::abs(cd(re[k], im[k]) - ref) / scale, 1e-4) << "order " << order << " bin " << k;
    }
}

}  // namespace

TEST(LFFT, ComplexMatchesDirectDftAtEverySize) {
    for (unsigned long order = 5; order <= 16; ++order) {
        CheckComplexAgainstDft<float>(order);
        CheckComplexAgainstDft<double>(order);
    }
}

TEST(LFFT, SmallSizesMatchDirectDft) {
    for (unsigned long order = 0; order < 5; ++order) {
        CheckComplexAgainstDft<float>(order);
        CheckComplexAgainstDft<double>(order);
        if (order >= 1) {
            CheckRealAgainstDft<float>(order);
            CheckRealAgainstDft<double>(order);
        }
    }
}

TEST(LFFT, RealMatchesDirectDftAtEverySize) {
    for (unsigned long order = 5; order <= 16; ++order) {
        CheckRealAgainstDft<float>(order);
        CheckRealAgainstDft<double>(order);
    }
}

TEST(LFFT, ParsevalAndRoundTripGiveNTimesTheSignal) {
    for (unsigned long order = 1; order <= 16; ++order) {
        const long n = 1L << order;
        const auto re = RandomVector(n, 3 + order), im = RandomVector(n, 50 + order);
        std::vector<double> r = re, i = im;
        LFFT fft(order);
        fft.DoFFT(r.data(), i.data());
        double energyTime = 0, energyFreq = 0;
        for (long k = 0; k < n; ++k) {
            energyTime += re[k] * re[k] + im[k] * im[k];
            energyFreq += r[k] * r[k] + i[k] * i[k];
        }
        EXPECT_NEAR(energyFreq / (n * energyTime), 1.0, 1e-12) << "order " << order;

        fft.DoInverseFFT(r.data(), i.data());
        for (long k = 0; k < n; ++k) {
            ASSERT_NEAR(r[k], n * re[k], 1e-9 * n) << "order " << order;
            ASSERT_NEAR(i[k], n * im[k], 1e-9 * n) << "order " << order;
        }

        // Float, complex and real.
        std::vector<float> fr(re.begin(), re.end()), fi(im.begin(), im.end());
        LFFTFloat ffft(order);
        ffft.DoFFT(fr.data(), fi.data());
        ffft.DoInverseFFT(fr.data(), fi.data());
        for (long k = 0; k < n; ++k) {
            ASSERT_NEAR(fr[k] / n, re[k], 2e-6) << "order " << order;
            ASSERT_NEAR(fi[k] / n, im[k], 2e-6) << "order " << order;
        }
        std::vector<float> x(re.begin(), re.end()), br(n / 2 + 1), bi(n / 2 + 1), back(n);
        LRealFFTFloat rfft(order);
        rfft.Forward(x.data(), br.data(), bi.data());
        double realFreq = br[0] * br[0] + br[n / 2] * br[n / 2];
        for (long k = 1; k < n / 2; ++k) realFreq += 2.0 * (double(br[k]) * br[k] + double(bi[k]) * bi[k]);
        double realTime = 0;
        for (float v : x) realTime += double(v) * v;
        EXPECT_NEAR(realFreq / (n * realTime), 1.0, 1e-5) << "order " << order;
        rfft.Inverse(br.data(), bi.data(), back.data());
        for (long k = 0; k < n; ++k) ASSERT_NEAR(back[k] / n, x[k], 2e-6) << "order " << order;
    }
}

TEST(LFFT, AgreesWithFftwAtEverySize) {
    for (unsigned long order = 5; order <= 16; ++order) {
        const int n = 1 << order;
        const auto re = RandomVector(n, 11 + order), im = RandomVector(n, 77 + order);

        fftwf_complex* buf = fftwf_alloc_complex(n);
        fftwf_plan plan = fftwf_plan_dft_1d(n, buf, buf, FFTW_FORWARD, FFTW_ESTIMATE);
        for (int k = 0; k < n; ++k) {
            buf[k][0] = static_cast<float>(re[k]);
            buf[k][1] = static_cast<float>(im[k]);
        }
        fftwf_execute(plan);
        std::vector<float> r(re.begin(), re.end()), i(im.begin(), im.end());
        LFFTFloat fft(order);
        fft.DoFFT(r.data(), i.data());
        const double scale = std::sqrt(2.0 * n / 3.0);
        for (int k = 0; k < n; ++k) {
            ASSERT_LT(std::abs(cd(r[k], i[k]) - cd(buf[k][0], buf[k][1])) / scale, 1e-5) << "order " << order << " bin " << k;
        }
        fftwf_destroy_plan(plan);

        // Real input against r2c.
        std::vector<float> x(re.begin(), re.end());
        std::vector<float> xin = x;
        fftwf_plan rplan = fftwf_plan_dft_r2c_1d(n, xin.data(), buf, FFTW_ESTIMATE);
        xin = x;
        fftwf_execute(rplan);
        std::vector<float> br(n / 2 + 1), bi(n / 2 + 1);
        LRealFFTFloat rfft(order);
        rfft.Forward(x.data(), br.data(), bi.data());
        for (int k = 0; k <= n / 2; ++k) {
            ASSERT_LT(std::abs(cd(br[k], bi[k]) - cd(buf[k][0], buf[k][1])) / std::sqrt(n / 3.0), 1e-5)
                << "order " << order << " bin " << k;
        }
        fftwf_destroy_plan(rplan);
        fftwf_free(buf);
    }
}

bool Avx2Available() {
    return LFFTFloat(4).ForcePathForTesting(LFFTPath::Avx2);
}

// Each instruction-set path, forced, against the direct DFT and round trip.
// Orders cover every pass plan: a lone pass, the radix-4 pair and the single
// radix-4 pass after the first, the four-wide first pass of the small sizes
// and the eight-wide (8x8 transposing) first pass from 64 points on, fed with
// split arrays (complex) and with interleaved pairs (real).
TEST(LFFT, EveryPathMatchesDirectDft) {
    std::vector<LFFTPath> paths = {LFFTPath::Portable, LFFTPath::Sse2};
    if (Avx2Available()) paths.push_back(LFFTPath::Avx2);
    else GTEST_LOG_(INFO) << "no AVX2/FMA here: the AVX2 path is not tested";
    for (LFFTPath path : paths) {
        SCOPED_TRACE(static_cast<int>(path));
        for (unsigned long order = 0; order <= 14; ++order) {
            CheckComplexAgainstDft<float>(order, path, true);
            if (order >= 1) CheckRealAgainstDft<float>(order, path, true);
        }
        for (unsigned long order : {1ul, 5ul, 9ul, 12ul}) {
            const long n = 1L << order;
            const auto x = RandomVector(n, 21 + order);
            std::vector<float> in(x.begin(), x.end()), re(n / 2 + 1), im(n / 2 + 1), back(n);
            LRealFFTFloat fft(order);
            ASSERT_TRUE(fft.ForcePathForTesting(path));
            fft.Forward(in.data(), re.data(), im.data());
            fft.Inverse(re.data(), im.data(), back.data());
            for (long k = 0; k < n; ++k) ASSERT_NEAR(back[k] / n, x[k], 2e-6) << "order " << order;
        }
    }
}

// The paths differ only in lane width: results agree to rounding.
TEST(LFFT, PathsAgreeWithEachOther) {
    for (unsigned long order : {3ul, 6ul, 10ul, 13ul, 16ul}) {
        const long n = 1L << order;
        const auto re = RandomVector(n, 5 + order), im = RandomVector(n, 9 + order);
        std::vector<float> portR(re.begin(), re.end()), portI(im.begin(), im.end());
        LFFTFloat portable(order);
        ASSERT_TRUE(portable.ForcePathForTesting(LFFTPath::Portable));
        portable.DoFFT(portR.data(), portI.data());
        for (LFFTPath path : {LFFTPath::Sse2, LFFTPath::Avx2}) {
            LFFTFloat fft(order);
            if (!fft.ForcePathForTesting(path)) continue;
            std::vector<float> r(re.begin(), re.end()), i(im.begin(), im.end());
            fft.DoFFT(r.data(), i.data());
            for (long k = 0; k < n; ++k) {
                ASSERT_NEAR(r[k], portR[k], 1e-5 * std::sqrt(double(n))) << "order " << order << " bin " << k;
                ASSERT_NEAR(i[k], portI[k], 1e-5 * std::sqrt(double(n))) << "order " << order << " bin " << k;
            }
        }
    }
    // Double has only the portable path.
    LFFT fft(8);
    EXPECT_TRUE(fft.ForcePathForTesting(LFFTPath::Portable));
    EXPECT_FALSE(fft.ForcePathForTesting(LFFTPath::Avx2));
}

// An FFT made under a processor-level cap takes the path the cap allows.
TEST(LFFT, TheProcessorLevelCapChoosesThePathOfNewTransforms) {
    const unsigned long order = 10;
    const long n = 1L << order;
    const auto re = RandomVector(n, 3), im = RandomVector(n, 4);
    std::vector<float> wide(re.begin(), re.end()), wideI(im.begin(), im.end());
    LFFTFloat(order).DoFFT(wide.data(), wideI.data());
    LCpuLevelScope scalar(LCpuLevel::Scalar);
    LFFTFloat capped(order);
    EXPECT_FALSE(capped.ForcePathForTesting(LFFTPath::Sse2));  // not beyond the cap either
    std::vector<float> r(re.begin(), re.end()), i(im.begin(), im.end());
    capped.DoFFT(r.data(), i.data());
    LFFTFloat portable(order);
    ASSERT_TRUE(portable.ForcePathForTesting(LFFTPath::Portable));
    std::vector<float> pr(re.begin(), re.end()), pi(im.begin(), im.end());
    portable.DoFFT(pr.data(), pi.data());
    EXPECT_EQ(r, pr);  // the capped transform is the portable one, bit for bit
    for (long k = 0; k < n; ++k) ASSERT_NEAR(r[k], wide[k], 1e-5 * std::sqrt(double(n)));
}

TEST(LFFT, RejectsOrdersOutOfRange) {
    EXPECT_THROW(LFFT(27), std::invalid_argument);
    EXPECT_THROW(LRealFFTFloat(0), std::invalid_argument);
}

TEST(LFFTWindow, HammingAndHanningFollowTheirFormulas) {
    LHammingWindow hamming(2048);
    LHanningWindow hanning(2048);
    ASSERT_EQ(hamming.Size(), 2048);
    EXPECT_NEAR(hamming[0], 0.08, 1e-15);
    EXPECT_NEAR(hamming[2047], 0.08, 1e-12);
    EXPECT_NEAR(hanning[0], 0.0, 1e-15);
    EXPECT_NEAR(hanning[2047], 0.0, 1e-12);
    for (long i : {1L, 100L, 1023L, 1500L}) {
        EXPECT_DOUBLE_EQ(hamming[i], 0.54 - 0.46 * std::cos(kTwoPi * i / 2047.0));
        EXPECT_DOUBLE_EQ(hanning[i], 0.5 * (1 - std::cos(kTwoPi * i / 2047.0)));
        EXPECT_NEAR(hamming[i], hamming[2047 - i], 1e-12);  // symmetric
    }
    EXPECT_EQ(LHammingWindow(1)[0], 1.0);
    EXPECT_EQ(LHanningWindow(0).Size(), 0);
}

TEST(LFFTFrame, LoadsOneChannelWindowedAndMirrors) {
    const long n = 8;
    std::vector<float> stereo(2 * n);
    for (long i = 0; i < n; ++i) {
        stereo[2 * i] = 1.0f;
        stereo[2 * i + 1] = static_cast<float>(i);
    }
    LHanningWindow window(n);
    LFFTFrame frame(n);
    frame.im.assign(n, 5.0);
    frame.LoadRealSamples(stereo.data(), n, window, 2, 1);
    for (long i = 0; i < n; ++i) {
        EXPECT_DOUBLE_EQ(frame.re[i], i * window[i]);
        EXPECT_EQ(frame.im[i], 0.0);
    }
    // A short load leaves zeros behind it.
    frame.LoadRealSamples(stereo.data(), 3, window, 2, 0);
    EXPECT_EQ(frame.re[3], 0.0);

    LFFT fft(3);
    frame.LoadRealSamples(stereo.data(), n, window, 2, 1);
    std::vector<double> expectRe = frame.re, expectIm = frame.im;
    fft.DoFFT(expectRe.data(), expectIm.data());
    frame.re = expectRe;
    frame.im = expectIm;
    for (long k = n / 2 + 1; k < n; ++k) frame.re[k] = frame.im[k] = 0;
    frame.MirrorTopHalf(n);
    for (long k = 0; k < n; ++k) {
        EXPECT_NEAR(frame.re[k], expectRe[k], 1e-12);
        EXPECT_NEAR(frame.im[k], expectIm[k], 1e-12);
    }
}
