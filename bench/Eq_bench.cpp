// The 4095-tap curve equaliser over ten minutes of 44.1 kHz stereo: our
// stream against `sox ... fir` with the same taps on a same-sized 16-bit file
// (the whole sox process is timed, its output discarded), and against a plain
// direct-form loop timed on a one-second excerpt and scaled to ten minutes.
#include "dsp/LEqDesign.h"
#include "dsp/LPointList.h"
#include "stream/LSPEq.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr int kChannels = 2;
constexpr long long kFrames = 600LL * kRate;

LSPEq BenchCurve() {
    LPointList curve;
    curve.count = 4;
    curve.points[0] = {60.0, 4.0};
    curve.points[1] = {400.0, -3.0};
    curve.points[2] = {3000.0, 2.0};
    curve.points[3] = {12000.0, -9.0};
    return LSPEq::FromPointList(curve, kRate);
}

// Ten minutes made of one second of noise repeated: cheap to deliver, so
// the filter's cost dominates.
class RepeatSource : public LSoundSourceBase {
public:
    RepeatSource() : LSoundSourceBase(kRate, kChannels) {
        std::mt19937 gen(3);
        std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
        second_.resize(kRate * kChannels);
        for (auto& v : second_) v = dist(gen);
    }
    void Read(float* buffer, long long frames) override {
        for (long long i = 0; i < frames; ++i, ++position_) {
            const long long at = ((position_ % kRate) + kRate) % kRate;
            buffer[2 * i] = second_[2 * at];
            buffer[2 * i + 1] = second_[2 * at + 1];
        }
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return kFrames; }
    void Seek(long long frame) override { position_ = frame; }

private:
    std::vector<float> second_;
    long long position_ = 0;
};

void EqKelvane(benchmark::State& state) {
    const LSPEq eq = BenchCurve();
    std::vector<float> buf(16384 * kChannels);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        LSoundSource source = MakeSource<RepeatSource>();
        LSoundSource filtered = eq.OpenSource(source);
        for (long long done = 0; done < kFrames; done += 16384) {
            filtered->Read(buf.data(), std::min<long long>(16384, kFrames - done));
            benchmark::DoNotOptimize(buf.data());
        }
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    state.counters["realtime"] = benchmark::Counter(600.0 * state.iterations(), benchmark::Counter::kIsRate);
}

void EqSox(benchmark::State& state) {
    const std::string dir = "/tmp/kv-eqbench-" + std::to_string(::getpid());
    const std::string wav = dir + "/in.wav", coefs = dir + "/taps.txt";
    std::system(("mkdir -p " + dir).c_str());
    {
        std::ofstream out(coefs);
        out.precision(9);
        for (float t : MakeEqTaps(BenchCurve().gain)) out << t << "\n";
    }
    if (std::system(("sox -q -n -r 44100 -c 2 -b 16 " + wav + " synth 600 whitenoise vol 0.5").c_str()) != 0) {
        state.SkipWithError("sox could not make the input file");
        return;
    }
    const std::string command = "sox -q " + wav + " -n fir " + coefs;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (std::system(command.c_str()) != 0) state.SkipWithError("sox fir failed");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::system(("rm -rf " + dir).c_str());
}

void EqDirect(benchmark::State& state) {
    const auto taps = MakeEqTaps(BenchCurve().gain);
    const long long excerpt = kRate;  // one second, scaled to ten minutes
    std::mt19937 gen(4);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    std::vector<float> in((excerpt + kEqTapCount) * kChannels), out(excerpt * kChannels);
    for (auto& v : in) v = dist(gen);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (long long n = 0; n < excerpt; ++n) {
            for (int c = 0; c < kChannels; ++c) {
                float sum = 0.0f;
                const float* x = in.data() + (n + kEqTapCount - 1) * kChannels + c;
                for (int k = 0; k < kEqTapCount; ++k) sum += taps[k] * x[-k * kChannels];
                out[n * kChannels + c] = sum;
            }
        }
        benchmark::DoNotOptimize(out.data());
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count() * (kFrames / excerpt));
    }
}

}  // namespace

// Identical settings for all three, so that their names match for bench/ratios.py.
BENCHMARK(EqKelvane)->Name("EqFIR/kelvane")->Unit(benchmark::kMillisecond)->Iterations(2)->UseManualTime();
BENCHMARK(EqSox)->Name("EqFIR/sox")->Unit(benchmark::kMillisecond)->Iterations(2)->UseManualTime();
BENCHMARK(EqDirect)->Name("EqFIR/direct")->Unit(benchmark::kMillisecond)->Iterations(2)->UseManualTime();

BENCHMARK_MAIN();
