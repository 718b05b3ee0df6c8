#include "formats/external/LFFMPEGSourceManager.h"

#include "base/testing/TestSupport.h"
#include "stream/LSoundSourceError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

using kvtest::ShellQuote;

// Three seconds of a stereo tone with noise, as 16-bit Wave.
std::string MakeTone(const kvtest::TempDir& dir) {
    const std::string wave = dir.File("source.wav");
    EXPECT_EQ(kvtest::RunCommand("sox -R -n -r 44100 -c 2 -b 16 " + ShellQuote(wave) +
                                 " synth 3 sine 440 whitenoise gain -6"),
              0);
    return wave;
}

std::string Encode(const kvtest::TempDir& dir, const std::string& wave, const std::string& name,
                   const std::string& options) {
    const std::string out = dir.File(name);
    EXPECT_EQ(kvtest::RunCommand("ffmpeg -v quiet -y -i " + ShellQuote(wave) + " " + options + " " + ShellQuote(out)), 0)
        << name;
    return out;
}

// ffmpeg's own decoding, as raw little-endian samples of `format`.
template <class T>
std::vector<T> FfmpegDecode(const std::string& path, const char* format) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(kvtest::RunCommandBytes("ffmpeg -v quiet -i " + ShellQuote(path) + " -f " + format + " -", &bytes), 0);
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
    return values;
}

LSoundSource OpenSource(const std::string& path, int stream = -1) {
    LFFMPEGSourceManager manager;
    if (!manager.Open(path)) return MakeSource<LSoundSourceError>(manager.Error());
    return manager.GetSoundSource(stream);
}

// Reads the source to its end the way the opener does: the end moves ahead
// while decoding runs.
std::vector<float> ReadToEnd(LSoundSource& source) {
    std::vector<float> out;
    std::vector<float> block(size_t(4096) * source->GetChannels());
    for (long long end = source->GetEndSample(); source->GetPositionSample() < end; end = source->GetEndSample()) {
        const long long n = std::min<long long>(4096, end - source->GetPositionSample());
        source->Read(block.data(), n);
        out.insert(out.end(), block.begin(), block.begin() + n * source->GetChannels());
    }
    EXPECT_FALSE(source->IsStreaming());
    return out;
}

TEST(LFFMPEGSource, LossyAndLosslessFormatsDecodeAsFfmpegDoes) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    const std::string wave = MakeTone(dir);
    struct Case {
        const char* name;
        const char* options;
        int precision;
        double toleranceLsb;
    };
    const Case cases[] = {
        {"x.m4a", "-c:a aac -b:a 128k", 0, 2},
        {"x.ogg", "-c:a libvorbis -q:a 4", 0, 2},
        {"x.opus", "-c:a libopus -b:a 96k", 0, 2},
        {"x.wv", "-c:a wavpack", 16, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string file = Encode(dir, wave, c.name, c.options);
        LSoundSource source = OpenSource(file);
        ASSERT_EQ(source->GetError(), kSourceOk);
        EXPECT_EQ(source->GetChannels(), 2);
        EXPECT_EQ(LFFMPEGSourcePrecision(source), c.precision);
        const std::vector<float> ours = ReadToEnd(source);
        const std::vector<int16_t> theirs = FfmpegDecode<int16_t>(file, "s16le");
        ASSERT_EQ(ours.size(), theirs.size());
        // 16-bit integer audio reads as v / 32767 here; decoded float audio is
        // on FFmpeg's scale of 32768.
        const double scale = c.precision == 16 ? 32767.0 : 32768.0;
        size_t bad = 0;
        for (size_t i = 0; i < ours.size(); ++i) {
            const double ours16 = std::clamp(std::round(double(ours[i]) * scale), -32768.0, 32767.0);
            if (std::fabs(ours16 - theirs[i]) > c.toleranceLsb && bad++ < 5)
                ADD_FAILURE() << "sample " << i << ": ours " << ours16 << " ffmpeg " << theirs[i];
        }
        EXPECT_EQ(bad, 0u);
    }
}

TEST(LFFMPEGSource, TwentyFourBitFlacKeepsItsPrecision) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    const std::string wave = dir.File("deep.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 48000 -c 2 -b 24 " + ShellQuote(wave) + " synth 1 sine 997 gain -1"), 0);
    const std::string flac = Encode(dir, wave, "deep.flac", "-c:a flac");
    LSoundSource source = OpenSource(flac);
    ASSERT_EQ(source->GetError(), kSourceOk);
    EXPECT_EQ(LFFMPEGSourcePrecision(source), 24);
    const std::vector<float> ours = ReadToEnd(source);
    const std::vector<int32_t> theirs = FfmpegDecode<int32_t>(flac, "s32le");
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size(); ++i) {
        const double ours24 = double(ours[i]) * 8388608.0;
        ASSERT_NEAR(ours24, double(theirs[i] >> 8), 1.0) << i;
    }
    const std::string flac16 = Encode(dir, MakeTone(dir), "plain.flac", "-c:a flac");
    LSoundSource plain = OpenSource(flac16);
    EXPECT_EQ(LFFMPEGSourcePrecision(plain), 16);
}

TEST(LFFMPEGSource, TheAudioStreamIsFoundBesideVideo) {
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    const std::string movie = dir.File("clip.mkv");
    ASSERT_EQ(kvtest::RunCommand("ffmpeg -v quiet -y -f lavfi -i testsrc=size=32x24:rate=5 -f lavfi -i "
                                 "sine=frequency=300:sample_rate=22050 -t 1 -c:v mpeg4 -c:a flac " +
                                 ShellQuote(movie)),
              0);
    for (int index : {-1, 0, 7}) {
        SCOPED_TRACE(index);
        LSoundSource source = OpenSource(movie, index);
        ASSERT_EQ(source->GetError(), kSourceOk);
        EXPECT_EQ(source->GetSampleRate(), 22050);
        EXPECT_EQ(ReadToEnd(source).size(), 22050u);
    }
}

TEST(LFFMPEGSource, SeekingBackAndForthGivesTheSameFrames) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    const std::string file = Encode(dir, MakeTone(dir), "x.ogg", "-c:a libvorbis");
    LSoundSource source = OpenSource(file);
    const std::vector<float> all = ReadToEnd(source);
    std::vector<float> part(2000 * 2);
    for (long long at : {100000LL, 5LL, 70000LL, 131000LL}) {
        source->Seek(at);
        source->Read(part.data(), 2000);
        for (long long i = 0; i < 2000 * 2; ++i) {
            const size_t k = size_t(at * 2 + i);
            ASSERT_EQ(part[i], k < all.size() ? all[k] : 0.0f) << "at " << at << " + " << i;
        }
    }
}

TEST(LFFMPEGSource, BadInputGivesErrorsOrWhatDecoded) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    EXPECT_EQ(OpenSource(dir.File("missing.m4a"))->GetError(), kSourceNoFile);

    std::vector<uint8_t> noise(20000);
    for (size_t i = 0; i < noise.size(); ++i) noise[i] = uint8_t((i * 2654435761u) >> 13);
    kvtest::WriteFileBytes(dir.File("noise.m4a"), noise);
    EXPECT_NE(OpenSource(dir.File("noise.m4a"))->GetError(), kSourceOk);

    // A file cut in the middle gives what was there, and no more.
    const std::string whole = Encode(dir, MakeTone(dir), "whole.ogg", "-c:a libvorbis");
    std::vector<uint8_t> bytes = kvtest::ReadFileBytes(whole);
    bytes.resize(bytes.size() / 2);
    kvtest::WriteFileBytes(dir.File("half.ogg"), bytes);
    LSoundSource half = OpenSource(dir.File("half.ogg"));
    ASSERT_EQ(half->GetError(), kSourceOk);
    const size_t frames = ReadToEnd(half).size() / 2;
    EXPECT_GT(frames, 30000u);
    EXPECT_LT(frames, 110000u);

    // A stop asked for before opening ends it at once.
    LFFMPEGSourceManager stopped;
    EXPECT_FALSE(stopped.Open(whole, [] { return true; }));
    EXPECT_EQ(stopped.Error(), kSourceClosed);
}

}  // namespace
