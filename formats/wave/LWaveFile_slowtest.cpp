// Writes and reads a real Wave file beyond 4 GiB: the samples continue in a
// second `data` chunk behind the first, full one.
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWavTagIterator.h"
#include "formats/wave/LWavTagWriter.h"
#include "base/LFile.h"
#include "formats/wave/testing/WaveTestSupport.h"

#include <sys/stat.h>

using namespace wavetest;

namespace {

// 16-bit stereo: the value tells the frame, so any misplaced byte shows.
float Value(long long frame, int channel) { return float(((frame * 7 + channel) % 60000) - 30000) / 32767.0f; }

TEST(WaveBig, FileBeyond4GiBRoundTrips) {
    kvtest::TempDir dir;
    std::string path = dir.File("big.wav");
    const long long firstFrames = 0xFFFFFFD8LL / 4;  // the first chunk holds whole frames
    const long long frames = firstFrames + 1000003;
    {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path, 48000, 2, 16);
        std::vector<float> block(2 * 65536);
        for (long long at = 0; at < frames;) {
            long long n = std::min<long long>(65536, frames - at);
            for (long long i = 0; i < n; ++i)
                for (int c = 0; c < 2; ++c) block[size_t(i * 2 + c)] = Value(at + i, c);
            sink->Write(block.data(), n);
            at += n;
        }
        ASSERT_FALSE(sink->HasFailed());
    }
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 46 + frames * 4 + 8);

    LFile file;
    ASSERT_TRUE(file.OpenRead(path.c_str()));
    uint8_t head[8];
    ASSERT_EQ(file.ReadAt(head, 8, 38), 8);
    EXPECT_EQ(std::memcmp(head, "data", 4), 0);
    EXPECT_EQ(LE32(std::vector<uint8_t>(head, head + 8), 4), 0xFFFFFFD8u);
    ASSERT_EQ(file.ReadAt(head, 8, 46 + 0xFFFFFFD8LL), 8);
    EXPECT_EQ(std::memcmp(head, "data", 4), 0);
    EXPECT_EQ(LE32(std::vector<uint8_t>(head, head + 8), 4), uint32_t((frames - firstFrames) * 4));

    auto check = [&](LSoundSource& s) {
        ASSERT_EQ(s->GetError(), kSourceOk);
        EXPECT_FALSE(s->IsStreaming());
        ASSERT_EQ(s->GetEndSample(), frames);
        for (long long start : {0LL, firstFrames - 5, frames - 10}) {
            s->Seek(start);
            float v[2 * 20];
            s->Read(v, 20);
            for (int i = 0; i < 20; ++i) {
                long long f = start + i;
                for (int c = 0; c < 2; ++c) {
                    float want = f < frames ? Value(f, c) : 0.0f;
                    ASSERT_EQ(v[i * 2 + c], want) << "frame " << f;
                }
            }
        }
    };
    LSoundSource s = LWaveFile::OpenSource(path);
    check(s);

    // Tags of a file this size are found by walking to the end of the file.
    LFileTagDataAudio tags;
    tags.Set("TITLE", "groß");
    ASSERT_TRUE(LWavTagWriter().Write(path, tags));
    ASSERT_EQ(file.ReadAt(head, 8, 0), 8);
    EXPECT_EQ(LE32(std::vector<uint8_t>(head, head + 8), 4), 0xFFFFFFFEu);
    LWavTagIterator it;
    ASSERT_TRUE(it.Read(path));
    LFileTagDataAudio back;
    it.CopyTo(back);
    EXPECT_EQ(back.Get("TITLE"), "groß");
    LSoundSource again = LWaveFile::OpenSource(path);
    check(again);
}

}  // namespace
