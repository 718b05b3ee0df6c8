// Complex and real single-precision FFTs of 32 to 65536 points against FFTW
// (FFTW_MEASURE plans; FFTW runs on one thread unless told otherwise) and KissFFT. Times are per transform.
#include "dsp/LFFT.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#if defined(KV_HAVE_FFTW3F)
#include <fftw3.h>
#endif
#if defined(KV_HAVE_KISSFFT_FLOAT)
#include <kiss_fft.h>
#include <kiss_fftr.h>
#endif

namespace {

std::vector<float> Noise(long n) {
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

unsigned long OrderOf(long n) {
    unsigned long order = 0;
    while ((1L << order) < n) ++order;
    return order;
}

void ComplexKelvane(benchmark::State& state) {
    const long n = state.range(0);
    LFFTFloat fft(OrderOf(n));
    auto re = Noise(n), im = Noise(n);
    for (auto _ : state) {
        fft.DoFFT(re.data(), im.data());
        benchmark::DoNotOptimize(re.data());
        benchmark::ClobberMemory();
    }
}

void RealKelvane(benchmark::State& state) {
    const long n = state.range(0);
    LRealFFTFloat fft(OrderOf(n));
    auto x = Noise(n);
    std::vector<float> re(n / 2 + 1), im(n / 2 + 1);
    for (auto _ : state) {
        fft.Forward(x.data(), re.data(), im.data());
        benchmark::DoNotOptimize(re.data());
        benchmark::ClobberMemory();
    }
}

#if defined(KV_HAVE_FFTW3F)
void ComplexFftw(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    fftwf_complex* buf = fftwf_alloc_complex(n);
    fftwf_plan plan = fftwf_plan_dft_1d(n, buf, buf, FFTW_FORWARD, FFTW_MEASURE);
    const auto data = Noise(2 * n);
    for (int i = 0; i < n; ++i) {
        buf[i][0] = data[2 * i];
        buf[i][1] = data[2 * i + 1];
    }
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
    fftwf_free(buf);
}

void RealFftw(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    float* in = fftwf_alloc_real(n);
    fftwf_complex* out = fftwf_alloc_complex(n / 2 + 1);
    fftwf_plan plan = fftwf_plan_dft_r2c_1d(n, in, out, FFTW_MEASURE);
    const auto data = Noise(n);
    std::copy(data.begin(), data.end(), in);
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
    fftwf_free(in);
    fftwf_free(out);
}
#endif

#if defined(KV_HAVE_KISSFFT_FLOAT)
void ComplexKiss(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    kiss_fft_cfg cfg = kiss_fft_alloc(n, 0, nullptr, nullptr);
    std::vector<kiss_fft_cpx> in(n), out(n);
    const auto data = Noise(2 * n);
    for (int i = 0; i < n; ++i) in[i] = {data[2 * i], data[2 * i + 1]};
    for (auto _ : state) {
        kiss_fft(cfg, in.data(), out.data());
        benchmark::ClobberMemory();
    }
    kiss_fft_free(cfg);
}

void RealKiss(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    kiss_fftr_cfg cfg = kiss_fftr_alloc(n, 0, nullptr, nullptr);
    auto in = Noise(n);
    std::vector<kiss_fft_cpx> out(n / 2 + 1);
    for (auto _ : state) {
        kiss_fftr(cfg, in.data(), out.data());
        benchmark::ClobberMemory();
    }
    kiss_fft_free(cfg);
}
#endif

}  // namespace

BENCHMARK(ComplexKelvane)->Name("ComplexFFT/kelvane")->RangeMultiplier(2)->Range(32, 65536);
BENCHMARK(RealKelvane)->Name("RealFFT/kelvane")->RangeMultiplier(2)->Range(32, 65536);
#if defined(KV_HAVE_FFTW3F)
BENCHMARK(ComplexFftw)->Name("ComplexFFT/fftw")->RangeMultiplier(2)->Range(32, 65536);
BENCHMARK(RealFftw)->Name("RealFFT/fftw")->RangeMultiplier(2)->Range(32, 65536);
#endif
#if defined(KV_HAVE_KISSFFT_FLOAT)
BENCHMARK(ComplexKiss)->Name("ComplexFFT/kissfft")->RangeMultiplier(2)->Range(32, 65536);
BENCHMARK(RealKiss)->Name("RealFFT/kissfft")->RangeMultiplier(2)->Range(32, 65536);
#endif

BENCHMARK_MAIN();
