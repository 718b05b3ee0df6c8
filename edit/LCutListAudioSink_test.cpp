#include "edit/LGrfPeakAccumulator.h"
#include "edit/LCutListAudioSink.h"

#include "edit/LCutListAudio.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSink.h"
#include "edit/LSoundCutListAdd.h"
#include "edit/testing/CutListFixture.h"

#include <sys/stat.h>

#include <cstring>
#include <random>

namespace {

// The .grf a fresh write of these frames would give.
std::vector<uint8_t> ExpectedGrf(const std::vector<float>& samples, int channels) {
    std::vector<uint8_t> out;
    const long long frames = static_cast<long long>(samples.size()) / channels;
    for (long long b = 0; b < frames; b += 256) {
        for (int c = 0; c < channels; ++c) {
            float mx = 0, mn = 0;
            for (long long f = b; f < std::min(frames, b + 256); ++f) {
                mx = std::max(mx, samples[f * channels + c]);
                mn = std::min(mn, samples[f * channels + c]);
            }
            for (uint16_t w : {LGrfPeakAccumulator::PeakWord(mx), LGrfPeakAccumulator::PeakWord(-mn)}) {
                out.push_back(static_cast<uint8_t>(w));
                out.push_back(static_cast<uint8_t>(w >> 8));
            }
        }
    }
    return out;
}

std::vector<float> AudFloats(const std::string& path) {
    const std::vector<uint8_t> bytes = kvtest::ReadFileBytes(path);
    std::vector<float> out(bytes.size() / 4);
    std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

}  // namespace

class LCutListAudioSinkTest : public CutListTest {};

TEST_F(LCutListAudioSinkTest, ClosePublishesExactlyTheWrittenFramesAndReleasesTheOldContent) {
    LCutListAudio old = MakeList(Numbered(30, 5));
    const uint16_t oldItem = old.Segments()[0].Item();
    LCutListAudio list = old;
    old = LCutListAudio();
    const std::vector<float> samples = Ramp(700, 2);
    uint16_t item = 0;
    {
        LSoundSink sink = list.OpenSink(48000, 2, "Aufnahme");
        item = static_cast<LCutListAudioSink*>(sink.Get())->Item();
        sink->Write(samples.data(), 300);
        sink->Write(samples.data() + 600, 400);
        EXPECT_EQ(list.Segments()[0].Item(), oldItem);  // nothing public before the close
        EXPECT_FALSE(sink->HasFailed());
    }
    ASSERT_EQ(list.GetSegmentCount(), 1u);
    EXPECT_EQ(list.Segments()[0].Item(), item);
    EXPECT_EQ(list.GetLength(), 700);
    EXPECT_EQ(list.GetSampleRate(), 48000);
    EXPECT_EQ(list.GetChannels(), 2);
    EXPECT_EQ(ReadAll(list), samples);
    EXPECT_EQ(Cache().GetRefCount(item), 1);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(item, ".grf")), ExpectedGrf(samples, 2));
    int rate = 0, channels = 0;
    EXPECT_TRUE(LSoundCacheItemAudioInfoGet(ItemFile(item, ".audinfo"), rate, channels));
    EXPECT_EQ(rate, 48000);
    EXPECT_EQ(channels, 2);
    EXPECT_FALSE(Exists(ItemFile(oldItem, ".aud")));  // the last reference of an edit item went
}

TEST_F(LCutListAudioSinkTest, SeekAndRewriteKeepsPeaksTrueToAudio) {
    std::mt19937 random(3);
    std::vector<float> expected = Ramp(2000, 1);
    LCutListAudio list;
    uint16_t item = 0;
    {
        LSoundSink sink = list.OpenSink(44100, 1);
        item = static_cast<LCutListAudioSink*>(sink.Get())->Item();
        sink->Write(expected.data(), 2000);
        // Rewrites at block starts and elsewhere, ending inside blocks too.
        for (auto [at, n] : {std::pair{512LL, 300LL}, {1000LL, 77LL}, {0LL, 10LL}, {1792LL, 208LL}, {1990LL, 40LL}}) {
            std::vector<float> fresh(n);
            for (float& f : fresh) f = static_cast<float>(static_cast<int>(random() % 2001) - 1000) / 500.0f;
            sink->Seek(at);
            EXPECT_EQ(sink->GetPositionSample(), at);
            sink->Write(fresh.data(), n);
            if (at + n > static_cast<long long>(expected.size())) expected.resize(at + n);
            std::copy(fresh.begin(), fresh.end(), expected.begin() + at);
        }
        sink->Seek(-5);
        EXPECT_EQ(sink->GetPositionSample(), 0);
    }
    EXPECT_EQ(AudFloats(ItemFile(item, ".aud")), expected);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(item, ".grf")), ExpectedGrf(expected, 1));
    EXPECT_EQ(list.GetLength(), 2030);
    EXPECT_EQ(ReadAll(list), expected);
}

TEST_F(LCutListAudioSinkTest, CommitUpToGrowsTheListByWholePeakBlocks) {
    LCutListAudio list;
    const std::vector<float> samples = Ramp(1000, 1);
    LSoundSink sink = list.OpenSink(44100, 1);
    auto* recorder = static_cast<LCutListAudioSink*>(sink.Get());
    sink->Write(samples.data(), 200);
    EXPECT_EQ(recorder->CommitUpTo(200), 0);
    EXPECT_EQ(list.GetLength(), 0);
    sink->Write(samples.data() + 200, 400);
    EXPECT_EQ(recorder->CommitUpTo(600), 512);
    EXPECT_EQ(list.GetLength(), 512);
    EXPECT_EQ(Cache().GetRefCount(recorder->Item()), 2);
    // What is public reads back while the sink goes on writing.
    EXPECT_EQ(ReadAll(list), std::vector<float>(samples.begin(), samples.begin() + 512));
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(recorder->Item(), ".grf")).size(), 8u);
    sink->Write(samples.data() + 600, 400);
    EXPECT_EQ(recorder->CommitUpTo(1000), 768);
    sink.Close();
    EXPECT_EQ(list.GetLength(), 1000);
    EXPECT_EQ(ReadAll(list), samples);
}

TEST_F(LCutListAudioSinkTest, FailedSinkLeavesTheListAlone) {
    LCutListAudio list = MakeList(Numbered(10, 1));
    const uint16_t item = list.Segments()[0].Item();
    // The next item's peak file can't be opened (a folder stands in its way).
    const uint16_t next = Cache().ItemNumberGetNextAvailable();
    ASSERT_EQ(::mkdir(ItemFile(next, ".grf").c_str(), 0700), 0);
    {
        LSoundSink sink = list.OpenSink(44100, 1);
        const float x[4] = {1, 2, 3, 4};
        sink->Write(x, 4);
        EXPECT_TRUE(sink->HasFailed());
    }
    EXPECT_EQ(list.Segments()[0].Item(), item);
    EXPECT_EQ(ReadAll(list), Numbered(10, 1));
    EXPECT_FALSE(Exists(ItemFile(next, ".aud")));

    LSoundSink zero = list.OpenSink(44100, 0);
    EXPECT_TRUE(zero->HasFailed());
    EXPECT_EQ(zero->GetChannels(), 1);
}

TEST_F(LCutListAudioSinkTest, CutListAddImportsAsOneSegmentRecordingTheOriginal) {
    kvtest::TempDir other;
    const std::string path = other.File("a.wav");
    kvtest::WriteFileBytes(path, {1, 2, 3});
    LSoundSource source(new MemorySource(Ramp(300, 2), 22050, 2));
    LCutListAudio list;
    LProcessInterfaceVoid process;
    ASSERT_EQ(LSoundCutListAdd(process, path, source, list, true), LProcessOK);
    ASSERT_EQ(list.GetSegmentCount(), 1u);
    EXPECT_EQ(list.GetLength(), 300);
    EXPECT_EQ(list.GetSampleRate(), 22050);
    EXPECT_EQ(list.GetChannels(), 2);
    const uint16_t item = list.Segments()[0].Item();
    EXPECT_EQ(Cache().GetRefCount(item), 1);
    EXPECT_EQ(ReadAll(list), Ramp(300, 2));
    list = LCutListAudio();
    EXPECT_TRUE(Exists(ItemFile(item, ".aud")));  // the original is unchanged: the item may serve it again
}
