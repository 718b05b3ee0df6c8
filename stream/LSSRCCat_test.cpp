#include "stream/LChannelJoinSourceBase.h"
#include "stream/LSRCCrossFade.h"
#include "stream/LSRCJoin.h"
#include "stream/LSSRCCat.h"
#include "stream/LSSTone.h"
#include "stream/LSoundSourceError.h"
#include "stream/testing/RampSource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {

std::vector<float> ReadFrames(LSoundSource& s, long long frames) {
    std::vector<float> out(static_cast<size_t>(frames * s->GetChannels()), -7.0f);
    s->Read(out.data(), frames);
    return out;
}

// 8000 Hz mono: a 100-frame ramp, 10 ms of silence for a source in error, a 50-frame ramp.
LSoundSource MakeCat() {
    std::vector<LSSRCCat::Entry> entries;
    entries.push_back({LSoundSource(new RampSource(100, 1, 8000)), 0});
    entries.push_back({LSoundSource(new LSoundSourceError(kSourceNoFile, 8000, 1)), 10});
    entries.push_back({LSoundSource(new RampSource(50, 1, 8000)), 0});
    return LSoundSource(new LSSRCCat(8000, 1, std::move(entries)));
}

TEST(CatSource, PlaysEntriesWithErrorsAsSilence) {
    LSoundSource cat = MakeCat();
    EXPECT_EQ(cat->GetEndSample(), 230);
    auto v = ReadFrames(cat, 240);
    EXPECT_EQ(v[0], RampSource::Value(0));
    EXPECT_EQ(v[99], RampSource::Value(99));
    for (int i = 100; i < 180; ++i) ASSERT_EQ(v[i], 0.0f) << i;
    EXPECT_EQ(v[180], RampSource::Value(0));
    EXPECT_EQ(v[229], RampSource::Value(49));
    for (int i = 230; i < 240; ++i) EXPECT_EQ(v[i], 0.0f);
    EXPECT_EQ(cat->GetPositionSample(), 240);
    EXPECT_EQ(cat->GetEndSample(), 240);
}

TEST(CatSource, SeeksIntoEntriesAndBeforeTheStart) {
    LSoundSource cat = MakeCat();
    cat->Seek(190);
    EXPECT_EQ(ReadFrames(cat, 1)[0], RampSource::Value(10));
    EXPECT_EQ(cat->GetEndSample(), 230);
    cat->Seek(150);
    auto v = ReadFrames(cat, 31);
    EXPECT_EQ(v[29], 0.0f);
    EXPECT_EQ(v[30], RampSource::Value(0));
    cat->Seek(-1000);
    v = ReadFrames(cat, 1001);
    EXPECT_EQ(v[999], 0.0f);
    EXPECT_EQ(v[1000], RampSource::Value(0));
    cat->Seek(5000);
    v = ReadFrames(cat, 4);
    for (float x : v) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(cat->GetPositionSample(), 5004);
}

// Entries of another format are brought to the stream's: a 4000 Hz mono entry
// in an 8000 Hz stereo stream lasts twice the frames, on both channels.
TEST(CatSource, ConvertsEntriesToItsRateAndChannels) {
    std::vector<LSSRCCat::Entry> entries;
    entries.push_back({LSoundSource(new RampSource(100, 1, 4000)), 0});
    entries.push_back({LSoundSource(new RampSource(50, 1, 8000)), 0});
    LSoundSource cat(new LSSRCCat(8000, 2, std::move(entries)));
    EXPECT_EQ(cat->GetChannels(), 2);
    EXPECT_EQ(cat->GetEndSample(), 200 + 50);
    auto v = ReadFrames(cat, 250);
    for (int f = 0; f < 250; ++f) ASSERT_EQ(v[2 * f], v[2 * f + 1]) << f;
    EXPECT_EQ(v[2 * 200], RampSource::Value(0));  // the second entry starts exactly after the first
    EXPECT_EQ(v[2 * 249], RampSource::Value(49));
    EXPECT_EQ(cat->GetPositionSample(), 250);
}

TEST(JoinSources, InterleaveTwoMonoStreams) {
    LSoundSource left(new RampSource(10)), right(new RampSource(20));
    LSoundSource a(new LChannelJoinSourceBase(left, right));
    EXPECT_EQ(a->GetChannels(), 2);
    EXPECT_EQ(a->GetEndSample(), 20);
    a->Seek(8);
    auto v = ReadFrames(a, 3);
    EXPECT_EQ(v[0], RampSource::Value(8));
    EXPECT_EQ(v[1], RampSource::Value(8));
    EXPECT_EQ(v[4], 0.0f);  // left has ended
    EXPECT_EQ(v[5], RampSource::Value(10));

    LSoundSource l2(new RampSource(10)), r2(new RampSource(20, 3));
    LSoundSource b;
    b = MakeSource<LSRCJoin>(l2, r2);
    EXPECT_EQ(b->GetEndSample(), 10);
    auto w = ReadFrames(b, 20000);  // more than one scratch buffer; 3-channel input gives its first channel
    EXPECT_EQ(w[2 * 5], RampSource::Value(5));
    EXPECT_EQ(w[2 * 5 + 1], RampSource::Value(5));
    EXPECT_EQ(w[2 * 15 + 1], RampSource::Value(15));
    EXPECT_EQ(w[2 * 15], 0.0f);
}

TEST(CrossFade, FadesFromTheRingAfterAJump) {
    auto ring = std::make_unique<LCrossFadeRing>();
    LSoundSource inner(new RampSource(100000, 2));
    LSoundSource s;
    LCrossFadeSource::OpenSource(s, inner, ring.get());
    auto first = ReadFrames(s, 100);  // frames 0..99 go into the ring
    EXPECT_EQ(ring->writeIndex, 200u);
    EXPECT_EQ(first[0], RampSource::Value(0));

    s->Seek(50);  // the ring's index follows the timeline back to frame 50
    EXPECT_EQ(ring->writeIndex, 100u);
    // Overwrite what the ring remembers of frames 50..59 with a known level.
    for (int i = 100; i < 120; ++i) ring->samples[i] = 1000.0f;
    ring->fadePending = true;
    auto v = ReadFrames(s, 10);
    EXPECT_FALSE(ring->fadePending);
    EXPECT_EQ(v[0], 1000.0f);  // a = 1, b = 0
    EXPECT_EQ(v[1], 1000.0f);  // both channels share one gain
    EXPECT_FLOAT_EQ(v[2 * 5], 1000.0f * 0.5f + RampSource::Value(55) * 0.5f);
    EXPECT_FLOAT_EQ(v[2 * 9 + 1], 1000.0f * 0.1f + RampSource::Value(59, 1) * 0.9f);
    EXPECT_EQ(ring->samples[2 * 55], v[2 * 5]);  // what was delivered is remembered

    // Without a ring, nothing is read.
    LSoundSource inner2(new RampSource(100));
    LSoundSource t;
    LCrossFadeSource::OpenSource(t, inner2, nullptr);
    ReadFrames(t, 10);
    EXPECT_EQ(inner2->GetPositionSample(), 0);
}

TEST(CrossFade, SeeksToExtremesKeepTheIndexInTheRing) {
    LCrossFadeRing ring;
    LSoundSource inner(new RampSource(100, 3));
    LSoundSource s;
    LCrossFadeSource::OpenSource(s, inner, &ring);
    for (long long p : {LLONG_MIN, LLONG_MAX, -1LL, 12345LL}) {
        s->Seek(p);
        EXPECT_LT(ring.writeIndex, LCrossFadeRing::kSize);
        ReadFrames(s, 1000);
    }
}

TEST(Tone, InterpolatesTheTableAndSeeksInStep) {
    LSoundSource tone(new LSSTone(48000, 1000.0, 0.5f, 48000));
    auto* base = static_cast<LSSTone*>(tone.Get());
    EXPECT_EQ(base->GetIncrement(), static_cast<unsigned>(1000.0 * 4096 * 32768 / 48000 + 0.5));
    auto v = ReadFrames(tone, 480);
    for (int i = 0; i < 480; ++i) ASSERT_NEAR(v[i], 0.5 * std::sin(2 * M_PI * 1000 * i / 48000), 1e-3) << i;
    tone->Seek(240);
    auto w = ReadFrames(tone, 10);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(w[i], v[240 + i]);
    tone->Seek(47999);
    w = ReadFrames(tone, 3);
    EXPECT_EQ(w[1], 0.0f);  // past the end

    LSoundSource bad(new LSSTone(48000, -5.0, 0.5f, 100));
    EXPECT_NE(bad->GetError(), kSourceOk);
    std::vector<float> keep(4, 9.0f);
    bad->Read(keep.data(), 4);
    EXPECT_EQ(keep[0], 9.0f);  // a tone in error leaves the buffer as it is
}

}  // namespace
