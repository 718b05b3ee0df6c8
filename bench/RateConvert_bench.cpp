// 44.1 kHz to 48 kHz stereo over ten minutes of audio, against libsamplerate
// (fastest sinc) and libsoxr (default quality) on the same input. The counter
// "realtime" is seconds of audio converted per second of wall time.
#include "stream/LSRCConvertRate.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#if defined(KV_HAVE_SAMPLERATE)
#include <samplerate.h>
#endif
#if defined(KV_HAVE_SOXR)
#include <soxr.h>
#endif

namespace {

constexpr int kInRate = 44100;
constexpr int kOutRate = 48000;
constexpr int kChannels = 2;
constexpr long long kSeconds = 600;
constexpr long long kInFrames = kSeconds * kInRate;
constexpr long long kOutFrames = kSeconds * kOutRate;
constexpr long long kBlock = 4096;

// One second of a two-tone signal, repeated: cheap to deliver, so the
// converters' own cost dominates.
const std::vector<float>& Second() {
    static const std::vector<float> data = [] {
        std::vector<float> v(kInRate * kChannels);
        for (int i = 0; i < kInRate; ++i) {
            v[2 * i] = float(0.4 * std::sin(2 * M_PI * 1000.0 * i / kInRate));
            v[2 * i + 1] = float(0.3 * std::sin(2 * M_PI * 441.0 * i / kInRate) + 0.1 * std::sin(2 * M_PI * 9000.0 * i / kInRate));
        }
        return v;
    }();
    return data;
}

// Copies `frames` input frames starting at absolute frame `at` into `out`.
void FillInput(float* out, long long at, long long frames) {
    const std::vector<float>& s = Second();
    while (frames > 0) {
        const long long offset = at % kInRate;
        const long long n = std::min(frames, kInRate - offset);
        std::memcpy(out, s.data() + offset * kChannels, size_t(n * kChannels) * sizeof(float));
        out += n * kChannels;
        at += n;
        frames -= n;
    }
}

class RepeatingSource : public LSoundSourceBase {
public:
    RepeatingSource() : LSoundSourceBase(kInRate, kChannels) {}
    void Read(float* buffer, long long frames) override {
        FillInput(buffer, position_, frames);
        position_ += frames;
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return kInFrames; }
    void Seek(long long frame) override { position_ = frame; }

private:
    long long position_ = 0;
};

void Report(benchmark::State& state) {
    state.counters["realtime"] = benchmark::Counter(double(kSeconds) * double(state.iterations()), benchmark::Counter::kIsRate);
}

void Kelvane(benchmark::State& state) {
    std::vector<float> out(kBlock * kChannels);
    for (auto _ : state) {
        LSoundSource source = MakeSource<RepeatingSource>();
        LSoundSource converted = MakeSource<LSRCConvertRate>(source, kOutRate);
        for (long long done = 0; done < kOutFrames; done += kBlock) {
            converted->Read(out.data(), std::min(kBlock, kOutFrames - done));
            benchmark::DoNotOptimize(out.data());
        }
    }
    Report(state);
}
BENCHMARK(Kelvane)->Name("Rate44to48/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime();

#if defined(KV_HAVE_SAMPLERATE)
void Samplerate(benchmark::State& state) {
    std::vector<float> in(kBlock * kChannels);
    std::vector<float> out(2 * kBlock * kChannels);
    for (auto _ : state) {
        int error = 0;
        SRC_STATE* src = src_new(SRC_SINC_FASTEST, kChannels, &error);
        long long produced = 0;
        for (long long at = 0; at < kInFrames; at += kBlock) {
            const long long n = std::min(kBlock, kInFrames - at);
            FillInput(in.data(), at, n);
            SRC_DATA d{};
            d.data_in = in.data();
            d.data_out = out.data();
            d.input_frames = n;
            d.output_frames = 2 * kBlock;
            d.src_ratio = double(kOutRate) / kInRate;
            d.end_of_input = at + n >= kInFrames;
            src_process(src, &d);
            produced += d.output_frames_gen;
            benchmark::DoNotOptimize(out.data());
        }
        benchmark::DoNotOptimize(produced);
        src_delete(src);
    }
    Report(state);
}
BENCHMARK(Samplerate)->Name("Rate44to48/samplerate")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

#if defined(KV_HAVE_SOXR)
void Soxr(benchmark::State& state) {
    std::vector<float> in(kBlock * kChannels);
    std::vector<float> out(2 * kBlock * kChannels);
    for (auto _ : state) {
        soxr_error_t error = nullptr;
        soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        soxr_t soxr = soxr_create(kInRate, kOutRate, kChannels, &error, &io, nullptr, nullptr);
        size_t produced = 0;
        for (long long at = 0; at < kInFrames; at += kBlock) {
            const long long n = std::min(kBlock, kInFrames - at);
            FillInput(in.data(), at, n);
            size_t used = 0, made = 0;
            soxr_process(soxr, in.data(), size_t(n), &used, out.data(), size_t(2 * kBlock), &made);
            produced += made;
            benchmark::DoNotOptimize(out.data());
        }
        benchmark::DoNotOptimize(produced);
        soxr_delete(soxr);
    }
    Report(state);
}
BENCHMARK(Soxr)->Name("Rate44to48/soxr")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
