// Opening and saving documents against the reference tools, on ten minutes
// of stereo audio.
//
// "OpenM4a/kelvane": the opening ladder on an AAC file (FFmpeg's rung) and
// the import into the sound cache; "OpenM4a/ffmpeg": `ffmpeg -i in.m4a -f
// f32le out.raw`. "OpenFlac/kelvane": the same for FLAC (the decoder program
// route); "OpenFlac/flac": `flac -d` of it to a Wave file. "SaveWave/kelvane":
// the save job writing a document as 16-bit Wave; "SaveWave/sox": sox
// converting the same float frames to 16-bit Wave. "Reopen/kelvane": the
// load job on the unchanged AAC file, which takes the cache item it left;
// "Reopen/firstopen": the first open of it, for the ratio of the two.
#include "base/LFile.h"
#include "base/LProcessInterface.h"
#include "edit/LCutListAudio.h"
#include "edit/LKVLoadFile.h"
#include "edit/LKVSaveToSink.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCutListAdd.h"
#include "formats/LGenSourceOpen.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string MakeTempFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kv-open-bench-XXXXXX";
    return ::mkdtemp(pattern.data()) ? pattern : std::string();
}

// Ten minutes of stereo as FLAC and as raw floats, made once per run, with
// a sound cache of their own.
struct Fixture {
    std::string folder = MakeTempFolder();
    std::string flac = folder + "/in.flac";
    std::string m4a = folder + "/in.m4a";
    std::string raw = folder + "/in.f32";
    bool ok = false;
    Fixture() {
        const std::string wave = folder + "/in.wav";
        ok = !folder.empty() &&
             std::system(("sox -q -n -r 44100 -c 2 -b 16 '" + wave + "' synth 600 sine 440 sine 660 gain -3").c_str()) ==
                 0 &&
             std::system(("flac -s -f '" + wave + "' -o '" + flac + "'").c_str()) == 0 &&
             std::system(("ffmpeg -v quiet -y -i '" + wave + "' -c:a aac -b:a 160k '" + m4a + "'").c_str()) == 0 &&
             std::system(("sox '" + wave + "' -t f32 '" + raw + "'").c_str()) == 0;
        ::unlink(wave.c_str());
        LSoundCache::Instance().ResetForTesting(folder + "/cache");
        ::sync();
    }
    ~Fixture() {
        LSoundCache::Instance().ResetForTesting(folder + "/cache");
        std::system(("rm -rf '" + folder + "'").c_str());
    }
};

Fixture& Files() {
    static Fixture fixture;
    return fixture;
}

// The first open: ladder and import, without looking for an earlier item.
bool OpenIntoList(const std::string& path, LCutListAudio& list) {
    LProcessInterfaceVoid job;
    LGenSourceOpenInterfaceProcess opening(job);
    LSoundSource source;
    return ProcessGenSourceOpenSource(source, path.c_str(), opening, true) == LProcessOK &&
           LSoundCutListAdd(job, path, source, list, false) == LProcessOK;
}

void OpenFlacKelvane(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac)");
    for (auto _ : state) {
        LCutListAudio list;
        if (!OpenIntoList(Files().flac, list)) return state.SkipWithError("open failed");
    }
}

void OpenM4aKelvane(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac, ffmpeg)");
    for (auto _ : state) {
        LCutListAudio list;
        if (!OpenIntoList(Files().m4a, list)) return state.SkipWithError("open failed");
    }
}

void OpenM4aTool(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac, ffmpeg)");
    const std::string out = Files().folder + "/decoded.raw";
    for (auto _ : state) {
        if (std::system(("ffmpeg -v quiet -y -i '" + Files().m4a + "' -f f32le '" + out + "'").c_str()) != 0)
            return state.SkipWithError("ffmpeg failed");
    }
    ::unlink(out.c_str());
}

void OpenFlacTool(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac)");
    const std::string out = Files().folder + "/decoded.wav";
    for (auto _ : state) {
        if (std::system(("flac -s -d -f '" + Files().flac + "' -o '" + out + "'").c_str()) != 0)
            return state.SkipWithError("flac failed");
    }
    ::unlink(out.c_str());
}

void SaveWaveKelvane(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac)");
    LCutListAudio list;
    if (!OpenIntoList(Files().flac, list)) return state.SkipWithError("open failed");
    const std::string out = Files().folder + "/saved.wav";
    for (auto _ : state) {
        LKVSaveToSink job;
        job.cutList = list;
        job.target = out;
        job.writePath = out;
        LProcessInterfaceVoid process;
        if (Process(process, job) != LProcessOK) return state.SkipWithError("save failed");
    }
    ::unlink(out.c_str());
}

void SaveWaveSox(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac)");
    const std::string out = Files().folder + "/sox.wav";
    for (auto _ : state) {
        if (std::system(("sox -t f32 -r 44100 -c 2 '" + Files().raw + "' -b 16 '" + out + "'").c_str()) != 0)
            return state.SkipWithError("sox failed");
    }
    ::unlink(out.c_str());
}

void ReopenKelvane(benchmark::State& state) {
    if (!Files().ok) return state.SkipWithError("no fixture (sox, flac)");
    LCutListAudio first;
    LKVLoadFile load{Files().m4a, &first};
    LProcessInterfaceVoid job;
    if (Process(job, load) != LProcessOK) return state.SkipWithError("open failed");
    for (auto _ : state) {
        LCutListAudio list;
        LKVLoadFile again{Files().m4a, &list};
        if (Process(job, again) != LProcessOK || !again.reusedCacheItem) return state.SkipWithError("no reuse");
    }
}

}  // namespace

BENCHMARK(OpenM4aKelvane)->Name("OpenM4a/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(OpenM4aTool)->Name("OpenM4a/ffmpeg")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(OpenFlacKelvane)->Name("OpenFlac/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(OpenFlacTool)->Name("OpenFlac/flac")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(SaveWaveKelvane)->Name("SaveWave/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(SaveWaveSox)->Name("SaveWave/sox")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(ReopenKelvane)->Name("Reopen/kelvane")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);
BENCHMARK(OpenM4aKelvane)->Name("Reopen/firstopen")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK_MAIN();
