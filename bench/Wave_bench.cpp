// Reading one hour of stereo Wave audio into floats, against sox converting
// the same file to 32-bit floats into /dev/null. The files are made once in
// /tmp by sox and removed when the benchmark ends; both readers find them in
// the page cache after the first pass.
#include "formats/wave/LWaveFile.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

class HourFile {
public:
    explicit HourFile(int bits) : path_("/tmp/kv_wave_bench_" + std::to_string(getpid()) + "_" + std::to_string(bits) + ".wav") {
        std::string cmd = "sox -R -n -r 44100 -c 2 -b " + std::to_string(bits) + " " + path_ +
                          " synth 3600 whitenoise gain -3";
        ok_ = std::system(cmd.c_str()) == 0;
    }
    ~HourFile() { unlink(path_.c_str()); }
    const std::string& Path() const { return path_; }
    bool Ok() const { return ok_; }

private:
    std::string path_;
    bool ok_ = false;
};

const HourFile& File(int bits) {
    static HourFile f16(16);
    static HourFile f24(24);
    return bits == 16 ? f16 : f24;
}

void ReadKelvane(benchmark::State& state, int bits) {
    const HourFile& file = File(bits);
    if (!file.Ok()) {
        state.SkipWithError("sox could not make the file");
        return;
    }
    std::vector<float> buffer(8192 * 2);
    for (auto _ : state) {
        LSoundSource source = LWaveFile::OpenSource(file.Path());
        long long end = source->GetEndSample();
        for (long long at = 0; at < end; at += 8192) {
            source->Read(buffer.data(), 8192);
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * 44100LL * 3600);
}

void ReadSox(benchmark::State& state, int bits) {
    const HourFile& file = File(bits);
    if (!file.Ok()) {
        state.SkipWithError("sox could not make the file");
        return;
    }
    std::string cmd = "sox " + file.Path() + " -t f32 /dev/null";
    for (auto _ : state) {
        if (std::system(cmd.c_str()) != 0) state.SkipWithError("sox failed");
    }
    state.SetItemsProcessed(state.iterations() * 44100LL * 3600);
}

void WaveRead16Kelvane(benchmark::State& s) { ReadKelvane(s, 16); }
void WaveRead16Sox(benchmark::State& s) { ReadSox(s, 16); }
void WaveRead24Kelvane(benchmark::State& s) { ReadKelvane(s, 24); }
void WaveRead24Sox(benchmark::State& s) { ReadSox(s, 24); }

}  // namespace

BENCHMARK(WaveRead16Kelvane)->Name("WaveRead16/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(WaveRead16Sox)->Name("WaveRead16/sox")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(WaveRead24Kelvane)->Name("WaveRead24/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(WaveRead24Sox)->Name("WaveRead24/sox")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

BENCHMARK_MAIN();
