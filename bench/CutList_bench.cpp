// Cut-list edits, undo snapshots and reading through many segments.
//
// "CutListDelete|Insert|Copy/kelvane": one edit on a list of 100,000 segments
// (the list is copied afresh outside the timing); linear in the segments, no
// audio read. "CutListSnapshot/kelvane": copying that list, as the undo does.
// "CutListRead/kelvane": one hour of 44.1 kHz stereo read through 1,000
// segments that cover one item in order; "CutListRead/onesegment": the same
// frames through a single segment. Their ratio is what the segments cost.
#include "edit/LCutListAudio.h"
#include "edit/LSoundCache.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string MakeTempFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kv-cutlist-bench-XXXXXX";
    return ::mkdtemp(pattern.data()) ? pattern : std::string();
}

constexpr int kSegments = 100000;
constexpr int kSegmentFrames = 100;
constexpr int kItems = 8;  // spread so that no count nears its ceiling

// A temporary cache with a few small items and one long one; removed at exit.
struct CacheFixture {
    std::string folder = MakeTempFolder();
    std::vector<LCutListAudio> items;
    LCutListAudio hour;  // one segment over the whole hour
    LCutListAudio edits; // 100,000 segments

    CacheFixture() {
        LSoundCache::Instance().ResetForTesting(folder);
        std::vector<float> block(2 * 65536);
        for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<float>(i % 997) / 997.0f - 0.5f;
        for (int i = 0; i < kItems; ++i) {
            items.emplace_back();
            LSoundSink sink = items.back().OpenSink(44100, 1);
            sink->Write(block.data(), 10000);
        }
        for (int i = 0; i < kSegments; ++i) {
            const LCutListSegment& item = items[i % kItems].Segments()[0];
            edits.AppendSegment(LCutListSegment(item.Item(), (i * 37) % 9000, kSegmentFrames));
        }
        hour.SetChannels(2);
        LSoundSink sink = hour.OpenSink(44100, 2);
        for (long long left = 3600LL * 44100; left > 0; left -= 65536) sink->Write(block.data(), std::min(left, 65536LL));
        sink.Close();
        ::sync();  // the write-back of the new item must not land in a timed run
    }
    ~CacheFixture() {
        items.clear();
        hour = LCutListAudio();
        edits = LCutListAudio();
        if (!folder.empty()) std::system(("rm -rf '" + folder + "'").c_str());
    }
};

CacheFixture& Fixture() {
    static CacheFixture fixture;
    return fixture;
}

template <class Edit> void RunEdit(benchmark::State& state, Edit edit) {
    const LCutListAudio& list = Fixture().edits;
    for (auto _ : state) {
        state.PauseTiming();
        LCutListAudio copy = list;
        state.ResumeTiming();
        edit(copy);
        benchmark::DoNotOptimize(copy.GetSegmentCount());
        state.PauseTiming();
        copy = LCutListAudio();  // its release is not the edit's cost
        state.ResumeTiming();
    }
}

constexpr long long kMiddle = kSegments / 2LL * kSegmentFrames + kSegmentFrames / 2;

void CutListDelete(benchmark::State& state) {
    RunEdit(state, [](LCutListAudio& list) { list.EfDelete(kMiddle, kMiddle + 1000LL * kSegmentFrames); });
}
void CutListInsert(benchmark::State& state) {
    LCutListAudio other;
    Fixture().edits.EfCopy(0, 10 * kSegmentFrames, other);
    RunEdit(state, [&other](LCutListAudio& list) { list.EfInsert(kMiddle, other); });
}
void CutListCopy(benchmark::State& state) {
    RunEdit(state, [](LCutListAudio& list) {
        LCutListAudio dest;
        list.EfCopy(kMiddle / 2, kMiddle * 3 / 2, dest);
        benchmark::DoNotOptimize(dest.GetSegmentCount());
    });
}
void CutListSnapshot(benchmark::State& state) {
    const LCutListAudio& list = Fixture().edits;
    for (auto _ : state) {
        LCutListAudio copy = list;
        benchmark::DoNotOptimize(copy.GetSegmentCount());
        state.PauseTiming();
        copy = LCutListAudio();
        state.ResumeTiming();
    }
}

void ReadWhole(benchmark::State& state, const LCutListAudio& list) {
    std::vector<float> buffer(2 * 16384);
    for (auto _ : state) {
        LSoundSource source = list.OpenSource();
        for (long long left = source->GetEndSample(); left > 0; left -= 16384) {
            source->Read(buffer.data(), std::min(left, 16384LL));
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * list.GetLength() * 8);
}

void CutListReadOneSegment(benchmark::State& state) { ReadWhole(state, Fixture().hour); }

void CutListReadKelvane(benchmark::State& state) {
    const LCutListAudio& hour = Fixture().hour;
    const LCutListSegment& whole = hour.Segments()[0];
    LCutListAudio list;
    list.SetChannels(2);
    const long long step = whole.length / 1000 / 512 * 512;
    for (int i = 0; i < 1000; ++i) {
        const long long start = i * step;
        list.AppendSegment(LCutListSegment(whole.Item(), start, i == 999 ? whole.length - start : step));
    }
    ReadWhole(state, list);
}

}  // namespace

BENCHMARK(CutListDelete)->Name("CutListDelete/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(CutListInsert)->Name("CutListInsert/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(CutListCopy)->Name("CutListCopy/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(CutListSnapshot)->Name("CutListSnapshot/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(CutListReadKelvane)->Name("CutListRead/kelvane")->Unit(benchmark::kMillisecond)->Iterations(4);
BENCHMARK(CutListReadOneSegment)->Name("CutListRead/onesegment")->Unit(benchmark::kMillisecond)->Iterations(4);

BENCHMARK_MAIN();
