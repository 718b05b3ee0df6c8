#include "stream/LSPConvChannels.h"
#include "stream/LSPConvertSourceRateChannels.h"
#include "stream/LSRCConvChannels.h"
#include "stream/LSRCConvertRate.h"
#include "stream/testing/ConversionTestSource.h"

#include <gtest/gtest.h>

#include <vector>

using kvtest::FunctionSource;

namespace {

// Channel c of every frame holds c + 1, frame f adds f * 100 to make frames distinct.
LSoundSource Numbered(int channels, int rate = 44100, float peak = kPeakUnbounded) {
    return LSoundSource(new FunctionSource(
        rate, channels, 1 << 20, [](long long f, int c) { return float(c + 1 + (f % 2) * 100); }, peak));
}

std::vector<float> FirstFrame(LSoundSource s) {
    std::vector<float> out(size_t(s->GetChannels()) * 2);
    s->Read(out.data(), 2);
    out.resize(size_t(s->GetChannels()));
    return out;
}

template <class T>
bool Is(const LSoundSource& s) {
    return dynamic_cast<T*>(s.Get()) != nullptr;
}

}  // namespace

TEST(LSRCConvChannels, EachFoldDownFollowsItsFormula) {
    using V = std::vector<float>;
    auto expectFrame = [](const V& got, const V& want) {
        ASSERT_EQ(got.size(), want.size());
        for (size_t i = 0; i < want.size(); ++i) EXPECT_FLOAT_EQ(got[i], want[i]) << "channel " << i;
    };
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannels71To51(Numbered(8)))),
                V{1, 2, 3, 4, 8.49534912f, 9.91124064f});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannelsQuadStereo(Numbered(4)))), V{2, 3});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannels51Stereo(Numbered(6)))), V{8.66356608f, 10.37151184f});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannels71Stereo(Numbered(8)))), V{12.16356608f, 14.37151184f});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannelsNMono(Numbered(3)))), V{2});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannels51Mono(Numbered(6)))), V{7.51753896f});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannels71Mono(Numbered(8)))), V{11.26753896f});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannelsN(Numbered(3), 5))), V{1, 2, 3, 1, 2});
    expectFrame(FirstFrame(LSoundSource(new LSRCConvChannelsN(Numbered(1), 2))), V{1, 1});
}

TEST(LSRCConvChannels, LongReadsCrossBlocksAndTimeRunsOneToOne) {
    LSoundSource s(new LSRCConvChannelsQuadStereo(Numbered(4)));
    const long long n = LSRCConvChannelsBase::kBlockFrames * 2 + 3;
    std::vector<float> out(size_t(n * 2));
    s->Seek(5);
    s->Read(out.data(), n);
    for (long long f = 0; f < n; ++f) {
        const float odd = ((f + 5) % 2) * 100.0f;
        ASSERT_EQ(out[size_t(2 * f)], 2 + odd);
        ASSERT_EQ(out[size_t(2 * f + 1)], 3 + odd);
    }
    EXPECT_EQ(s->GetPositionSample(), 5 + n);
    EXPECT_EQ(s->GetEndSample(), 1 << 20);
}

TEST(LSRCConvChannels, ZeroChannelsGiveErrorThreeAndMixesRaiseThePeak) {
    LSoundSource none(new LSRCConvChannelsN(Numbered(2), 0));
    EXPECT_EQ(none->GetError(), kSourceBadFormat);
    EXPECT_EQ(none->GetChannels(), 1);
    float one[2];
    none->Read(one, 2);
    EXPECT_EQ(one[0], 1.0f);

    // Integer PCM folded from 5.1 can pass full scale: the announced peak says so.
    LSoundSource pcm = Numbered(6, 44100, kPeakIntegerPcm);
    EXPECT_GT(LSoundSource(new LSRCConvChannels51Stereo(pcm))->GetPeak(), 1.0f);
    EXPECT_EQ(LSoundSource(new LSRCConvChannelsNMono(pcm))->GetPeak(), kPeakIntegerPcm);
}

TEST(LSPConvChannels, ChoosesTheMixForTheLayouts) {
    EXPECT_TRUE(Is<LSRCConvChannels71To51>(LSPConvChannels(6).OpenSource(Numbered(8))));
    EXPECT_TRUE(Is<LSRCConvChannelsQuadStereo>(LSPConvChannels(2).OpenSource(Numbered(4))));
    EXPECT_TRUE(Is<LSRCConvChannels51Stereo>(LSPConvChannels(2).OpenSource(Numbered(6))));
    EXPECT_TRUE(Is<LSRCConvChannels71Stereo>(LSPConvChannels(2).OpenSource(Numbered(8))));
    EXPECT_TRUE(Is<LSRCConvChannels51Mono>(LSPConvChannels(1).OpenSource(Numbered(6))));
    EXPECT_TRUE(Is<LSRCConvChannels71Mono>(LSPConvChannels(1).OpenSource(Numbered(8))));
    EXPECT_TRUE(Is<LSRCConvChannelsNMono>(LSPConvChannels(1).OpenSource(Numbered(2))));
    EXPECT_TRUE(Is<LSRCConvChannelsN>(LSPConvChannels(2).OpenSource(Numbered(1))));
    EXPECT_TRUE(Is<LSRCConvChannelsN>(LSPConvChannels(2).OpenSource(Numbered(3))));
    LSoundSource same = Numbered(2);
    EXPECT_EQ(LSPConvChannels(2).OpenSource(same).Get(), same.Get());
}

TEST(LSPConvertSourceRateChannels, ReducesChannelsBeforeAndAddsThemAfterTheRate) {
    LSoundSource s = Numbered(6, 48000);
    LSPConvertSourceRateChannels(44100, 2, s);
    ASSERT_TRUE(Is<LSRCConvertRate>(s));
    EXPECT_TRUE(Is<LSRCConvChannels51Stereo>(static_cast<LSRCConvertRate*>(s.Get())->Inner()));
    EXPECT_EQ(s->GetSampleRate(), 44100);
    EXPECT_EQ(s->GetChannels(), 2);

    LSoundSource mono = Numbered(1, 22050);
    LSPConvertSourceRateChannels(0, 2, mono);  // rate 0 means 44100
    ASSERT_TRUE(Is<LSRCConvChannelsN>(mono));
    EXPECT_TRUE(Is<LSRCConvertRate>(static_cast<LSRCConvChannelsN*>(mono.Get())->Inner()));
    EXPECT_EQ(mono->GetSampleRate(), 44100);
    EXPECT_EQ(mono->GetEndSample(), 2 << 20);
    std::vector<float> frames(2000);
    mono->Read(frames.data(), 1000);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(frames[size_t(2 * i)], frames[size_t(2 * i + 1)]);

    LSoundSource unchanged = Numbered(2, 48000);
    LSoundSource before = unchanged;
    LSPConvertSourceRateChannels(48000, 2, unchanged);
    EXPECT_EQ(unchanged.Get(), before.Get());

    // A broken source keeps its rate but gets the frame size asked for.
    LSoundSource broken(new LSoundSourceError(kSourceNoFile, 22050, 6));
    LSPConvertSourceRateChannels(44100, 2, broken);
    EXPECT_EQ(broken->GetChannels(), 2);
    EXPECT_EQ(broken->GetSampleRate(), 22050);
    EXPECT_NE(broken->GetError(), kSourceOk);
}
