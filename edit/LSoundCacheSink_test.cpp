#include "edit/LGrfPeakAccumulator.h"
#include "edit/LSoundCacheSink.h"

#include "edit/LSoundCacheItemAdd.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSource.h"
#include "edit/testing/SoundCacheFixture.h"

#include <cstring>

namespace {

uint16_t Word(const std::vector<uint8_t>& bytes, size_t index) {
    return static_cast<uint16_t>(bytes[index * 2] | (bytes[index * 2 + 1] << 8));
}

TEST(LGrfPeakAccumulator, PeakWordsArePinned) {
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(0.0f), 0);
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(1.0f), 4134);
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(1e-9f), 1);
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(20.0f), 65535);
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(15.848932f), 65534);
    EXPECT_EQ(LGrfPeakAccumulator::PeakWord(0.5f), 2067);
}

using LSoundCacheSinkTest = SoundCacheTest;

TEST_F(LSoundCacheSinkTest, WritesAudGrfAndAudInfo) {
    const uint16_t n = Cache().ItemCreateNewAndIncRef();
    ASSERT_EQ(n, 0);
    long long length = -1;
    {
        LSoundCacheSink sink(n, 48000, 2, &length);
        ASSERT_FALSE(sink.HasFailed());
        // Block 0: channel 0 full scale up, channel 1 tiny down; block 1 (44
        // frames, written at close) +24 dB exceeded and silence.
        std::vector<float> frames(300 * 2, 0.0f);
        frames[10 * 2] = 1.0f;
        frames[20 * 2 + 1] = -1e-9f;
        frames[260 * 2] = 20.0f;
        sink.Write(frames.data(), 100);
        sink.Write(frames.data() + 200, 200);
        EXPECT_EQ(sink.GetPositionSample(), 300);
    }
    EXPECT_EQ(length, 300);
    const auto grf = kvtest::ReadFileBytes(ItemFile(n, ".grf"));
    ASSERT_EQ(grf.size(), 16u);
    const uint16_t expected[8] = {4134, 0, 0, 1, 65535, 0, 0, 0};
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(Word(grf, i), expected[i]) << i;
    const auto aud = kvtest::ReadFileBytes(ItemFile(n, ".aud"));
    ASSERT_EQ(aud.size(), 300u * 2 * 4);
    float value;
    std::memcpy(&value, aud.data() + 260 * 8, 4);
    EXPECT_EQ(value, 20.0f);

    int rate = 0, channels = 0;
    EXPECT_TRUE(LSoundCacheItemAudioInfoGet(ItemFile(n, ".audinfo"), rate, channels));
    EXPECT_EQ(rate, 48000);
    EXPECT_EQ(channels, 2);
    EXPECT_TRUE(LSoundCacheItemIsValid(n));
    EXPECT_EQ(LSoundCacheItemLengthGet(n), 300);
    EXPECT_EQ(Cache().GetRefCount(n), 1);  // the sink gave back its own reference
}

TEST_F(LSoundCacheSinkTest, ThreeHundredMonoFramesGiveEightByteGrf) {
    LProcessInterfaceVoid process;
    uint16_t item = 0;
    long long length = 0;
    ASSERT_EQ(LSoundCacheImport(process, "", LSoundSource(new MemorySource(Ramp(300, 1), 44100, 1)), false, &item,
                                &length),
              LProcessOK);
    EXPECT_EQ(length, 300);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(item, ".grf")).size(), 8u);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(item, ".aud")).size(), 1200u);
    Cache().DecRef(item);  // no original file: the item goes
    EXPECT_FALSE(Exists(ItemFile(item, ".aud")));
}

TEST_F(LSoundCacheSinkTest, SinkOnNoItemFailsAndWritesNothing) {
    {
        LSoundCacheSink sink(kSoundCacheItemNone, 44100, 1);
        EXPECT_TRUE(sink.HasFailed());
    }
    EXPECT_FALSE(Exists(dir_.File("65534.aud")));
    EXPECT_FALSE(Exists(dir_.File("65534.audinfo")));
}

using LSoundCacheSourceTest = SoundCacheTest;

TEST_F(LSoundCacheSourceTest, ZerosOutsideTheItemAndExactPositions) {
    const uint16_t n = Cache().ItemCreateNewAndIncRef();
    std::vector<float> data = Ramp(1000, 2);
    for (float& v : data) v += 1.0f;  // no zeros inside, so zeros mark the outside
    {
        LSoundCacheSink sink(n, 44100, 2);
        sink.Write(data.data(), 1000);
    }
    LSoundSource source(LSoundCacheSource::Open(n));
    ASSERT_EQ(source->GetError(), 0);
    EXPECT_EQ(source->GetEndSample(), 1000);
    EXPECT_EQ(Cache().GetRefCount(n), 2);

    std::vector<float> buffer(300 * 2, -7.0f);
    source->Seek(-100);
    source->Read(buffer.data(), 300);
    EXPECT_EQ(source->GetPositionSample(), 200);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(buffer[i], 0.0f) << i;
    for (int i = 200; i < 600; ++i) EXPECT_EQ(buffer[i], data[i - 200]) << i;

    source->Seek(900);
    source->Read(buffer.data(), 300);
    EXPECT_EQ(source->GetPositionSample(), 1200);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(buffer[i], data[1800 + i]) << i;
    for (int i = 200; i < 600; ++i) EXPECT_EQ(buffer[i], 0.0f) << i;

    source->Read(buffer.data(), 300);  // wholly past the end, and on it goes
    EXPECT_EQ(source->GetPositionSample(), 1500);
    for (float v : buffer) EXPECT_EQ(v, 0.0f);

    source.Close();
    EXPECT_EQ(Cache().GetRefCount(n), 1);
}

TEST_F(LSoundCacheSourceTest, MissingFileReadsZeros) {
    LSoundCacheSource source(1234, 44100, 2);
    EXPECT_EQ(source.GetEndSample(), 0);
    std::vector<float> buffer(64 * 2, 3.0f);
    source.Seek(-10);
    source.Read(buffer.data(), 64);
    EXPECT_EQ(source.GetPositionSample(), 54);
    for (float v : buffer) EXPECT_EQ(v, 0.0f);

    LSoundSource opened(LSoundCacheSource::Open(1234));
    EXPECT_EQ(opened->GetError(), kSourceNoFile);
}

TEST_F(LSoundCacheSourceTest, AudWithoutInfoIsCacheFileWithoutCompanion) {
    kvtest::WriteFileBytes(ItemFile(7, ".aud"), std::vector<uint8_t>(64, 0));
    LSoundSource opened(LSoundCacheSource::Open(7));
    EXPECT_EQ(opened->GetError(), kSourceCacheNoCompanion);
}

}  // namespace

namespace {

// Items over a few MiB go out through the write-behind worker: the bytes and
// their order must be exactly what was written, and the length is known at close.
TEST_F(LSoundCacheSinkTest, LargeItemWrittenExactlyThroughWorker) {
    const uint16_t n = Cache().ItemCreateNewAndIncRef();
    const long long frames = 3 * 131072 + 1234;  // a bit over 3 MiB of stereo floats
    std::vector<float> data(frames * 2);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<float>(i % 100003) * 1e-5f;
    long long length = 0;
    {
        LSoundCacheSink sink(n, 44100, 2, &length);
        for (long long done = 0; done < frames; done += 777) sink.Write(data.data() + done * 2, std::min(777LL, frames - done));
    }
    EXPECT_EQ(length, frames);
    const auto aud = kvtest::ReadFileBytes(ItemFile(n, ".aud"));
    ASSERT_EQ(aud.size(), data.size() * 4);
    EXPECT_EQ(std::memcmp(aud.data(), data.data(), aud.size()), 0);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(n, ".grf")).size(), static_cast<size_t>((frames + 255) / 256) * 8);
}

}  // namespace
