#include "formats/wave/LSNKPCMFile.h"

#include "formats/wave/LWaveCodecRegistry.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/testing/WaveTestSupport.h"
#include "stream/LSoundSinkError.h"

#include <cmath>

using namespace wavetest;
using kvtest::ShellQuote;

namespace {

std::vector<float> Ramp(long long frames, int channels) {
    std::vector<float> v(size_t(frames) * channels);
    for (size_t i = 0; i < v.size(); ++i) v[i] = float(std::sin(double(i) * 0.37) * 0.9);
    return v;
}

void WriteAll(LSoundSink& sink, const std::vector<float>& v, int channels) {
    sink->Write(v.data(), (long long)(v.size() / channels));
}

TEST(WaveWrite, SixteenBitFileHasThe46ByteHeaderAndPassesTheTools) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffprobe");
    kvtest::TempDir dir;
    std::string path = dir.File("out.wav");
    std::vector<float> in = Ramp(20000, 2);
    {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 44100, 2, 16);
        ASSERT_FALSE(sink->HasFailed());
        WriteAll(sink, in, 2);
        EXPECT_EQ(sink->GetPositionSample(), 20000);
    }
    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    ASSERT_EQ(b.size(), 46u + 80000u);
    const uint8_t expected[46] = {'R', 'I', 'F', 'F', 0xA6, 0x38, 0x01, 0x00, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ',
                                  18, 0, 0, 0, 1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 0x02, 0, 4, 0, 16, 0, 0, 0,
                                  'd', 'a', 't', 'a', 0x80, 0x38, 0x01, 0x00};
    EXPECT_EQ(std::vector<uint8_t>(b.begin(), b.begin() + 46), std::vector<uint8_t>(expected, expected + 46));

    std::string info = Sh("sox --i " + ShellQuote(path));
    EXPECT_NE(info.find("Channels       : 2"), std::string::npos) << info;
    EXPECT_NE(info.find("Sample Rate    : 44100"), std::string::npos) << info;
    EXPECT_NE(info.find("Precision      : 16-bit"), std::string::npos) << info;
    EXPECT_NE(info.find("20000 samples"), std::string::npos) << info;
    std::string probe = Sh("ffprobe -v error -show_entries stream=codec_name,channels,sample_rate,duration_ts -of "
                           "default=nw=1 " + ShellQuote(path));
    EXPECT_NE(probe.find("codec_name=pcm_s16le"), std::string::npos) << probe;
    EXPECT_NE(probe.find("duration_ts=20000"), std::string::npos) << probe;

    // sox sees the integers our rounding rule gives.
    std::vector<int32_t> sox = SoxS32(path);
    ASSERT_EQ(sox.size(), in.size());
    for (size_t i = 0; i < in.size(); ++i) {
        double x = double(in[i] * 32767.0f);
        ASSERT_EQ(sox[i] >> 16, int(std::trunc(x + (in[i] < 0 ? -0.5 : 0.5)))) << i;
    }
    LSoundSource back = LWaveFile::OpenSource(path);
    EXPECT_FALSE(back->IsStreaming());
    std::vector<float> out = ReadAll(back);
    for (size_t i = 0; i < in.size(); ++i) ASSERT_NEAR(out[i], in[i], 1.0 / 32767) << i;
}

TEST(WaveWrite, OddLength24BitMonoEndsWithAPadByte) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    std::string path = dir.File("odd.wav");
    std::vector<float> in = Ramp(7, 1);
    {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 48000, 1, 24);
        WriteAll(sink, in, 1);
    }
    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    ASSERT_EQ(b.size(), 46u + 21u + 1u);
    EXPECT_EQ(LE32(b, 42), 21u);
    EXPECT_EQ(LE32(b, 4), 21u + 38u);
    EXPECT_EQ(LE16(b, 32), 3);
    EXPECT_EQ(b.back(), 0);
    // 24-bit values keep the top three bytes of the 32-bit rounding.
    for (size_t i = 0; i < in.size(); ++i) {
        double x = double(in[i]) * 2147483647.0;
        int32_t v = int32_t(std::trunc(x + (in[i] < 0 ? -0.5 : 0.5)));
        uint32_t u = uint32_t(v);
        EXPECT_EQ(b[46 + 3 * i], uint8_t(u >> 8));
        EXPECT_EQ(b[46 + 3 * i + 2], uint8_t(u >> 24));
    }
    EXPECT_NE(Sh("sox --i " + ShellQuote(path)).find("7 samples"), std::string::npos);
    EXPECT_EQ(LWaveFile::OpenSource(path)->GetEndSample(), 7);
}

TEST(WaveWrite, FileBeingWrittenGrowsThenSettlesOnTheHeader) {
    kvtest::TempDir dir;
    std::string path = dir.File("growing.wav");
    std::vector<float> in = Ramp(1000, 2);
    LSoundSink sink = LWaveFile::OpenSinkPCM(path, 8000, 2, 16);
    sink->Write(in.data(), 300);

    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    EXPECT_EQ(LE32(b, 4), 0xFFFFFFFFu);
    EXPECT_EQ(LE32(b, 42), 0xFFFFFFD9u);

    LSoundSource reader = LWaveFile::OpenSource(path);
    ASSERT_EQ(reader->GetError(), kSourceOk);
    EXPECT_TRUE(reader->IsStreaming());
    EXPECT_EQ(reader->GetEndSample(), 300);
    sink->Write(in.data() + 600, 700);
    EXPECT_EQ(reader->GetEndSample(), 1000);
    EXPECT_TRUE(reader->IsStreaming());
    sink->Seek(900);  // backwards: the file is cut there
    EXPECT_EQ(reader->GetEndSample(), 900);
    sink.Close();
    EXPECT_FALSE(reader->IsStreaming());
    EXPECT_EQ(reader->GetEndSample(), 900);
    std::vector<float> out = ReadAll(reader);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], in[i], 1.0 / 32767) << i;
}

TEST(WaveWrite, SeekMovesBackOnlyAndTruncates) {
    kvtest::TempDir dir;
    std::string path = dir.File("seek.wav");
    std::vector<float> in = Ramp(100, 1);
    {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 8000, 1, 16);
        WriteAll(sink, in, 1);
        sink->Seek(200);  // beyond what was written: ignored
        EXPECT_EQ(sink->GetPositionSample(), 100);
        sink->Seek(-5);
        EXPECT_EQ(sink->GetPositionSample(), 0);
        sink->Write(in.data(), 40);
        sink->Seek(30);
        sink->Write(in.data() + 30, 5);
    }
    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    EXPECT_EQ(b.size(), 46u + 70u);
    EXPECT_EQ(LE32(b, 42), 70u);
}

// Small chunk limits stand in for the 4 GiB ones.
LWaveLimits SmallLimits() {
    LWaveLimits l;
    l.firstDataChunkMax = 1000;
    l.laterDataChunkMax = 600;
    return l;
}

TEST(WaveWrite, DataBeyondTheFirstChunkGoesIntoFurtherChunks) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const LWaveLimits limits = SmallLimits();
    // 6 bytes a frame: frames straddle the chunk borders.
    std::vector<float> in = Ramp(500, 3);
    std::string exact = dir.File("exact.wav"), more = dir.File("more.wav"), big = dir.File("big.wav");
    {
        LSoundSink a = LWaveFile::OpenSinkPCM(exact, 8000, 1, 16, 0, limits);
        a->Write(in.data(), 500);  // exactly 1000 bytes
        LSoundSink b = LWaveFile::OpenSinkPCM(more, 8000, 1, 16, 0, limits);
        b->Write(in.data(), 501);
    }
    EXPECT_EQ(kvtest::ReadFileBytes(exact).size(), 1046u);
    std::vector<uint8_t> m = kvtest::ReadFileBytes(more);
    ASSERT_EQ(m.size(), 1046u + 8u + 2u);
    EXPECT_EQ(LE32(m, 42), 1000u);
    EXPECT_EQ(std::string(m.begin() + 1046, m.begin() + 1050), "data");
    EXPECT_EQ(LE32(m, 1050), 2u);

    LSoundSink sink = LWaveFile::OpenSinkPCM(big, 8000, 3, 16, 0, limits);
    sink->Write(in.data(), 250);  // 1500 bytes: the second chunk is open
    {
        LSoundSource growing = LWaveFile::OpenSource(big, limits);
        EXPECT_TRUE(growing->IsStreaming());
        EXPECT_EQ(growing->GetEndSample(), 250);
        std::vector<float> part = ReadAll(growing);
        for (size_t i = 0; i < part.size(); ++i) ASSERT_NEAR(part[i], in[i], 1.0 / 32767) << i;
    }
    sink->Write(in.data() + 750, 250);  // 3000 bytes: chunks of 1000, 600, 600, 600, 200
    sink->Seek(450);                    // 2700 bytes: the last chunk ends at 100
    sink->Write(in.data() + 1350, 50);  // 3000 bytes again
    sink.Close();
    std::vector<uint8_t> b = kvtest::ReadFileBytes(big);
    ASSERT_EQ(b.size(), 46u + 3000u + 4 * 8u);
    EXPECT_EQ(LE32(b, 4), 1038u);
    size_t at = 46 + 1000;
    for (uint32_t length : {600u, 600u, 600u, 200u}) {
        EXPECT_EQ(std::string(b.begin() + at, b.begin() + at + 4), "data");
        EXPECT_EQ(LE32(b, at + 4), length);
        at += 8 + length;
    }
    LSoundSource back = LWaveFile::OpenSource(big, limits);
    EXPECT_FALSE(back->IsStreaming());
    ASSERT_EQ(back->GetEndSample(), 500);
    std::vector<float> out = ReadAll(back);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], in[i], 1.0 / 32767) << i;
    // Other tools read the first chunk, which is a valid file by itself.
    EXPECT_EQ(SoxS32(big).size(), 1000u / 6 * 3);
}

TEST(WaveWrite, ALawAndMuLawFilesHaveThe58ByteHeader) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    for (uint16_t tag : {uint16_t(6), uint16_t(7)}) {
        std::string path = dir.File("g711.wav");
        std::vector<float> in = Ramp(101, 2);
        LWaveFileFormat format;
        format.formatTag = tag;
        format.channels = 2;
        format.samplesPerSec = 8000;
        format.bitsPerSample = 8;
        {
            LSoundSink sink = LWaveFile::OpenSink(path, format);
            ASSERT_FALSE(sink->HasFailed());
            WriteAll(sink, in, 2);
        }
        std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
        ASSERT_EQ(b.size(), 58u + 202u);
        EXPECT_EQ(LE32(b, 4), 252u);
        EXPECT_EQ(LE16(b, 20), tag);
        EXPECT_EQ(LE32(b, 28), 8000u);
        EXPECT_EQ(LE16(b, 32), 8);
        EXPECT_EQ(std::string(b.begin() + 38, b.begin() + 42), "fact");
        EXPECT_EQ(LE32(b, 46), 101u);
        EXPECT_EQ(LE32(b, 54), 202u);
        EXPECT_EQ(SoxS32(path).size(), 202u);
        LSoundSource back = LWaveFile::OpenSource(path);
        ASSERT_EQ(back->GetError(), kSourceOk);
        std::vector<float> out = ReadAll(back);
        for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], in[i], 0.04) << i;
    }
}

LSoundSink RegisteredSink(const std::string&, const LWaveFileFormat&, const LWaveLimits&) {
    return LSoundSink(new LSoundSinkError());
}

TEST(WaveWrite, SinkChosenByTag) {
    kvtest::TempDir dir;
    std::string path = dir.File("t.wav");
    LWaveFileFormat f = LWaveFileFormat::PCM(8000, 1, 32);
    f.formatTag = 3;
    {
        LSoundSink sink = LWaveFile::OpenSink(path, f);
        ASSERT_FALSE(sink->HasFailed());
        float x = 0.5f;
        sink->Write(&x, 1);
    }
    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    ASSERT_EQ(b.size(), 50u);
    EXPECT_EQ(LE16(b, 20), 1);  // float is labelled tag 1, 32 bits
    EXPECT_EQ(LE16(b, 34), 32);
    float stored;
    std::memcpy(&stored, &b[46], 4);
    EXPECT_EQ(stored, 0.5f);

    f.bitsPerSample = 24;
    EXPECT_TRUE(LWaveFile::OpenSink(path, f)->HasFailed());
    f.formatTag = 2;
    EXPECT_TRUE(LWaveFile::OpenSink(path, f)->HasFailed());
    f = LWaveFileFormat::PCM(8000, 0, 16);
    EXPECT_TRUE(LWaveFile::OpenSink(path, f)->HasFailed());
    EXPECT_TRUE(LWaveFile::OpenSinkPCM(dir.Path(), 8000, 1, 16)->HasFailed());  // a folder

    f = LWaveFileFormat::PCM(8000, 1, 16);
    for (int bits : {8, 16, 24, 32}) {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 8000, 1, bits);
        sink.Close();
        EXPECT_EQ(LE16(kvtest::ReadFileBytes(path), 34), bits);
    }
    LWaveCodecRegistry::RegisterSink(49, RegisteredSink);
    f.formatTag = 49;
    EXPECT_TRUE(LWaveFile::OpenSink(path, f)->HasFailed());
    LWaveCodecRegistry::RegisterSink(49, nullptr);
}

TEST(WaveWrite, WavCodecFileInTheUserDataFolder) {
    kvtest::IsolatedHome home;
    std::string wff = LWaveFileFormat::WavCodecFilePath();
    ASSERT_FALSE(wff.empty());
    EXPECT_EQ(wff.substr(wff.size() - 13), "/WavCodec.wff");

    // No file: 16-bit PCM at the document's format.
    LWaveFileFormat f = LWaveFile::SaveFormat(44100, 2, false, false);
    EXPECT_EQ(f.formatTag, 1);
    EXPECT_EQ(f.bitsPerSample, 16);
    EXPECT_EQ(f.blockAlign, 4);

    LWaveFileFormat stored = LWaveFileFormat::PCM(22050, 1, 24);
    stored.formatTag = 7;
    ASSERT_TRUE(stored.SaveToWavCodecFile(wff));
    EXPECT_EQ(kvtest::ReadFileBytes(wff).size(), 1028u);
    f = LWaveFile::SaveFormat(44100, 2, false, false);
    EXPECT_EQ(f.formatTag, 7);
    EXPECT_EQ(f.samplesPerSec, 22050u);
    EXPECT_EQ(f.channels, 1);
    f = LWaveFile::SaveFormat(44100, 2, true, true);
    EXPECT_EQ(f.samplesPerSec, 44100u);
    EXPECT_EQ(f.channels, 2);

    // A block without channels is refused and leaves the format as it was.
    LWaveFileFormat bad = stored;
    bad.channels = 0;
    ASSERT_TRUE(bad.SaveToWavCodecFile(wff));
    LWaveFileFormat kept = LWaveFileFormat::PCM(8000, 2, 16);
    EXPECT_FALSE(kept.LoadFromWavCodecFile(wff));
    EXPECT_EQ(kept.samplesPerSec, 8000u);
    ASSERT_TRUE(stored.SaveToWavCodecFile(home.Path() + "/x.WFF"));
    EXPECT_FALSE(kept.LoadFromWavCodecFile(home.Path() + "/x.WFF"));

    // The fixed part of a PCM Wave file's `fmt `.
    std::string wav = home.Path() + "/a.wav";
    LWaveFile::OpenSinkPCM(wav, 32000, 2, 24);
    EXPECT_TRUE(kept.LoadFromPCMWaveFile(wav));
    EXPECT_EQ(kept.samplesPerSec, 32000u);
    EXPECT_EQ(kept.bitsPerSample, 24);
}

}  // namespace
