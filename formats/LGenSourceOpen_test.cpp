#include "formats/LGenSourceOpen.h"

#include "base/LFile.h"
#include "base/testing/TestSupport.h"
#include "formats/LGenSourceDecoders.h"
#include "formats/LTempWaveClaim.h"
#include "formats/external/LFFMPEGSourceManager.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/testing/WaveTestSupport.h"
#include "stream/LSoundSourceError.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

class Job : public LProcessInterfaceVoid {
public:
    bool IsToStop() override { return stop.load(); }
    void SetError(const char* text) override { errors.push_back(text); }
    std::atomic<bool> stop{false};
    std::vector<std::string> errors;
};

std::string ListFolder(const std::string& folder) {
    std::string out;
    kvtest::RunCommand("ls -A " + kvtest::ShellQuote(folder), &out);
    return out;
}

class OpenerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(mkdir(temp_.c_str(), 0777), 0);
        ASSERT_EQ(mkdir(tools_.c_str(), 0777), 0);
    }

    // A 16-bit stereo Wave file of 1000 known frames.
    std::string MakeWave(const std::string& name) {
        const std::string path = dir_.File(name);
        EXPECT_EQ(kvtest::RunCommand("sox -R -n -r 8000 -c 2 -b 16 " + kvtest::ShellQuote(path) +
                                     " synth 0.125 sine 300 gain -6"),
                  0);
        return path;
    }

    // A decoder program on PATH: writes its arguments to <name>.args, copies
    // `reference` to argument number `output` and exits with `code`.
    void FakeTool(const std::string& name, int output, int code, const std::string& reference) {
        const std::string script = "#!/bin/sh\nprintf '%s\\n' \"$@\" > " + tools_ + "/" + name +
                                   ".args\n" + (reference.empty() ? "" : "/bin/cp " + reference + " \"$" +
                                                                             std::to_string(output) + "\"\n") +
                                   "exit " + std::to_string(code) + "\n";
        const std::string path = tools_ + "/" + name;
        kvtest::WriteFileBytes(path, std::vector<uint8_t>(script.begin(), script.end()));
        chmod(path.c_str(), 0755);
    }
    std::string ToolArgs(const std::string& name) {
        std::string text;
        LFile::ReadWholeFile(tools_ + "/" + name + ".args", &text);
        return text;
    }

    LProcessResult Open(const std::string& path, LSoundSource& source, bool quiet = false) {
        // Only the fake decoders: the real ones installed on the machine stay out.
        kvtest::ScopedEnv onlyFakes("PATH", tools_);
        LGenSourceOpenInterfaceProcess opening(job_, false, temp_);
        return ProcessGenSourceOpenSource(source, path.c_str(), opening, quiet);
    }

    kvtest::TempDir dir_;
    std::string temp_ = dir_.File("temp");
    std::string tools_ = dir_.File("tools");
    Job job_;
};

TEST_F(OpenerTest, TheSixtyOpeningExtensions) {
    const std::vector<std::string>& list = LGenSourceOpenExtensions();
    ASSERT_EQ(list.size(), 60u);
    EXPECT_EQ(list.front(), ".wav");
    EXPECT_EQ(list[37], ".mpc");
    EXPECT_EQ(list[52], ".mpc");
    EXPECT_EQ(list.back(), ".aud");
}

TEST_F(OpenerTest, AWaveUnderAnotherNameOpensAsItIs) {
    KV_REQUIRE_TOOL("sox");
    const std::string wave = MakeWave("real.wav");
    const std::string named = dir_.File("song.mp3");
    ASSERT_EQ(rename(wave.c_str(), named.c_str()), 0);
    LSoundSource source;
    ASSERT_EQ(Open(named, source), LProcessOK);
    EXPECT_EQ(source->GetEndSample(), 1000);
    EXPECT_EQ(source->GetChannels(), 2);
    EXPECT_EQ(ListFolder(temp_), "");
}

TEST_F(OpenerTest, DecoderProgramsGetTheirArgumentsInTheirOrder) {
    KV_REQUIRE_TOOL("sox");
    const std::string reference = MakeWave("reference.wav");
    struct Row {
        const char* extension;
        const char* program;
        int output;  // which argument is the Wave file
        std::vector<std::string> before, between;
        bool tempFirst;
    };
    const Row rows[] = {
        {".ogg", "oggdec", 2, {"-o"}, {}, true},
        {".flac", "flac", 3, {"-d", "-o"}, {"-F"}, true},
        {".opus", "opusdec", 2, {}, {}, false},
        {".mpc", "mpcdec", 2, {}, {}, false},
        {".spx", "speexdec", 2, {}, {}, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.extension);
        FakeTool(row.program, row.output, 0, reference);
        const std::string file = dir_.File(std::string("in") + row.extension);
        kvtest::WriteFileBytes(file, {1, 2, 3, 4});  // nothing our readers take
        LSoundSource source;
        ASSERT_EQ(Open(file, source), LProcessOK);
        EXPECT_EQ(source->GetEndSample(), 1000);
        const std::string wave = temp_ + "/Temp1.wav";
        std::string want;
        for (const std::string& a : row.before) want += a + "\n";
        want += (row.tempFirst ? wave : file) + "\n";
        for (const std::string& a : row.between) want += a + "\n";
        want += (row.tempFirst ? file : wave) + "\n";
        EXPECT_EQ(ToolArgs(row.program), want);
        EXPECT_EQ(ListFolder(temp_), "Temp1.wav\n");  // until the source closes
        source.Close();
        EXPECT_EQ(ListFolder(temp_), "");
    }
}

TEST_F(OpenerTest, AFailingDecoderGoesOnAndLeavesNothing) {
    KV_REQUIRE_TOOL("sox");
    const std::string reference = MakeWave("reference.wav");
    const std::string file = dir_.File("bad.ogg");
    kvtest::WriteFileBytes(file, {1, 2, 3, 4});
    for (int code : {2, 1}) {
        FakeTool("oggdec", 2, code, reference);  // writes a Wave but fails
        LSoundSource source;
        EXPECT_EQ(Open(file, source), LProcessFailed) << code;
        EXPECT_NE(source->GetError(), kSourceOk);
        EXPECT_EQ(ListFolder(temp_), "");
    }
    FakeTool("oggdec", 2, 0, "");  // says it worked but wrote nothing
    LSoundSource source;
    EXPECT_EQ(Open(file, source), LProcessFailed);
    EXPECT_EQ(ListFolder(temp_), "");
}

TEST_F(OpenerTest, AStopDuringTheDecoderEndsItAsStopped) {
    const std::string file = dir_.File("long.ogg");
    kvtest::WriteFileBytes(file, {1, 2, 3, 4});
    const std::string script = "#!/bin/sh\nwhile true; do /bin/sleep 0.1; done\n";
    kvtest::WriteFileBytes(tools_ + "/oggdec", std::vector<uint8_t>(script.begin(), script.end()));
    chmod((tools_ + "/oggdec").c_str(), 0755);
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        job_.stop = true;
    });
    LSoundSource source;
    EXPECT_EQ(Open(file, source), LProcessStopped);
    stopper.join();
    EXPECT_TRUE(job_.errors.empty());
    EXPECT_EQ(ListFolder(temp_), "");
}

TEST_F(OpenerTest, MissingDecodersNameThePlugInOnlyWhenNothingElseOpensTheFile) {
    const std::string file = dir_.File("x.ogg");
    kvtest::WriteFileBytes(file, {1, 2, 3, 4});
    LSoundSource source;
    EXPECT_EQ(Open(file, source), LProcessFailed);
    ASSERT_EQ(job_.errors.size(), 1u);
    EXPECT_EQ(job_.errors[0].rfind("Kelvane Audio-Editor konnte Plug-in für die Datei mit der Endung \".ogg\" nicht "
                                   "finden.\r\n\r\nSie müssen das Plug-in selbst herunterladen und installieren.",
                                   0),
              0u)
        << job_.errors[0];
    EXPECT_EQ(ListFolder(temp_), "");

    job_.errors.clear();
    const std::string caf = dir_.File("x.caf");
    kvtest::WriteFileBytes(caf, {1, 2, 3, 4});
    EXPECT_EQ(Open(caf, source), LProcessFailed);
    ASSERT_EQ(job_.errors.size(), 1u);
    EXPECT_NE(job_.errors[0].find("Es scheint kein Plug-in verfügbar zu sein"), std::string::npos);

    job_.errors.clear();
    EXPECT_EQ(Open(caf, source, /*quiet=*/true), LProcessFailed);
    EXPECT_TRUE(job_.errors.empty());
}

TEST_F(OpenerTest, MessagesByCodeAndExtension) {
    EXPECT_EQ(LGenSourceErrorText(kSourceNoFile, "/a/b.wv", ""),
              "Die Datei \"/a/b.wv\" kann nicht geöffnet werden. Überprüfen Sie, ob diese existiert und Sie "
              "Lesezugriff haben.");
    EXPECT_EQ(LGenSourceErrorText(kSourceBadFormat, "/a/b.xyz", ""),
              "Die Datei \"/a/b.xyz\" kann nicht geöffnet werden, da sie beschädigt ist.");
    EXPECT_EQ(LGenSourceErrorText(kSourceBadFormat, "/a/b.MP3", ""),
              "Die Datei \"/a/b.MP3\" kann nicht geöffnet werden. Sie ist entweder beschädigt oder keine wahre "
              "Layer-3 MPEG Datei.");
    EXPECT_EQ(LGenSourceErrorText(kSourceUnsupported, "/a/b.mid", ""),
              "MIDI-Entschlüsselung wird derzeit in unseren Produkten in OS X nicht unterstützt.");
    EXPECT_EQ(LGenSourceErrorText(kSourceUnsupported, "/a/b.m4a", ""),
              "Quicktime konnte die Datei \"/a/b.m4a\"nicht entschlüsseln. Bitte laden Sie die Datei in den "
              "Quicktime-Spieler und prüfen Sie, dass sie richtig spielt.");
    EXPECT_EQ(LGenSourceErrorText(kSourceBadFormat, "/a/b.ogg", "/t/Temp1.wav"),
              "Die Decodierung ist während der Komprimierung der Datei \"/a/b.ogg\" ins Wave-Format fehlgeschlagen. "
              "Möglicherweise hat Ihr Anmeldekonto keine Schreibberechtigung für den Ordner \"/t\"");
    EXPECT_EQ(LGenSourceErrorText(kSourceUnsupported, "/a/b.xyz", "").rfind(
                  "Datei \"/a/b.xyz\" kann nicht geöffnet werden. Es ist möglich, dass das Dateiformat nicht von "
                  "Kelvane unterstützt wird.",
                  0),
              0u);

    // A Wave file of a codec we don't decode names the codec.
    std::vector<uint8_t> chunks;
    wavetest::AppendChunk(chunks, "fmt ", wavetest::FmtBody(2, 1, 8000, 4));
    wavetest::AppendChunk(chunks, "data", std::vector<uint8_t>(64, 0));
    const std::string adpcm = dir_.File("adpcm.wav");
    kvtest::WriteFileBytes(adpcm, wavetest::Riff(chunks));
    LSoundSource source;
    EXPECT_EQ(Open(adpcm, source), LProcessFailed);
    ASSERT_EQ(job_.errors.size(), 1u);
    EXPECT_EQ(job_.errors[0].rfind("Kann die Datei \"" + adpcm + "\" nicht öffnen, da der benötigte Codec (\"", 0),
              0u)
        << job_.errors[0];
}

TEST_F(OpenerTest, TempNamesAreClaimedOnceAndStaleFilesGo) {
    LTempWaveClaim first, second;
    ASSERT_TRUE(first.Claim(temp_));
    ASSERT_TRUE(second.Claim(temp_));
    EXPECT_EQ(first.WavePath(), temp_ + "/Temp1.wav");
    EXPECT_EQ(second.WavePath(), temp_ + "/Temp2.wav");
    first.Drop();
    // A Wave file left by a run that died is deleted when its number is taken.
    kvtest::WriteFileBytes(temp_ + "/Temp1.wav", {1});
    LTempWaveClaim third;
    ASSERT_TRUE(third.Claim(temp_));
    EXPECT_EQ(third.WavePath(), temp_ + "/Temp1.wav");
    EXPECT_NE(access((temp_ + "/Temp1.wav").c_str(), F_OK), 0);
    third.Drop();
    second.Drop();
    EXPECT_EQ(ListFolder(temp_), "");
    LTempWaveClaim nowhere;
    EXPECT_FALSE(nowhere.Claim(dir_.File("missing")));
}

TEST_F(OpenerTest, ConcurrentOpeningsTakeDifferentNames) {
    std::vector<std::string> names(8);
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    std::vector<std::unique_ptr<LTempWaveClaim>> claims(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            claims[i] = std::make_unique<LTempWaveClaim>();
            ++ready;
            while (ready < 8) std::this_thread::yield();
            if (claims[i]->Claim(temp_)) names[i] = claims[i]->WavePath();
        });
    }
    for (std::thread& t : threads) t.join();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
    EXPECT_EQ(names.front(), temp_ + "/Temp1.wav");
}

// FFmpeg's rung writes a temporary Wave file of the source's precision: the
// frames read from it are FFmpeg's own, bit for bit, for float (lossy) and
// for 24-bit audio.
TEST_F(OpenerTest, FFmpegRungKeepsTheDecodedSamplesExactly) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    const std::string deep = dir_.File("deep.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 48000 -c 2 -b 24 " + kvtest::ShellQuote(deep) +
                                 " synth 0.5 sine 500 gain -1"),
              0);
    for (const char* encoded : {"x.m4a", "x.flac"}) {
        SCOPED_TRACE(encoded);
        const std::string file = dir_.File(encoded);
        ASSERT_EQ(kvtest::RunCommand("ffmpeg -v quiet -y -i " + kvtest::ShellQuote(deep) + " " +
                                     kvtest::ShellQuote(file)),
                  0);
        LSoundSource opened;
        ASSERT_EQ(Open(file, opened), LProcessOK);  // no decoder programs: FFmpeg's rung
        LFFMPEGSourceManager manager;
        ASSERT_TRUE(manager.Open(file));
        LSoundSource direct = manager.GetSoundSource();
        const long long end = direct->GetEndSample();  // decodes ahead to the end of this short file
        ASSERT_FALSE(direct->IsStreaming());
        ASSERT_EQ(opened->GetEndSample(), end);
        std::vector<float> a(size_t(end) * 2), b(size_t(end) * 2);
        opened->Read(a.data(), end);
        direct->Read(b.data(), end);
        if (std::string(encoded) == "x.flac") {
            // The 24-bit file holds FFmpeg's 24-bit values; ours read them on our scale.
            for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 1.0 / 8388608.0) << i;
        } else {
            EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0);
        }
        opened.Close();
        EXPECT_EQ(ListFolder(temp_), "");
    }
}

}  // namespace
