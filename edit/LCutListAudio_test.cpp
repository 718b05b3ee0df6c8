#include "edit/LCutListAudio.h"

#include "base/LInputStreamBuffer.h"
#include "edit/LSoundCache.h"
#include "edit/testing/CutListFixture.h"

#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <random>
#include <thread>

using ::testing::ElementsAre;

namespace {

std::vector<float> Zeros(long long n) { return std::vector<float>(n, 0.0f); }

std::vector<float> Cat(std::initializer_list<std::vector<float>> parts) {
    std::vector<float> out;
    for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

std::vector<float> Range(const std::vector<float>& v, long long from, long long to) {
    return std::vector<float>(v.begin() + from, v.begin() + to);
}

}  // namespace

class LCutListAudioTest : public CutListTest {
protected:
    void SetUp() override {
        CutListTest::SetUp();
        a_ = MakeList(Numbered(20, 100));
        item_ = a_.Segments()[0].Item();
    }
    void TearDown() override {
        a_ = LCutListAudio();
        CutListTest::TearDown();
    }

    LCutListAudio a_;  // frames 100..119 in one item
    uint16_t item_ = 0;
};

TEST_F(LCutListAudioTest, DefaultListAndFreshSegment) {
    LCutListAudio list;
    EXPECT_EQ(list.GetSampleRate(), 44100);
    EXPECT_EQ(list.GetChannels(), 1);
    EXPECT_TRUE(list.IsEmpty());
    LCutListSegment segment;
    EXPECT_EQ(segment.Item(), kSoundCacheItemSilence);
    EXPECT_EQ(segment.length, 0);
    EXPECT_EQ(segment.gain, 1.0f);
    EXPECT_EQ(segment.start, 0);
    EXPECT_EQ(segment.handle.samplesPerMP3Frame, 0);
}

TEST_F(LCutListAudioTest, DeleteClampsAndIgnoresEmptyOrReversedRanges) {
    const std::vector<float> all = Numbered(20, 100);
    for (auto [s, e] : {std::pair{3LL, 3LL}, {5LL, 3LL}, {-9LL, -3LL}, {-3LL, 0LL}, {25LL, 30LL}}) {
        LCutListAudio list = a_;
        list.EfDelete(s, e);
        EXPECT_EQ(ReadAll(list), all) << s << ".." << e;
    }
    LCutListAudio list = a_;
    list.EfDelete(-5, 10);
    EXPECT_EQ(ReadAll(list), Range(all, 10, 20));
    list = a_;
    list.EfDelete(15, 1000);  // the part past the end is ignored
    EXPECT_EQ(ReadAll(list), Range(all, 0, 15));
    list = a_;
    list.EfDelete(5, 8);
    EXPECT_EQ(ReadAll(list), Cat({Range(all, 0, 5), Range(all, 8, 20)}));
    EXPECT_EQ(Cache().GetRefCount(item_), 3);  // a_ and the two halves
}

TEST_F(LCutListAudioTest, DeleteAcrossThreeSegmentsDropsTheMiddleReference) {
    LCutListAudio b = MakeList(Numbered(10, 200));
    LCutListAudio c = MakeList(Numbered(10, 300));
    const uint16_t middle = b.Segments()[0].Item();
    LCutListAudio list = a_;
    list.EfInsert(20, b);
    list.EfInsert(30, c);
    ASSERT_EQ(Cache().GetRefCount(middle), 2);
    list.EfDelete(15, 33);
    EXPECT_THAT(Lengths(list), ElementsAre(15, 7));
    EXPECT_EQ(Cache().GetRefCount(middle), 1);
    EXPECT_EQ(ReadAll(list), Cat({Range(Numbered(20, 100), 0, 15), Range(Numbered(10, 300), 3, 10)}));
}

TEST_F(LCutListAudioTest, InsertSilenceAtNegativePositionsAndPastTheEnd) {
    LCutListAudio list = a_;
    list.EfInsertSilence(-3, 10);
    EXPECT_EQ(ReadAll(list), Cat({Zeros(7), Numbered(20, 100)}));
    list = a_;
    list.EfInsertSilence(-11, 10);
    EXPECT_EQ(list.GetSegmentCount(), 1u);
    list = a_;
    list.EfInsertSilence(50, 10);  // 30 frames past a 20-frame list
    EXPECT_THAT(Lengths(list), ElementsAre(20, 40));
    EXPECT_EQ(ReadAll(list), Cat({Numbered(20, 100), Zeros(40)}));

    LCutListAudio empty;
    empty.EfInsertSilence(100, 10);  // the distance joins the silence
    EXPECT_THAT(Lengths(empty), ElementsAre(110));
    list = a_;
    list.EfInsertSilence(20, 4);  // exactly at the end
    EXPECT_THAT(Lengths(list), ElementsAre(20, 4));
    list.EfInsertSilence(0, 2);  // on a boundary: before the segment there
    list.EfInsertSilence(7, 1);  // inside: split
    EXPECT_THAT(Lengths(list), ElementsAre(2, 5, 1, 15, 4));
}

TEST_F(LCutListAudioTest, InsertAtNegativePositionAndPastTheEnd) {
    LCutListAudio other = MakeList(Numbered(5, 500));
    LCutListAudio list = a_;
    list.EfInsert(-10, other);
    EXPECT_EQ(ReadAll(list), Cat({Numbered(5, 500), Zeros(10), Numbered(20, 100)}));
    list = a_;
    list.EfInsert(25, other);
    EXPECT_EQ(ReadAll(list), Cat({Numbered(20, 100), Zeros(5), Numbered(5, 500)}));
    list = a_;
    list.EfInsert(7, list);  // a list into itself
    EXPECT_EQ(ReadAll(list), Cat({Range(Numbered(20, 100), 0, 7), Numbered(20, 100), Range(Numbered(20, 100), 7, 20)}));
}

TEST_F(LCutListAudioTest, CopyPadsWithSilenceToTheLengthAsked) {
    LCutListAudio dest;
    a_.EfCopy(-5, 5, dest);
    EXPECT_EQ(ReadAll(dest), Cat({Zeros(5), Numbered(5, 100)}));
    a_.EfCopy(10, 50, dest);
    EXPECT_EQ(ReadAll(dest), Cat({Range(Numbered(20, 100), 10, 20), Zeros(30)}));
    a_.EfCopy(-5, -2, dest);
    EXPECT_EQ(ReadAll(dest), Zeros(3));
    a_.EfCopy(8, 3, dest);  // reversed: dest keeps its content
    EXPECT_EQ(dest.GetLength(), 3);
    LCutListAudio self = a_;
    self.EfCopy(2, 4, self);
    EXPECT_EQ(ReadAll(self), Range(Numbered(20, 100), 2, 4));
}

TEST_F(LCutListAudioTest, TrimAndRepeatLoop) {
    LCutListAudio list = a_;
    list.EfTrim(5, 9);
    EXPECT_EQ(ReadAll(list), Range(Numbered(20, 100), 5, 9));
    list = a_;
    list.EfRepeatLoop(3, 6, 0);
    EXPECT_EQ(list.GetSegmentCount(), 1u);
    list.EfRepeatLoop(3, 6, 2);
    const auto loop = Range(Numbered(20, 100), 3, 6);
    EXPECT_EQ(ReadAll(list), Cat({Range(Numbered(20, 100), 0, 3), loop, loop, loop, Range(Numbered(20, 100), 6, 20)}));
}

TEST_F(LCutListAudioTest, CopyConstructorClearsFlagsAssignmentKeepsThem) {
    a_.SetFlags(0x5a);
    a_.SetName("Stimme");
    a_.SetSampleRate(48000);
    a_.UnknownChunks().push_back({7, 1, 0, {1, 2}});
    const LCutListAudio copied(a_);
    EXPECT_EQ(copied.GetFlags(), 0);
    EXPECT_EQ(copied.GetName(), "Stimme");
    EXPECT_EQ(copied.GetSampleRate(), 48000);
    EXPECT_EQ(copied.UnknownChunks(), a_.UnknownChunks());
    LCutListAudio assigned;
    assigned = a_;
    EXPECT_EQ(assigned.GetFlags(), 0x5a);
    EXPECT_EQ(Cache().GetRefCount(item_), 3);
}

TEST_F(LCutListAudioTest, SegmentCopiesCarryTheirUnknownChunks) {
    LCutListSegment segment(item_, 2, 5);
    EXPECT_TRUE(segment.UnknownChunks().empty());
    segment.MutableUnknownChunks().push_back({9, 1, 3, {4, 5}});
    const LCutListSegment copied(segment);
    LCutListSegment assigned;
    assigned = segment;
    EXPECT_EQ(copied.UnknownChunks(), segment.UnknownChunks());
    EXPECT_EQ(assigned.UnknownChunks(), segment.UnknownChunks());
    assigned = LCutListSegment(item_, 0, 1);  // a list without chunks replaces one with
    EXPECT_TRUE(assigned.UnknownChunks().empty());
    LCutListSegment moved(std::move(segment));
    ASSERT_EQ(moved.UnknownChunks().size(), 1u);
    EXPECT_EQ(moved.UnknownChunks()[0].id, 9);
    EXPECT_TRUE(segment.UnknownChunks().empty());
    EXPECT_EQ(LSoundCache::Instance().GetRefCount(item_), 4);  // a_, copied, assigned, moved
}

TEST_F(LCutListAudioTest, ItemDeletedUnderLiveSegmentReadsAsSilenceOfItsLength) {
    LCutListAudio list = a_;
    list.EfInsertSilence(0, 3);
    for (const char* extension : LSoundCache::kExtensions) ::unlink(ItemFile(item_, extension).c_str());
    EXPECT_EQ(ReadAll(list), Zeros(23));
    LCutListAudio empty;
    LSoundSource source = empty.OpenSource();
    EXPECT_EQ(source->GetError(), kSourceClosed);
    std::vector<float> out(4, 1.0f);
    source->Read(out.data(), 4);
    EXPECT_EQ(out, Zeros(4));
}

TEST_F(LCutListAudioTest, GainAndStereoReadThroughSegments) {
    std::vector<float> stereo(40);
    for (int i = 0; i < 40; ++i) stereo[i] = static_cast<float>(i);
    LCutListAudio s = MakeList(stereo, 2);
    LCutListAudio list;
    list.SetChannels(2);
    list.AppendSegment(LCutListSegment(s.Segments()[0].Item(), 15, 5, 0.5f));
    list.AppendSegment(LCutListSegment(s.Segments()[0].Item(), 0, 2));
    EXPECT_EQ(ReadAll(list), std::vector<float>({15, 15.5, 16, 16.5, 17, 17.5, 18, 18.5, 19, 19.5, 0, 1, 2, 3}));
}

TEST_F(LCutListAudioTest, RestoreReadsSimpleFormAndKeepsWhatWasReadOnShortInput) {
    std::vector<uint8_t> bytes;
    auto put = [&bytes](const auto& value) {
        const auto* p = reinterpret_cast<const uint8_t*>(&value);
        bytes.insert(bytes.end(), p, p + sizeof value);
    };
    put(int32_t{48000});
    put(uint8_t{2});
    put(uint8_t{3});
    put(int32_t{3});
    put(uint16_t{item_});
    put(int64_t{10});
    put(0.5f);
    put(int64_t{4});
    put(uint16_t{kSoundCacheItemSilence});
    put(int64_t{6});
    put(1.0f);
    put(int64_t{0});
    put(uint16_t{item_});  // the third segment is cut short
    put(int64_t{1});
    LCutListAudio list;
    LInputStreamBuffer input(bytes);
    EXPECT_FALSE(list.Restore(input, false));
    EXPECT_EQ(list.GetSampleRate(), 48000);
    EXPECT_EQ(list.GetChannels(), 2);
    EXPECT_EQ(list.GetFlags(), 3);
    EXPECT_THAT(Lengths(list), ElementsAre(10, 6));
    EXPECT_EQ(list.Segments()[0].start, 4);
    EXPECT_EQ(list.Segments()[0].gain, 0.5f);
    EXPECT_EQ(Cache().GetRefCount(item_), 2);

    const uint8_t none[] = {0x44, 0xac, 0, 0, 1, 0, 0, 0, 0, 0};
    LCutListAudio empty;
    LInputStreamBuffer emptyInput(none, sizeof none);
    EXPECT_TRUE(empty.Restore(emptyInput, false));
    EXPECT_TRUE(empty.IsEmpty());
    LInputStreamBuffer truncated(none, 5);
    EXPECT_FALSE(empty.Restore(truncated, false));
}

TEST_F(LCutListAudioTest, SourceSeeksAcrossSegments) {
    LCutListAudio b = MakeList(Numbered(10, 200));
    LCutListAudio list = a_;
    list.EfInsert(10, b);
    list.EfInsertSilence(5, 3);
    const std::vector<float> expected = ReadAll(list);
    LSoundSource source = list.OpenSource();
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        const long long at = static_cast<long long>(random() % 50) - 10;
        const long long n = random() % 12 + 1;
        source->Seek(at);
        ASSERT_EQ(source->GetPositionSample(), at);
        std::vector<float> out(n);
        source->Read(out.data(), n);
        for (long long k = 0; k < n; ++k) {
            const long long p = at + k;
            const float want = p >= 0 && p < static_cast<long long>(expected.size()) ? expected[p] : 0.0f;
            ASSERT_EQ(out[k], want) << "at " << p;
        }
        ASSERT_EQ(source->GetPositionSample(), at + n);
    }
}

TEST_F(LCutListAudioTest, NearestMP3FrameBoundaryWithoutMP3SourceUses1152) {
    LCutListAudio big = MakeList(std::vector<float>(3000, 0.25f));
    LCutListAudio list;
    list.AppendSegment(LCutListSegment(big.Segments()[0].Item(), 1000, 2000));
    // Timeline 0 is item frame 1000.
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(100, true, false), 0 - 1000);
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(100, true, true), 1152 - 1000);   // r = 1100 >= 576: up
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(200, true, true), 1152 - 1000);   // r = 48: down
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(200, false, true), 2304 - 1000);  // up, whatever nearest says
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(152, false, false), 2304 - 1000); // on a boundary: a whole frame
    EXPECT_EQ(list.GetNearestMP3FrameBoundary(2000, true, true), 2000);         // at the end: unchanged
    EXPECT_FALSE(list.Segments()[0].HasMP3Source());
    EXPECT_EQ(list.Segments()[0].handle.samplesPerMP3Frame, 1152);
}

TEST_F(LCutListAudioTest, LosslessModeNotifiesListsOfTheRoot) {
    LMP3LosslessContextRoot root;
    LCutListAudio list(&root);
    LCutListAudio snapshot(list);
    EXPECT_FALSE(snapshot.IsMP3LosslessMode());
    root.EnableMP3LosslessMode(true);
    EXPECT_TRUE(snapshot.IsMP3LosslessMode());
    LCutListAudio detached;
    EXPECT_FALSE(detached.IsMP3LosslessMode());
}

// Sources are handed to other threads and dropped there while the
// user-interface thread copies the same list (undo snapshots) into its root.
// The overlap is what a thread sanitizer build checks; here the counts and
// the root's clients must come out right.
TEST_F(LCutListAudioTest, SourcesDroppedOnAnotherThreadLeaveTheRootAlone) {
    LMP3LosslessContextRoot root;
    LCutListAudio list(&root);
    list = a_;
    list.SetMP3LosslessContextRoot(&root);
    std::vector<LSoundSource> sources;
    for (int i = 0; i < 200; ++i) sources.push_back(list.OpenSource());
    std::thread reader([&sources] {
        float frame = 0.0f;
        for (LSoundSource& source : sources) {
            source->Read(&frame, 1);
            source = LSoundSource();
        }
    });
    std::vector<LCutListAudio> snapshots;
    for (int i = 0; i < 200; ++i) snapshots.push_back(list);
    reader.join();
    root.EnableMP3LosslessMode(true);
    for (const LCutListAudio& snapshot : snapshots) EXPECT_TRUE(snapshot.IsMP3LosslessMode());
    EXPECT_EQ(LSoundCache::Instance().GetRefCount(item_), 2 + snapshots.size());
}

// The cut list beside a plain array of frames: random edits on both must
// always read back the same, and the item counts must be those of the
// segments alive.
class CutListModelTest : public CutListTest {};

namespace {

struct Model {
    std::vector<float> frames;

    void Delete(long long s, long long e) {
        if (s > e || e < 0) return;
        s = std::max(s, 0LL);
        const long long n = frames.size();
        if (s >= n || s == e) return;
        frames.erase(frames.begin() + s, frames.begin() + std::min(e, n));
    }
    void InsertSilence(long long p, long long c) {
        if (p < 0) {
            if (-p > c) return;
            c += p;
            p = 0;
        }
        const long long n = frames.size();
        if (p >= n) {
            frames.resize(p + c, 0.0f);
            return;
        }
        frames.insert(frames.begin() + p, c, 0.0f);
    }
    void Insert(long long p, const std::vector<float>& other) {
        const long long n = frames.size();
        if (p < 0) {
            std::vector<float> head = other;
            if (n > 0) head.resize(head.size() - p, 0.0f);
            frames.insert(frames.begin(), head.begin(), head.end());
            return;
        }
        if (p > n) frames.resize(p, 0.0f);
        frames.insert(frames.begin() + p, other.begin(), other.end());
    }
    std::vector<float> Copy(long long s, long long e) const {
        std::vector<float> out;
        for (long long p = s; p < e; ++p) {
            out.push_back(p >= 0 && p < static_cast<long long>(frames.size()) ? frames[p] : 0.0f);
        }
        return out;
    }
};

}  // namespace

TEST_F(CutListModelTest, RandomEditsReadBackLikeAPlainArray) {
    std::vector<LCutListAudio> items;
    for (int i = 0; i < 3; ++i) items.push_back(MakeList(Numbered(40 + 30 * i, 1000.0f * (i + 1))));

    std::mt19937 random(20240611);
    auto pick = [&random](long long lo, long long hi) {
        return lo + static_cast<long long>(random() % static_cast<unsigned>(hi - lo + 1));
    };
    LCutListAudio list;
    Model model;
    std::vector<LCutListAudio> history;  // undo-like snapshots that come and go
    for (int step = 0; step < 3000; ++step) {
        const long long n = list.GetLength();
        const int op = static_cast<int>(random() % 8);
        SCOPED_TRACE("op " + std::to_string(op));
        switch (op) {
        case 0: {
            const long long s = pick(-10, n + 5), e = pick(-10, n + 10);
            list.EfDelete(s, e);
            model.Delete(s, e);
            break;
        }
        case 1: {
            const long long p = pick(-12, n + 12), c = pick(0, 12);
            list.EfInsertSilence(p, c);
            model.InsertSilence(p, c);
            break;
        }
        case 2:
        case 3: {
            // A piece of an item, sometimes at half gain.
            const LCutListAudio& source = items[random() % items.size()];
            const long long length = source.GetLength();
            const long long s = pick(0, length - 1), e = pick(s + 1, length);
            LCutListAudio piece;
            source.EfCopy(s, e, piece);
            std::vector<float> pieceFrames = Range(ReadAll(source), s, e);
            if (random() % 2) {
                for (LCutListSegment& segment : piece.Segments()) segment.gain = 0.5f;
                for (float& f : pieceFrames) f *= 0.5f;
            }
            const long long p = pick(-8, n + 8);
            list.EfInsert(p, piece);
            model.Insert(p, pieceFrames);
            break;
        }
        case 4: {
            const long long s = pick(-8, n + 8), e = pick(s - 2, n + 12);
            LCutListAudio dest;
            list.EfCopy(s, e, dest);
            if (e >= s) {
                ASSERT_EQ(ReadAll(dest), model.Copy(s, e)) << "step " << step;
                const long long p = pick(0, n);
                list.EfInsert(p, dest);
                model.Insert(p, model.Copy(s, e));
            }
            break;
        }
        case 5: {
            const long long s = pick(-4, n), e = pick(s, n + 4);
            list.EfTrim(s, e);
            const std::vector<float> kept = model.Copy(std::max(s, 0LL), std::min(e, static_cast<long long>(model.frames.size())));
            model.frames = kept;
            break;
        }
        case 6: {
            const long long s = pick(0, n), e = pick(s, std::min(n, s + 6));
            const int count = static_cast<int>(pick(0, 2));
            list.EfRepeatLoop(s, e, count);
            const std::vector<float> loop = model.Copy(s, e);
            for (int i = 0; i < count; ++i) model.Insert(s, loop);
            break;
        }
        case 7:
            if (history.size() > 6 || (random() % 2 && !history.empty())) history.erase(history.begin() + random() % history.size());
            else history.push_back(list);
            break;
        }
        // Keep the list small so that every step can be read back.
        if (list.GetLength() > 400 || list.GetSegmentCount() > 40) {
            list.EfTrim(0, 100);
            model.frames.resize(std::min<size_t>(model.frames.size(), 100));
        }
        ASSERT_EQ(list.GetLength(), static_cast<long long>(model.frames.size())) << "step " << step;
        ASSERT_EQ(ReadAll(list), model.frames) << "step " << step;

        std::map<uint16_t, int> held;
        for (const LCutListAudio* l : {&list}) for (const auto& s : l->Segments()) ++held[s.Item()];
        for (const auto& h : history) for (const auto& s : h.Segments()) ++held[s.Item()];
        for (const auto& item : items) {
            const uint16_t number = item.Segments()[0].Item();
            ASSERT_EQ(Cache().GetRefCount(number), held[number] + 1) << "step " << step;
        }
    }
    // When every list is gone, so are the items (they came from edits, with no original file).
    std::vector<uint16_t> numbers;
    for (const auto& item : items) numbers.push_back(item.Segments()[0].Item());
    list = LCutListAudio();
    history.clear();
    items.clear();
    for (uint16_t number : numbers) {
        EXPECT_EQ(Cache().GetRefCount(number), 0);
        EXPECT_FALSE(Exists(ItemFile(number, ".aud")));
        EXPECT_FALSE(Exists(ItemFile(number, ".grf")));
        EXPECT_FALSE(Exists(ItemFile(number, ".audinfo")));
    }
}
