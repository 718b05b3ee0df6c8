// Undo snapshots of a large document.
//
// "UndoSnapshot/kelvane": KVFile::SaveForUndo on a document of 100,000
// segments, once the ring is full (every record is reused in place).
// "UndoEdit/kelvane": one whole edit through the modify bracket: snapshot,
// a gain change on one segment, end of the edit (space check, refresh calls
// into a recording controller). "UndoUndoRedo/kelvane": one undo and one
// redo. The goal is well under 20 ms per edit.
#include "edit/KVCoreUtils.h"
#include "edit/KVFile.h"
#include "edit/LSoundCache.h"
#include "edit/testing/FakeFileView.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kSegments = 100000;
// Spread over enough items that no item's 16-bit count nears its ceiling
// with 35 copies of the list alive.
constexpr int kItems = 128;

std::string MakeTempFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kv-undo-bench-XXXXXX";
    return ::mkdtemp(pattern.data()) ? pattern : std::string();
}

struct DocumentFixture {
    std::string folder = MakeTempFolder();
    std::vector<LCutListAudio> items;
    std::unique_ptr<KVFile> file;
    std::unique_ptr<FakeFileView> view;

    DocumentFixture() {
        LSoundCache::Instance().ResetForTesting(folder);
        std::vector<float> block(1000, 0.25f);
        for (int i = 0; i < kItems; ++i) {
            items.emplace_back();
            LSoundSink sink = items.back().OpenSink(44100, 1);
            sink->Write(block.data(), 1000);
        }
        LCutListAudio list;
        for (int i = 0; i < kSegments; ++i)
            list.AppendSegment(LCutListSegment(items[i % kItems].Segments()[0].Item(), (i * 7) % 900, 100));
        file = std::make_unique<KVFile>("/bench/long.wav", list);
        view = std::make_unique<FakeFileView>(file.get());
        // Fill the ring so that every measured snapshot reuses a record.
        for (int i = 0; i < KVFile::kUndoRecords; ++i) file->SaveForUndo("Füllen");
    }
    ~DocumentFixture() {
        view.reset();
        file.reset();
        items.clear();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

DocumentFixture& Fixture() {
    static DocumentFixture fixture;
    return fixture;
}

void UndoSnapshot(benchmark::State& state) {
    KVFile& file = *Fixture().file;
    for (auto _ : state) {
        file.SaveForUndo("Verstärken");
        benchmark::ClobberMemory();
    }
    state.counters["segments"] = static_cast<double>(file.cutList.GetSegmentCount());
}
BENCHMARK(UndoSnapshot)->Name("UndoSnapshot/kelvane")->Unit(benchmark::kMillisecond);

void UndoEdit(benchmark::State& state) {
    DocumentFixture& fixture = Fixture();
    KVFile& file = *fixture.file;
    int n = 0;
    for (auto _ : state) {
        KVCoreUtils::StartModifyFile(fixture.view.get(), "Verstärken");
        file.cutList.Segments()[(n++ * 7919) % kSegments].gain *= 1.01f;
        KVCoreUtils::EndModifyFile(fixture.view.get());
        fixture.view->Controller().Take();
    }
}
BENCHMARK(UndoEdit)->Name("UndoEdit/kelvane")->Unit(benchmark::kMillisecond);

void UndoUndoRedo(benchmark::State& state) {
    KVFile& file = *Fixture().file;
    file.SaveForUndo("Verstärken");
    for (auto _ : state) {
        file.Undo();
        file.Redo();
    }
}
BENCHMARK(UndoUndoRedo)->Name("UndoUndoRedo/kelvane")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
