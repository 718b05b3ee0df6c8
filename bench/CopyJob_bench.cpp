// The copy job against a plain read-and-write loop over the same source and
// sink: one hour of stereo float audio from memory into a sink that drops it.
// "CopyJob/kelvane" includes the limiter (the source is float, so it is
// wrapped); "CopyJob/plainloop" reads and writes 8192-frame blocks directly.
// "Limiter/kelvane" times the limiter alone per sample (items = samples).
#include "base/LProcessInterface.h"
#include "stream/LPRSourceToSink.h"
#include "stream/LSPPeakLimit.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr long long kFrames = 3600LL * kRate;
constexpr long long kPeriod = 1 << 16;  // the source repeats a short loud buffer

// Delivers a repeating buffer of loud audio at memory speed.
class RepeatingSource : public LSoundSourceBase {
public:
    RepeatingSource() : LSoundSourceBase(kRate, 2), data_(kPeriod * 2) {
        for (long long i = 0; i < kPeriod * 2; ++i) data_[i] = ((i * 7919) % 2001 - 1000) / 600.0f;
    }
    void Read(float* buffer, long long frames) override {
        while (frames > 0) {
            long long at = position_ % kPeriod;
            long long n = std::min(frames, kPeriod - at);
            std::copy_n(data_.data() + at * 2, n * 2, buffer);
            buffer += n * 2;
            frames -= n;
            position_ += n;
        }
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return kFrames; }
    void Seek(long long frame) override { position_ = frame; }

private:
    std::vector<float> data_;
    long long position_ = 0;
};

class NullSink : public LSoundSinkBase {
public:
    NullSink() : LSoundSinkBase(kRate, 2) {}
    void Write(const float* buffer, long long frames) override {
        benchmark::DoNotOptimize(buffer[0]);
        AdvancePosition(frames);
    }
};

void CopyJobKelvane(benchmark::State& state) {
    for (auto _ : state) {
        LPRSourceToSink job;
        job.source = MakeSource<RepeatingSource>();
        job.sink = MakeSink<NullSink>();
        LProcessInterfaceVoid process;
        benchmark::DoNotOptimize(Process(process, job));
    }
    state.SetItemsProcessed(state.iterations() * kFrames * 2);
}

void CopyJobPlainLoop(benchmark::State& state) {
    std::vector<float> buffer(8192 * 2);
    for (auto _ : state) {
        LSoundSource source = MakeSource<RepeatingSource>();
        LSoundSource limited = LSPPeakLimit{}.OpenSource(source);
        LSoundSink sink = MakeSink<NullSink>();
        for (long long done = 0; done < kFrames; done += 8192) {
            long long n = std::min(8192LL, kFrames - done);
            limited->Read(buffer.data(), n);
            sink->Write(buffer.data(), n);
        }
    }
    state.SetItemsProcessed(state.iterations() * kFrames * 2);
}

void LimiterAlone(benchmark::State& state) {
    const long long frames = 60LL * kRate;
    std::vector<float> buffer(8192 * 2);
    for (auto _ : state) {
        LSoundSource limited = LSPPeakLimit{}.OpenSource(MakeSource<RepeatingSource>());
        for (long long done = 0; done < frames; done += 8192) limited->Read(buffer.data(), 8192);
    }
    state.SetItemsProcessed(state.iterations() * frames * 2);
}

void LimiterBaseline(benchmark::State& state) {
    const long long frames = 60LL * kRate;
    std::vector<float> buffer(8192 * 2);
    for (auto _ : state) {
        LSoundSource source = MakeSource<RepeatingSource>();
        for (long long done = 0; done < frames; done += 8192) source->Read(buffer.data(), 8192);
    }
    state.SetItemsProcessed(state.iterations() * frames * 2);
}

}  // namespace

// The plain loop also limits, so the ratio shows the job's own overhead.
BENCHMARK(CopyJobKelvane)->Name("CopyJob/kelvane")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(CopyJobPlainLoop)->Name("CopyJob/plainloop")->Unit(benchmark::kMillisecond)->Iterations(3);
// Limiter cost per sample = (Limiter/kelvane - Limiter/unlimited) / samples.
BENCHMARK(LimiterAlone)->Name("Limiter/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(LimiterBaseline)->Name("Limiter/unlimited")->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
