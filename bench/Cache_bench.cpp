// Importing into the sound cache against sox decoding the same file to raw
// floats, and finding an unchanged file's item again.
//
// "CacheImport/kelvane": a 1-hour stereo 16-bit Wave file read, converted to
// floats and written as .aud with its .grf and .audinfo (the whole import of
// an opened file). "CacheImport/sox": `sox in.wav -t f32 out.raw`, the same
// decode-and-write without peaks, run in the same process' timing.
// "CacheLookup/kelvane": LSoundCacheItemOriginalFileDetailsMatch over a
// folder of 1,000 items (the hit is the last item made); "CacheLookupMiss/
// kelvane" the full walk that finds nothing.
#include "base/LProcessInterface.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemAdd.h"
#include "edit/LSoundCacheItemInfo.h"
#include "formats/wave/LWaveFile.h"

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// CPU seconds of this process (all threads) or of its finished children:
// on a shared machine the wall time says more about the neighbours.
double CpuSeconds(int who) {
    rusage usage{};
    ::getrusage(who, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

std::string MakeTempFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kv-cache-bench-XXXXXX";
    return ::mkdtemp(pattern.data()) ? pattern : std::string();
}

void RemoveFolder(const std::string& folder) {
    if (!folder.empty()) std::system(("rm -rf '" + folder + "'").c_str());
}

// The one-hour Wave file, made once per run and removed at exit.
struct WaveFixture {
    std::string folder = MakeTempFolder();
    std::string wave = folder + "/in.wav";
    bool ok = false;
    WaveFixture() {
        const std::string command =
            "sox -q -n -r 44100 -c 2 -b 16 '" + wave + "' synth 3600 sine 440 sine 660 gain -3 2>/dev/null";
        ok = !folder.empty() && std::system(command.c_str()) == 0;
        ::sync();  // the write-back of the new file must not land in a timed run
    }
    ~WaveFixture() { RemoveFolder(folder); }
};

WaveFixture& Wave() {
    static WaveFixture fixture;
    return fixture;
}

void ImportKelvane(benchmark::State& state) {
    WaveFixture& fixture = Wave();
    if (!fixture.ok) return state.SkipWithError("sox could not make the test file");
    const std::string cache = fixture.folder + "/cache";
    LSoundCache::Instance().SetCacheFolder(cache);
    const double cpuStart = CpuSeconds(RUSAGE_SELF);
    for (auto _ : state) {
        LProcessInterfaceVoid process;
        uint16_t item = kSoundCacheItemNone;
        long long length = 0;
        const LProcessResult result =
            LSoundCacheImport(process, fixture.wave, LWaveFile::OpenSource(fixture.wave), false, &item, &length);
        if (result != LProcessOK || length != 3600LL * 44100) return state.SkipWithError("import failed");
        state.PauseTiming();
        LSoundCache::Instance().DecRef(item);
        LSoundCache::Instance().CacheItemDelete(item);
        ::sync();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * 3600LL * 44100 * 2 * 4);
    state.counters["cpu_ms"] = (CpuSeconds(RUSAGE_SELF) - cpuStart) * 1000.0 / state.iterations();
}

void ImportSox(benchmark::State& state) {
    WaveFixture& fixture = Wave();
    if (!fixture.ok) return state.SkipWithError("sox could not make the test file");
    const std::string out = fixture.folder + "/out.raw";
    const std::string command = "sox '" + fixture.wave + "' -t f32 '" + out + "'";
    const double cpuStart = CpuSeconds(RUSAGE_CHILDREN);
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) return state.SkipWithError("sox failed");
        state.PauseTiming();
        ::unlink(out.c_str());
        ::sync();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * 3600LL * 44100 * 2 * 4);
    state.counters["cpu_ms"] = (CpuSeconds(RUSAGE_CHILDREN) - cpuStart) * 1000.0 / state.iterations();
}

// 1,000 items, each recorded as decoded from its own small file.
struct LookupFixture {
    std::string folder = MakeTempFolder();
    std::string lastOriginal;
    struct stat lastStat {};
    LookupFixture() {
        LSoundCache& cache = LSoundCache::Instance();
        cache.SetCacheFolder(folder + "/cache");
        for (int i = 0; i < 1000; ++i) {
            const uint16_t n = cache.ItemCreateNewAndIncRef();
            const std::string original = folder + "/original" + std::to_string(i) + ".wav";
            if (FILE* f = std::fopen(original.c_str(), "wb")) {
                std::fprintf(f, "%d", i);
                std::fclose(f);
            }
            const auto info = LSoundCacheItemInfoCreate(44100, 2);
            if (FILE* f = std::fopen(cache.GetFilePath(n, ".audinfo").c_str(), "wb")) {
                std::fwrite(info.data(), 1, info.size(), f);
                std::fclose(f);
            }
            if (FILE* f = std::fopen(cache.GetFilePath(n, ".grf").c_str(), "wb")) std::fclose(f);
            struct stat st;
            ::stat(original.c_str(), &st);
            LSoundCacheItemOriginalFileDetailsAdd(n, original, static_cast<int32_t>(st.st_mtime), st.st_size,
                                                  static_cast<int32_t>(st.st_mtim.tv_nsec));
            LSoundCacheItemLastAccessTimeUpdate(n);
            lastOriginal = original;
            lastStat = st;
        }
    }
    ~LookupFixture() { RemoveFolder(folder); }
};

LookupFixture& Lookup() {
    static LookupFixture fixture;
    return fixture;
}

void LookupKelvane(benchmark::State& state) {
    LookupFixture& fixture = Lookup();
    LSoundCache::Instance().SetCacheFolder(fixture.folder + "/cache");
    for (auto _ : state) {
        const uint16_t item = LSoundCacheItemOriginalFileDetailsMatch(
            fixture.lastOriginal, fixture.lastStat.st_mtime, fixture.lastStat.st_size,
            static_cast<int32_t>(fixture.lastStat.st_mtim.tv_nsec));
        if (item == kSoundCacheItemNone) return state.SkipWithError("item not found");
        benchmark::DoNotOptimize(item);
    }
}

void LookupMissKelvane(benchmark::State& state) {
    LookupFixture& fixture = Lookup();
    LSoundCache::Instance().SetCacheFolder(fixture.folder + "/cache");
    for (auto _ : state) {
        benchmark::DoNotOptimize(LSoundCacheItemOriginalFileDetailsMatch(fixture.folder + "/other.wav", 1, 1));
    }
}

}  // namespace

BENCHMARK(ImportKelvane)->Name("CacheImport/kelvane")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(ImportSox)->Name("CacheImport/sox")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(LookupKelvane)->Name("CacheLookup/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK(LookupMissKelvane)->Name("CacheLookupMiss/kelvane")->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
