#include "stream/LSoundProcessBase.h"
#include "stream/LSoundSink.h"
#include "stream/LSoundSource.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Counts its own destructions so the handle's reference counting is visible.
class CountingSource : public LSoundSourceBase {
public:
    explicit CountingSource(int* destroyed, int rate = 48000, int channels = 2)
        : LSoundSourceBase(rate, channels), destroyed_(destroyed) {}
    ~CountingSource() override { ++*destroyed_; }
    void Read(float* buffer, long long frames) override {
        for (long long i = 0; i < frames * GetChannels(); ++i) buffer[i] = 0.5f;
        position_ += frames;
    }
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return 100; }

private:
    int* destroyed_;
    long long position_ = 0;
};

class PassThrough : public LSoundProcessBase {
public:
    using LSoundProcessBase::LSoundProcessBase;
    void Read(float* buffer, long long frames) override { inner_->Read(buffer, frames); }
};

TEST(LSoundSource, DefaultAndClosedHandlesHoldAWorkingErrorSource) {
    LSoundSource handle;
    EXPECT_EQ(handle->GetError(), kSourceClosed);
    EXPECT_EQ(handle->GetSampleRate(), 11025);
    EXPECT_EQ(handle->GetChannels(), 1);
    EXPECT_EQ(handle->GetPeak(), 16.0f);

    int destroyed = 0;
    LSoundSource live(new CountingSource(&destroyed));
    live.Close();
    EXPECT_EQ(destroyed, 1);
    std::vector<float> buffer(4, 7.0f);
    live->Read(buffer.data(), 4);
    EXPECT_EQ(buffer, std::vector<float>(4, 0.0f));
    EXPECT_EQ(live->GetEndSample(), 0);
}

TEST(LSoundSource, CopiesShareTheStreamAndTheLastReleaseDestroysIt) {
    int destroyed = 0;
    {
        LSoundSource a(new CountingSource(&destroyed));
        LSoundSource b = a;
        LSoundSource c;
        c = b;
        EXPECT_EQ(a.Get(), c.Get());
        a.Close();
        b.Close();
        EXPECT_EQ(destroyed, 0);
        c = c;  // self-assignment keeps the stream alive
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(LSoundSourceBase, BadFormatIsReplacedAndFlagged) {
    int destroyed = 0;
    LSoundSource zeroRate(new CountingSource(&destroyed, 0, 2));
    EXPECT_EQ(zeroRate->GetSampleRate(), 44100);
    EXPECT_EQ(zeroRate->GetError(), kSourceBadFormat);
    LSoundSource noChannels(new CountingSource(&destroyed, 8000, 0));
    EXPECT_EQ(noChannels->GetChannels(), 1);
    EXPECT_EQ(noChannels->GetError(), kSourceBadFormat);
}

TEST(LSoundProcessBase, CopiesFormatAndFlagsAnInnerError) {
    int destroyed = 0;
    LSoundSource inner(new CountingSource(&destroyed, 22050, 2));
    inner->SetPeak(0.5f);
    LSoundSource wrapped(new PassThrough(inner));
    EXPECT_EQ(wrapped->GetSampleRate(), 22050);
    EXPECT_EQ(wrapped->GetChannels(), 2);
    EXPECT_EQ(wrapped->GetPeak(), 0.5f);
    EXPECT_EQ(wrapped->GetError(), kSourceOk);

    LSoundSource broken(new PassThrough(LSoundSource()));
    EXPECT_EQ(broken->GetError(), kSourceInnerError);
}

TEST(LSoundSink, ClosedSinkIsFailedAndDiscards) {
    LSoundSink sink;
    EXPECT_TRUE(sink->HasFailed());
    EXPECT_EQ(sink->GetSampleRate(), 44100);
    EXPECT_EQ(sink->GetChannels(), 1);
    EXPECT_EQ(sink->GetPositionSample(), 0);
    float frame = 1.0f;
    sink->Write(&frame, 1);
    EXPECT_EQ(sink->GetPositionSample(), 0);
}

}  // namespace
