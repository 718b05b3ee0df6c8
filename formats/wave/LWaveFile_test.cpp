#include "formats/wave/LWaveFile.h"

#include "base/LFile.h"
#include "base/LInputStreamBuffer.h"
#include "formats/wave/LWaveCodecNames.h"
#include "formats/wave/LWaveCodecRegistry.h"
#include "formats/wave/testing/WaveTestSupport.h"
#include "stream/LSoundSourceError.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

using namespace wavetest;
using kvtest::ShellQuote;

namespace {

enum class Kind { Int, Float, ALaw, MuLaw };

// What our float must be for the value sox reports, by the conversion rules
// of each sample type.
bool Matches(Kind kind, int bits, float ours, int32_t sox) {
    switch (kind) {
        case Kind::Int:
            if (bits <= 8) return ours == float(int8_t(sox >> 24)) / 127.0f;
            if (bits <= 16) return ours == float(int16_t(sox >> 16)) / 32767.0f;
            if (bits <= 24) return ours == float(double(sox & ~0xFF) / 2147483647.0);
            return ours == float(double(sox) / 2147483647.0);
        case Kind::Float:
            // sox rounds to 32-bit integers itself; a 64-bit file is narrowed to float by us.
            return std::fabs(double(ours) * 2147483648.0 - double(sox)) <= (bits == 64 ? std::fabs(sox) * 0x1p-23 : 1.0);
        case Kind::ALaw:
        case Kind::MuLaw:
            // Our expansion is sox's 16-bit one times 16 over 516096, exactly.
            return std::lround(double(ours) * 516096.0 / 16.0) == (sox >> 16);
    }
    return false;
}

struct SoxCase {
    const char* name;
    const char* soxOptions;  // output options of the generated file
    Kind kind;
    int bits;
    int channels;
    uint16_t storedTag;  // the tag sox writes at byte 20
};

class WaveReadSox : public ::testing::TestWithParam<SoxCase> {};

TEST_P(WaveReadSox, ReadsTheSamplesSoxReads) {
    KV_REQUIRE_TOOL("sox");
    const SoxCase& c = GetParam();
    kvtest::TempDir dir;
    std::string path = dir.File("in.wav");
    // Noise reaches every code; the gain keeps float noise inside full scale.
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 22050 -c " + std::to_string(c.channels) + " " + c.soxOptions + " " +
                                 ShellQuote(path) + " synth 0.2 whitenoise gain -1 2>/dev/null"),
              0);
    std::vector<uint8_t> bytes = kvtest::ReadFileBytes(path);
    ASSERT_EQ(LE16(bytes, 20), c.storedTag);

    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetError(), kSourceOk);
    EXPECT_EQ(s->GetSampleRate(), 22050);
    EXPECT_EQ(s->GetChannels(), c.channels);
    EXPECT_FALSE(s->IsStreaming());
    std::vector<int32_t> sox = SoxS32(path);
    ASSERT_EQ(s->GetEndSample() * c.channels, (long long)sox.size());
    std::vector<float> ours = ReadAll(s);
    size_t bad = 0;
    for (size_t i = 0; i < sox.size(); ++i) {
        if (!Matches(c.kind, c.bits, ours[i], sox[i]) && bad++ < 5) {
            ADD_FAILURE() << "sample " << i << ": ours " << ours[i] << " sox " << sox[i];
        }
    }
    EXPECT_EQ(bad, 0u);
    float peak = c.kind == Kind::Float ? kPeakUnbounded : c.kind == Kind::Int ? kPeakIntegerPcm : kPeakCompanded;
    EXPECT_EQ(s->GetPeak(), peak);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, WaveReadSox,
    ::testing::Values(SoxCase{"u8", "-b 8 -e unsigned", Kind::Int, 8, 2, 1},
                      SoxCase{"s16", "-b 16 -e signed", Kind::Int, 16, 2, 1},
                      SoxCase{"s24ext", "-b 24 -e signed", Kind::Int, 24, 2, 0xFFFE},
                      SoxCase{"s32ext", "-b 32 -e signed", Kind::Int, 32, 1, 0xFFFE},
                      SoxCase{"s24plain", "-t wavpcm -b 24 -e signed", Kind::Int, 24, 2, 1},
                      SoxCase{"s16ext6ch", "-b 16 -e signed", Kind::Int, 16, 6, 0xFFFE},
                      SoxCase{"f32", "-b 32 -e floating-point", Kind::Float, 32, 2, 3},
                      SoxCase{"f64", "-b 64 -e floating-point", Kind::Float, 64, 1, 3},
                      SoxCase{"alaw", "-e a-law", Kind::ALaw, 8, 2, 6},
                      SoxCase{"mulaw", "-e mu-law", Kind::MuLaw, 8, 1, 7}),
    [](const ::testing::TestParamInfo<SoxCase>& info) { return std::string(info.param.name); });

unsigned char OpenError(const std::string& path) { return LWaveFile::OpenSource(path)->GetError(); }

unsigned char OpenBytes(const kvtest::TempDir& dir, const std::vector<uint8_t>& bytes) {
    std::string path = dir.File("x.wav");
    kvtest::WriteFileBytes(path, bytes);
    return OpenError(path);
}

std::vector<uint8_t> Samples16(std::initializer_list<int16_t> values) {
    std::vector<uint8_t> v;
    for (int16_t x : values) AppendLE16(v, uint16_t(x));
    return v;
}

// An extensible header; subFormat is Data1 of the GUID (1 PCM, 3 float).
std::vector<uint8_t> ExtensibleFile(uint16_t bits, uint16_t validBits, uint32_t subFormat) {
    std::vector<uint8_t> fmt = FmtBody(0xFFFE, 1, 8000, bits);
    AppendLE16(fmt, 22);
    AppendLE16(fmt, validBits);
    AppendLE32(fmt, 4);  // channel mask: front centre
    AppendLE32(fmt, subFormat);
    const uint8_t tail[12] = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    Append(fmt, tail, sizeof tail);
    std::vector<uint8_t> chunks, data;
    AppendChunk(chunks, "fmt ", fmt);
    AppendLE32(data, 0x40000000u);  // 24 valid bits in a 32-bit container: half scale
    AppendChunk(chunks, "data", data);
    return Riff(chunks);
}

TEST(WaveRead, ExtensiblePCMGoesByTheMainBlockBits) {
    kvtest::TempDir dir;
    std::string path = dir.File("ext.wav");
    kvtest::WriteFileBytes(path, ExtensibleFile(32, 24, 1));
    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetError(), kSourceOk);
    float v;
    s->Read(&v, 1);
    EXPECT_EQ(v, float(double(0x40000000) / 2147483647.0));

    std::vector<uint8_t> otherGuid = ExtensibleFile(32, 24, 1);
    otherGuid[20 + 18 + 6 + 15] ^= 1;  // last byte of the GUID
    kvtest::WriteFileBytes(path, otherGuid);
    EXPECT_EQ(OpenError(path), kSourceNoCodec);
}

TEST(WaveRead, CodecsWeDontDecodeGiveCode5) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    std::string adpcm = dir.File("adpcm.wav"), fext = dir.File("fext.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -n -r 8000 -e ms-adpcm " + ShellQuote(adpcm) + " synth 0.1 sine 440"), 0);
    kvtest::WriteFileBytes(fext, ExtensibleFile(32, 32, 3));
    EXPECT_EQ(OpenError(adpcm), kSourceNoCodec);
    // Float in an extensible header is left to the next opener.
    EXPECT_EQ(OpenError(fext), kSourceNoCodec);

    LWaveFileFormat format;
    EXPECT_EQ(LGetWaveFileCodecName(format, adpcm), "Microsoft ADPCM Format");
    EXPECT_EQ(format.formatTag, 2);
    EXPECT_EQ(LGetWaveFileCodecName(format, fext), "Extensible wave format");
}

TEST(WaveRead, TagsAndTheirCodes) {
    kvtest::TempDir dir;
    auto withTag = [&](uint16_t tag, uint16_t channels, uint16_t bits) {
        std::vector<uint8_t> chunks;
        AppendChunk(chunks, "fmt ", FmtBody(tag, channels, 8000, bits));
        AppendChunk(chunks, "data", std::vector<uint8_t>(64, 0));
        return OpenBytes(dir, Riff(chunks));
    };
    EXPECT_EQ(withTag(1, 1, 16), kSourceOk);
    EXPECT_EQ(withTag(1, 1, 12), kSourceOk);  // 9 to 16 bits read as 16
    EXPECT_EQ(withTag(3, 1, 32), kSourceOk);
    EXPECT_EQ(withTag(3, 1, 24), kSourceNoCodec);
    EXPECT_EQ(withTag(2, 1, 4), kSourceNoCodec);
    EXPECT_EQ(withTag(17, 1, 4), kSourceNoCodec);
    EXPECT_EQ(withTag(49, 1, 0), kSourceNoCodec);
    EXPECT_EQ(withTag(85, 2, 0), kSourceNoCodec);
    EXPECT_EQ(withTag(34, 1, 1), kSourceUnsupported);
    EXPECT_EQ(withTag(69, 1, 4), kSourceUnsupported);
    EXPECT_EQ(withTag(0x1234, 1, 16), kSourceNoCodec);
}

LSoundSource RegisteredSource(LWaveSourceRequest& r) {
    return LSoundSource(new LSoundSourceError(kSourceOk + 42, int(r.header.format.samplesPerSec)));
}

TEST(WaveRead, RegisteredDecoderTakesItsTag) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(49, 1, 8000, 0));
    AppendChunk(chunks, "data", std::vector<uint8_t>(65, 0));
    LWaveCodecRegistry::RegisterSource(49, RegisteredSource);
    EXPECT_EQ(OpenBytes(dir, Riff(chunks)), 42);
    LWaveCodecRegistry::RegisterSource(49, nullptr);
    EXPECT_EQ(OpenBytes(dir, Riff(chunks)), kSourceNoCodec);
}

TEST(WaveRead, DamagedFilesGiveCode3) {
    kvtest::TempDir dir;
    std::vector<uint8_t> fmt = FmtBody(1, 1, 8000, 16);
    std::vector<uint8_t> data = Samples16({1, 2, 3, 4});

    std::vector<uint8_t> just12;
    AppendId(just12, "RIFF");
    AppendLE32(just12, 1000);
    AppendId(just12, "WAVE");
    EXPECT_EQ(OpenBytes(dir, just12), kSourceBadFormat);
    EXPECT_EQ(OpenBytes(dir, {}), kSourceBadFormat);
    EXPECT_EQ(OpenError(dir.File("missing.wav")), kSourceNoFile);

    std::vector<uint8_t> dataFirst;
    AppendChunk(dataFirst, "data", data);
    AppendChunk(dataFirst, "fmt ", fmt);
    EXPECT_EQ(OpenBytes(dir, Riff(dataFirst)), kSourceBadFormat);

    for (size_t fmtLength : {size_t(15), size_t(8193)}) {
        std::vector<uint8_t> body = fmt, chunks;
        body.resize(fmtLength);
        AppendChunk(chunks, "fmt ", body);
        AppendChunk(chunks, "data", data);
        EXPECT_EQ(OpenBytes(dir, Riff(chunks)), kSourceBadFormat) << fmtLength;
    }
    for (size_t fmtLength : {size_t(16), size_t(8192)}) {
        std::vector<uint8_t> body = fmt, chunks;
        body.resize(fmtLength);
        AppendChunk(chunks, "fmt ", body);
        AppendChunk(chunks, "data", data);
        EXPECT_EQ(OpenBytes(dir, Riff(chunks)), kSourceOk) << fmtLength;
    }

    auto withFormat = [&](uint16_t channels, uint32_t rate) {
        std::vector<uint8_t> chunks;
        AppendChunk(chunks, "fmt ", FmtBody(1, channels, rate, 16));
        AppendChunk(chunks, "data", data);
        return OpenBytes(dir, Riff(chunks));
    };
    EXPECT_EQ(withFormat(0, 8000), kSourceBadFormat);
    EXPECT_EQ(withFormat(256, 8000), kSourceBadFormat);
    EXPECT_EQ(withFormat(1, 0), kSourceBadFormat);
    EXPECT_EQ(withFormat(1, 196001), kSourceBadFormat);
    EXPECT_EQ(withFormat(255, 196000), kSourceOk);

    // A chunk length that points past the end, and one with the top bit set.
    std::vector<uint8_t> lying;
    AppendId(lying, "LIST");
    AppendLE32(lying, 0x7FFFFFF0);
    AppendChunk(lying, "fmt ", fmt);
    EXPECT_EQ(OpenBytes(dir, Riff(lying)), kSourceBadFormat);
    std::vector<uint8_t> topBit;
    AppendId(topBit, "JUNK");
    AppendLE32(topBit, 0xFFFFFFF0);
    AppendChunk(topBit, "fmt ", fmt);
    EXPECT_EQ(OpenBytes(dir, Riff(topBit)), kSourceBadFormat);

    // An RF64 file: its all-ones length ends the search.
    std::vector<uint8_t> rf64 = Riff({});
    std::memcpy(rf64.data(), "RF64", 4);
    rf64[4] = rf64[5] = rf64[6] = rf64[7] = 0xFF;
    EXPECT_EQ(OpenBytes(dir, rf64), kSourceBadFormat);
}

TEST(WaveRead, WaveBehindForeignChunksAndOtherChunksBetween) {
    kvtest::TempDir dir;
    std::vector<uint8_t> file;
    AppendChunk(file, "ABCD", std::vector<uint8_t>(5, 7));  // odd body, padded
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "JUNK", std::vector<uint8_t>(3, 0));
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "LIST", std::vector<uint8_t>(9, 1));
    AppendChunk(chunks, "data", Samples16({32767, -32767, 0}));
    std::vector<uint8_t> riff = Riff(chunks);
    Append(file, riff.data(), riff.size());
    std::string path = dir.File("x.wav");
    kvtest::WriteFileBytes(path, file);
    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetError(), kSourceOk);
    EXPECT_EQ(s->GetEndSample(), 3);
    float v[3];
    s->Read(v, 3);
    EXPECT_EQ(v[0], 1.0f);
    EXPECT_EQ(v[1], -1.0f);
    EXPECT_EQ(v[2], 0.0f);
}

TEST(WaveRead, SilenceBeforeZeroAndPastTheEnd) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 2, 8000, 16));
    AppendChunk(chunks, "data", Samples16({100, 200, 300, 400}));
    std::string path = dir.File("x.wav");
    kvtest::WriteFileBytes(path, Riff(chunks));
    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetEndSample(), 2);
    s->Seek(-3);
    std::vector<float> v(2 * 7, -9.0f);
    s->Read(v.data(), 7);
    EXPECT_EQ(s->GetPositionSample(), 4);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(v[i], 0.0f);
    EXPECT_EQ(v[6], 100 / 32767.0f);
    EXPECT_EQ(v[9], 400 / 32767.0f);
    for (int i = 10; i < 14; ++i) EXPECT_EQ(v[i], 0.0f);
    s->Seek(1000);
    s->Read(v.data(), 1);
    EXPECT_EQ(s->GetPositionSample(), 1001);
    EXPECT_EQ(v[0], 0.0f);
    s->Read(v.data(), 0);
    s->Read(v.data(), -5);
    EXPECT_EQ(s->GetPositionSample(), 1001);
}

TEST(WaveRead, TruncatedDataReadsToLastWholeFrameThenSilence) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 2, 8000, 16));
    AppendId(chunks, "data");
    AppendLE32(chunks, 400);  // claims 100 frames
    std::vector<uint8_t> present = Samples16({1000, 2000, 3000, 4000});
    Append(chunks, present.data(), present.size());
    chunks.push_back(0x55);  // half a sample of a third frame
    std::string path = dir.File("x.wav");
    kvtest::WriteFileBytes(path, Riff(chunks));
    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetError(), kSourceOk);
    EXPECT_EQ(s->GetEndSample(), 100);
    EXPECT_FALSE(s->IsStreaming());
    std::vector<float> v(200, -9.0f);
    s->Read(v.data(), 100);
    EXPECT_EQ(v[3], 4000 / 32767.0f);
    for (size_t i = 4; i < v.size(); ++i) ASSERT_EQ(v[i], 0.0f) << i;
}

TEST(WaveRead, SeveralDataChunksFormOneStream) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "data", Samples16({1, 2, 3}));
    AppendChunk(chunks, "data", Samples16({4, 5}));
    AppendChunk(chunks, "data", Samples16({6}));
    AppendChunk(chunks, "LIST", Samples16({99, 99}));
    std::string path = dir.File("x.wav");
    kvtest::WriteFileBytes(path, Riff(chunks));
    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetEndSample(), 6);
    s->Seek(2);
    float v[5];
    s->Read(v, 5);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(v[i], float(3 + i) / 32767.0f) << i;
    EXPECT_EQ(v[4], 0.0f);
}

TEST(WaveRead, DeletingSourceRemovesItsFile) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "data", Samples16({1, 2}));
    std::string path = dir.File("temp1.wav");
    kvtest::WriteFileBytes(path, Riff(chunks));
    {
        LSoundSource s = LWaveFile::OpenSourceDeletingFileWhenClosed(path);
        LSoundSource copy = s;
        EXPECT_EQ(copy->GetEndSample(), 2);
        s.Close();
        EXPECT_EQ(access(path.c_str(), F_OK), 0);
    }
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

}  // namespace

namespace {

// A sparse file with a full first chunk: its length (0xFFFFFFD8) lies above
// the "not known" mark, and only the finished chunk behind it says so.
TEST(WaveRead, FullFirstChunkFollowedByAnother) {
    kvtest::TempDir dir;
    std::string path = dir.File("sparse.wav");
    {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 8000, 2, 16);
    }
    std::vector<uint8_t> header = kvtest::ReadFileBytes(path);
    const uint32_t first = 0xFFFFFFD8u;
    header[42] = uint8_t(first);
    header[43] = header[44] = header[45] = 0xFF;
    LFile file;
    ASSERT_TRUE(file.OpenReadWrite(path.c_str()));
    ASSERT_TRUE(file.WriteAllAt(header.data(), 46, 0));
    std::vector<uint8_t> tail;
    AppendId(tail, "data");
    AppendLE32(tail, 8);
    for (int16_t v : {1, 2, 3, 4}) AppendLE16(tail, uint16_t(v));
    ASSERT_TRUE(file.WriteAllAt(tail.data(), tail.size(), 46 + int64_t(first)));
    // The last frame of the first chunk.
    std::vector<uint8_t> last;
    for (int16_t v : {-5, -6}) AppendLE16(last, uint16_t(v));
    ASSERT_TRUE(file.WriteAllAt(last.data(), 4, 46 + int64_t(first) - 4));

    LSoundSource s = LWaveFile::OpenSource(path);
    ASSERT_EQ(s->GetError(), kSourceOk);
    EXPECT_FALSE(s->IsStreaming());
    const long long firstFrames = first / 4;
    ASSERT_EQ(s->GetEndSample(), firstFrames + 2);
    s->Seek(firstFrames - 1);
    float v[8];
    s->Read(v, 4);
    const float want[8] = {-5 / 32767.0f, -6 / 32767.0f, 1 / 32767.0f, 2 / 32767.0f,
                           3 / 32767.0f,  4 / 32767.0f,  0,           0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(v[i], want[i]) << i;

    // While the second chunk's length is still 0, the file is growing.
    AppendLE32(tail, 0);
    std::vector<uint8_t> zero(4, 0);
    ASSERT_TRUE(file.WriteAllAt(zero.data(), 4, 46 + int64_t(first) + 4));
    LSoundSource growing = LWaveFile::OpenSource(path);
    EXPECT_TRUE(growing->IsStreaming());
    EXPECT_EQ(growing->GetEndSample(), firstFrames + 2);
}

}  // namespace

namespace {

// The same bytes read from a file and from memory give the same frames, bit
// for bit, over every sample layout the reader has.
TEST(WaveRead, MemoryStreamReadsWhatThePathReads) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    std::vector<std::string> paths;
    for (const char* options : {"-e signed -b 16", "-e signed -b 24", "-e unsigned -b 8", "-e float -b 32",
                                "-e float -b 64", "-e a-law", "-e u-law", "-e signed -b 32"}) {
        std::string path = dir.File("in" + std::to_string(paths.size()) + ".wav");
        ASSERT_EQ(kvtest::RunCommand(std::string("sox -R -n -r 16000 -c 2 ") + options + " " + ShellQuote(path) +
                                     " synth 0.3 whitenoise gain -1 2>/dev/null"),
                  0)
            << options;
        paths.push_back(path);
    }
    std::vector<uint8_t> chunks;  // several data chunks and a foreign chunk behind them
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "data", Samples16({1, -2, 3}));
    AppendChunk(chunks, "data", Samples16({4, 5}));
    AppendChunk(chunks, "LIST", Samples16({99}));
    paths.push_back(dir.File("chunks.wav"));
    kvtest::WriteFileBytes(paths.back(), Riff(chunks));

    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        const std::vector<uint8_t> bytes = kvtest::ReadFileBytes(path);
        LSoundSource fromPath = LWaveFile::OpenSource(path);
        LSoundSource fromMemory = LWaveFile::OpenSource(std::make_unique<LInputStreamBuffer>(bytes.data(), bytes.size()));
        ASSERT_EQ(fromPath->GetError(), kSourceOk);
        ASSERT_EQ(fromMemory->GetError(), kSourceOk);
        EXPECT_EQ(fromMemory->GetSampleRate(), fromPath->GetSampleRate());
        EXPECT_EQ(fromMemory->GetChannels(), fromPath->GetChannels());
        EXPECT_EQ(fromMemory->GetPeak(), fromPath->GetPeak());
        EXPECT_FALSE(fromMemory->IsStreaming());
        ASSERT_EQ(fromMemory->GetEndSample(), fromPath->GetEndSample());
        const std::vector<float> a = ReadAll(fromPath);
        const std::vector<float> b = ReadAll(fromMemory);
        ASSERT_EQ(a.size(), b.size());
        EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0);
    }
}

TEST(WaveRead, MemoryStreamErrorsMatchTheFileCodes) {
    const std::vector<uint8_t> notWave = {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'A', 'V', 'I', ' '};
    EXPECT_EQ(LWaveFile::OpenSource(std::make_unique<LInputStreamBuffer>(notWave.data(), notWave.size()))->GetError(),
              kSourceBadFormat);
    EXPECT_EQ(LWaveFile::OpenSource(std::unique_ptr<LInputStream>())->GetError(), kSourceNoFile);
}

LSoundSource AnyImaSource(LWaveSourceRequest& r) {
    return MakeSource<LSoundSourceError>(kSourceOk, int(r.header.format.samplesPerSec), r.header.format.channels);
}

// IMA ADPCM is read in mono only: several channels are a format no reader
// here handles (code 7), even with a decoder registered for the tag.
TEST(WaveRead, ImaWithSeveralChannelsGivesCode7) {
    kvtest::TempDir dir;
    auto open = [&](uint16_t channels) {
        std::vector<uint8_t> chunks;
        AppendChunk(chunks, "fmt ", FmtBody(17, channels, 8000, 4));
        AppendChunk(chunks, "data", std::vector<uint8_t>(512, 0));
        return OpenBytes(dir, Riff(chunks));
    };
    EXPECT_EQ(open(2), kSourceUnsupported);
    EXPECT_EQ(open(6), kSourceUnsupported);
    EXPECT_EQ(open(1), kSourceNoCodec);
    LWaveCodecRegistry::RegisterSource(17, AnyImaSource);
    EXPECT_EQ(open(1), kSourceOk);
    EXPECT_EQ(open(2), kSourceUnsupported);
    LWaveCodecRegistry::RegisterSource(17, nullptr);
}

}  // namespace
