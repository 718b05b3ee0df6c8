#include "formats/wave/LWavTagWriter.h"

#include "formats/wave/LWavTagIterator.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/testing/WaveTestSupport.h"

#include <signal.h>
#include <sys/resource.h>

using namespace wavetest;
using kvtest::ShellQuote;

namespace {

LFileTagDataAudio SampleTags() {
    LFileTagDataAudio t;
    t.Set("TITLE", "Tränen im Regen");
    t.Set("ARTIST", "Die Kelvane");
    t.Set("ALBUM", "Probe");
    t.Set("DATE", "2024-05-01");
    t.Set("COMMENT", "ein Kommentar");
    t.Set("GENRE", "Ambient");
    t.Set("TRACKNUMBER", "7");
    t.Set("CODINGHISTORY", "A=PCM,F=44100");
    t.Set("TAGTEXT", "odd");
    t.Set("LEVELREFERENCE", "1234");
    t.Set("NOTAWAVETAG", "dropped");
    return t;
}

LFileTagDataAudio ReadTags(const std::string& path) {
    LWavTagIterator it;
    EXPECT_TRUE(it.Read(path));
    LFileTagDataAudio t;
    it.CopyTo(t);
    return t;
}

std::string AudioMd5(const std::string& path) {
    return Sh("ffmpeg -v error -i " + ShellQuote(path) + " -map 0:a -f md5 -");
}

std::string MakeSoxFile(const kvtest::TempDir& dir, const char* options = "-b 16") {
    std::string path = dir.File("tagged.wav");
    EXPECT_EQ(kvtest::RunCommand(std::string("sox -R -n -r 8000 -c 1 ") + options + " " + ShellQuote(path) +
                                 " synth 0.5 whitenoise"),
              0);
    return path;
}

TEST(WavTags, RewritingTwiceKeepsSizeAndAudio) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    KV_REQUIRE_TOOL("ffprobe");
    kvtest::TempDir dir;
    std::string path = MakeSoxFile(dir, "-b 24");  // odd data length: a pad byte sits before the tags
    std::string md5 = AudioMd5(path);
    ASSERT_FALSE(md5.empty());

    LWavTagWriter writer;
    ASSERT_TRUE(writer.Write(path, SampleTags()));
    size_t size = kvtest::ReadFileBytes(path).size();
    EXPECT_EQ(LE32(kvtest::ReadFileBytes(path), 4), size - 8);
    ASSERT_TRUE(writer.Write(path, SampleTags()));
    EXPECT_EQ(kvtest::ReadFileBytes(path).size(), size);
    EXPECT_EQ(AudioMd5(path), md5);

    LFileTagDataAudio back = ReadTags(path);
    EXPECT_EQ(back.Get("TITLE"), "Tränen im Regen");
    EXPECT_EQ(back.Get("ARTIST"), "Die Kelvane");
    EXPECT_EQ(back.Get("ALBUM"), "Probe");
    EXPECT_EQ(back.Get("DATE"), "2024-05-01");
    EXPECT_EQ(back.Get("COMMENT"), "ein Kommentar");
    EXPECT_EQ(back.Get("TRACKNUMBER"), "7");
    EXPECT_EQ(back.Get("CODINGHISTORY"), "A=PCM,F=44100");
    EXPECT_EQ(back.Get("TAGTEXT"), "odd");
    EXPECT_EQ(back.Get("LEVELREFERENCE"), "1234");
    EXPECT_FALSE(back.Has("NOTAWAVETAG"));

    std::string probe = Sh("ffprobe -v error -show_entries format_tags -of default=nw=1 " + ShellQuote(path));
    EXPECT_NE(probe.find("TAG:title=Tränen im Regen"), std::string::npos) << probe;
    EXPECT_NE(probe.find("TAG:artist=Die Kelvane"), std::string::npos) << probe;
    EXPECT_NE(probe.find("TAG:comment=ein Kommentar"), std::string::npos) << probe;

    // Fewer tags: the rest of the space stays JUNK or is cut off, audio as before.
    LFileTagDataAudio few;
    few.Set("TITLE", "kurz");
    ASSERT_TRUE(writer.Write(path, few));
    EXPECT_LE(kvtest::ReadFileBytes(path).size(), size);
    EXPECT_EQ(ReadTags(path).Get("TITLE"), "kurz");
    EXPECT_FALSE(ReadTags(path).Has("ARTIST"));
    EXPECT_EQ(AudioMd5(path), md5);
    LSoundSource s = LWaveFile::OpenSource(path);
    EXPECT_EQ(s->GetEndSample(), 4000);
}

TEST(WavTags, FailedRewriteLeavesTheAudio) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::TempDir dir;
    std::string path = MakeSoxFile(dir);
    std::string md5 = AudioMd5(path);
    std::vector<uint8_t> before = kvtest::ReadFileBytes(path);

    // No room to grow the file: the appended chunks can't be written.
    struct sigaction ignore = {}, old = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &old);
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit tight = saved;
    tight.rlim_cur = before.size();
    setrlimit(RLIMIT_FSIZE, &tight);
    bool ok = LWavTagWriter().Write(path, SampleTags());
    setrlimit(RLIMIT_FSIZE, &saved);
    sigaction(SIGXFSZ, &old, nullptr);

    EXPECT_FALSE(ok);
    EXPECT_EQ(AudioMd5(path), md5);
    EXPECT_EQ(LWaveFile::OpenSource(path)->GetEndSample(), 4000);

    EXPECT_FALSE(LWavTagWriter().Write(dir.File("missing.wav"), SampleTags()));
    kvtest::WriteFileBytes(dir.File("bad.wav"), {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    EXPECT_FALSE(LWavTagWriter().Write(dir.File("bad.wav"), SampleTags()));
}

std::vector<uint8_t> InfoList(const char* id, const std::string& value) {
    std::vector<uint8_t> sub, list = {'I', 'N', 'F', 'O'};
    std::vector<uint8_t> body(value.begin(), value.end());
    body.push_back(0);
    AppendChunk(list, id, body);
    return list;
}

std::string FileWith(const kvtest::TempDir& dir, const std::vector<uint8_t>& tagChunks) {
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "data", std::vector<uint8_t>(20, 0));
    chunks.insert(chunks.end(), tagChunks.begin(), tagChunks.end());
    std::string path = dir.File("t.wav");
    kvtest::WriteFileBytes(path, Riff(chunks));
    return path;
}

TEST(WavTags, CodePageOfCSET) {
    kvtest::TempDir dir;
    std::vector<uint8_t> tags, cset(8, 0);
    cset[0] = 0xE4;  // 1252
    cset[1] = 0x04;
    AppendChunk(tags, "LIST", InfoList("INAM", "Caf\xE9"));
    AppendChunk(tags, "CSET", cset);
    EXPECT_EQ(ReadTags(FileWith(dir, tags)).Get("TITLE"), "Café");

    std::vector<uint8_t> wrong;
    AppendChunk(wrong, "LIST", InfoList("INAM", "Café"));
    AppendChunk(wrong, "CSET", std::vector<uint8_t>(10, 0xE4));  // not 8 bytes: ignored
    EXPECT_EQ(ReadTags(FileWith(dir, wrong)).Get("TITLE"), "Café");
}

TEST(WavTags, ChunksAndPrecedence) {
    kvtest::TempDir dir;
    std::vector<uint8_t> tags, disp = {1, 0, 0, 0, 'D', 'i', 's', 'p', 0, 0};
    std::vector<uint8_t> bext(602, 0), cart(2048, 0);
    std::memcpy(&bext[0], "bext comment", 12);
    std::memset(&bext[256], 'O', 40);  // no terminator: cut at byte 287
    bext[346] = 0x12;                   // version 0x0012
    std::memcpy(&cart[4], "cart title", 10);
    std::memcpy(&cart[684], "ABCD", 4);  // usage codes read back as three characters
    cart[680] = 200;
    AppendChunk(tags, "bext", bext);
    AppendChunk(tags, "cart", cart);
    AppendChunk(tags, "DISP", disp);
    AppendChunk(tags, "LIST", InfoList("IART", "info artist"));
    std::vector<uint8_t> unknownInfo = InfoList("IXYZ", "nobody");
    AppendChunk(tags, "LIST", unknownInfo);
    AppendChunk(tags, "JUNK", std::vector<uint8_t>(3, 0));
    LFileTagDataAudio t = ReadTags(FileWith(dir, tags));
    EXPECT_EQ(t.Get("COMMENT"), "bext comment");
    EXPECT_EQ(t.Get("ORIGINATOR"), std::string(31, 'O'));
    EXPECT_EQ(t.Get("BWFVERSION"), "12");
    EXPECT_EQ(t.Get("TITLE"), "Disp");  // DISP replaces, cart doesn't
    EXPECT_EQ(t.Get("POSTTIMER1USAGE"), "ABC");
    EXPECT_EQ(t.Get("LEVELREFERENCE"), "200");
    EXPECT_EQ(t.Get("ARTIST"), "info artist");
    for (const auto& [key, value] : t.Entries()) EXPECT_NE(value, "nobody") << key;  // IXYZ has no key

    // Keys already in the table stay.
    LWavTagIterator it;
    ASSERT_TRUE(it.Read(dir.File("t.wav")));
    LFileTagDataAudio mine;
    mine.Set("TITLE", "mine");
    it.CopyTo(mine);
    EXPECT_EQ(mine.Get("TITLE"), "mine");
}

TEST(WavTags, TruncatedAndLyingTagChunks) {
    kvtest::TempDir dir;
    std::vector<uint8_t> tags;
    AppendId(tags, "LIST");
    AppendLE32(tags, 0x7FFFFFFF);  // cut to what is there
    std::vector<uint8_t> list = InfoList("INAM", "short");
    AppendLE32(list, 0);
    list.resize(list.size() - 2);
    tags.insert(tags.end(), list.begin(), list.end());
    std::string path = FileWith(dir, tags);
    EXPECT_EQ(ReadTags(path).Get("TITLE"), "short");
    // The rewrite turns the lying chunk into JUNK to the end and still works.
    LFileTagDataAudio t;
    t.Set("ARTIST", "x");
    EXPECT_TRUE(LWavTagWriter().Write(path, t));
    EXPECT_EQ(ReadTags(path).Get("ARTIST"), "x");
    EXPECT_EQ(LWaveFile::OpenSource(path)->GetEndSample(), 10);
}

}  // namespace

namespace {

TEST(WavTags, FileStillBeingWrittenIsNotRewritten) {
    kvtest::TempDir dir;
    std::string path = dir.File("open.wav");
    LSoundSink sink = LWaveFile::OpenSinkPCM(path, 8000, 1, 16);
    std::vector<float> silence(100, 0.0f);
    sink->Write(silence.data(), 100);
    LFileTagDataAudio t;
    t.Set("TITLE", "x");
    EXPECT_FALSE(LWavTagWriter().Write(path, t));
    EXPECT_EQ(kvtest::ReadFileBytes(path).size(), 246u);
    sink.Close();
    EXPECT_TRUE(LWavTagWriter().Write(path, t));
}

TEST(WavTags, FileCutShortInItsSamplesIsNotRewritten) {
    kvtest::TempDir dir;
    LFileTagDataAudio t;
    t.Set("TITLE", "x");
    // The `data` header claims 200 bytes; only 100 arrived.
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendId(chunks, "data");
    AppendLE32(chunks, 200);
    chunks.resize(chunks.size() + 100, 0x11);
    std::vector<uint8_t> cut = Riff(chunks);
    std::string path = dir.File("cut.wav");
    kvtest::WriteFileBytes(path, cut);
    EXPECT_FALSE(LWavTagWriter().Write(path, t));
    EXPECT_EQ(kvtest::ReadFileBytes(path), cut);

    // An odd run that ends the file without its pad byte is whole: it is tagged.
    std::vector<uint8_t> odd;
    AppendChunk(odd, "fmt ", FmtBody(7, 1, 8000, 8));
    AppendId(odd, "data");
    AppendLE32(odd, 101);
    odd.resize(odd.size() + 101, 0x55);
    std::string oddPath = dir.File("odd.wav");
    kvtest::WriteFileBytes(oddPath, Riff(odd));
    EXPECT_TRUE(LWavTagWriter().Write(oddPath, t));
    EXPECT_EQ(ReadTags(oddPath).Get("TITLE"), "x");
    EXPECT_EQ(LWaveFile::OpenSource(oddPath)->GetEndSample(), 101);
}

TEST(WavTags, BigFilesAreWalkedToTheirEnd) {
    kvtest::TempDir dir;
    std::vector<uint8_t> chunks;
    AppendChunk(chunks, "fmt ", FmtBody(1, 1, 8000, 16));
    AppendChunk(chunks, "data", std::vector<uint8_t>(20, 0));
    std::vector<uint8_t> file = Riff(chunks);  // the RIFF length ends here
    AppendChunk(file, "LIST", InfoList("INAM", "behind"));
    std::string path = dir.File("big.wav");
    kvtest::WriteFileBytes(path, file);
    EXPECT_FALSE(ReadTags(path).Has("TITLE"));
    LWaveLimits limits;
    limits.bigFileSize = file.size();
    LWavTagIterator it(limits);
    ASSERT_TRUE(it.Read(path));
    LFileTagDataAudio t;
    it.CopyTo(t);
    EXPECT_EQ(t.Get("TITLE"), "behind");
}

}  // namespace
