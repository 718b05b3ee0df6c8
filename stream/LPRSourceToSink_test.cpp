#include "stream/LPRSourceToSink.h"
#include "stream/LSPCrossMix.h"
#include "stream/LSPPeakLimit.h"
#include "stream/testing/MemorySink.h"
#include "stream/testing/MemorySource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Records what a job reports; stops when told to after a number of IsToStop calls.
class RecordingProcess : public LProcessInterfaceVoid {
public:
    explicit RecordingProcess(int stopAfterChecks = -1) : stopAfter_(stopAfterChecks) {}
    bool IsToStop() override { return stopAfter_ >= 0 && checks_++ >= stopAfter_; }
    void SetStatus(const char* text, int line) override { status.push_back(std::to_string(line) + ":" + text); }
    void SetProgress(double fraction) override { progress.push_back(fraction); }

    std::vector<std::string> status;
    std::vector<double> progress;

private:
    int stopAfter_;
    int checks_ = 0;
};

// Counts reads so a test can tell that nothing was read.
class CountingSource : public MemorySource {
public:
    using MemorySource::MemorySource;
    void Read(float* buffer, long long frames) override {
        ++reads;
        MemorySource::Read(buffer, frames);
    }
    int reads = 0;
};

// Grows by `growth` frames the first time its end is nearly reached, like a
// file that is still being written.
class GrowingSource : public MemorySource {
public:
    GrowingSource(std::vector<float> samples, long long growth)
        : MemorySource(std::move(samples), 44100, 1, 0.5f), growth_(growth) {}
    void Read(float* buffer, long long frames) override {
        MemorySource::Read(buffer, frames);
        if (growth_ > 0 && GetPositionSample() >= GetEndSample() - 100000) {
            for (long long i = 0; i < growth_; ++i) Samples().push_back(0.25f);
            growth_ = 0;
        }
    }

private:
    long long growth_;
};

std::vector<float> Ramp(long long n) {
    std::vector<float> v(n);
    for (long long i = 0; i < n; ++i) v[i] = static_cast<float>((i % 1000) / 2000.0);
    return v;
}

TEST(CopyJob, CopiesEveryFrameAndReportsProgressToOne) {
    std::vector<float> input = Ramp(300000);
    LPRSourceToSink job;
    job.title = "Kopieren";
    job.source = LSoundSource(new MemorySource(input, 44100, 1, 0.9999695f));
    auto* sink = new MemorySink(44100, 1);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessOK);
    EXPECT_EQ(sink->Samples(), input);
    EXPECT_EQ(process.status, (std::vector<std::string>{"0:Kopieren", "1:Bitte warten ..."}));
    ASSERT_GE(process.progress.size(), 2u);
    EXPECT_EQ(process.progress.front(), 0.0);
    EXPECT_EQ(process.progress.back(), 1.0);
    for (size_t i = 1; i < process.progress.size(); ++i) EXPECT_GE(process.progress[i], process.progress[i - 1]);
}

TEST(CopyJob, EmptySourceFinishesWithoutWriting) {
    LPRSourceToSink job;
    job.source = LSoundSource(new MemorySource({}, 44100, 2));
    auto* sink = new MemorySink(44100, 2);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessOK);
    EXPECT_EQ(sink->Writes(), 0);
}

TEST(CopyJob, StopBeforeTheFirstRoundReadsNothing) {
    auto* source = new CountingSource(Ramp(50000), 44100, 1, 0.5f);
    LPRSourceToSink job;
    job.source = LSoundSource(source);
    job.sink = LSoundSink(new MemorySink(44100, 1));
    RecordingProcess process(0);
    EXPECT_EQ(Process(process, job), LProcessStopped);
    EXPECT_EQ(source->reads, 0);
}

TEST(CopyJob, FailedSinkOrSourceFailsBeforeReading) {
    auto* source = new CountingSource(Ramp(50000), 44100, 1, 0.5f);
    LPRSourceToSink job;
    job.source = LSoundSource(source);
    job.sink = LSoundSink();  // a closed sink is failed
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessFailed);
    EXPECT_EQ(source->reads, 0);

    job.sink = LSoundSink(new MemorySink(44100, 1));
    job.source = LSoundSource();  // a closed source is in error
    EXPECT_EQ(Process(process, job), LProcessFailed);
}

TEST(CopyJob, SinkFailingMidwayEndsAtTheNextBlock) {
    LPRSourceToSink job;
    job.source = LSoundSource(new MemorySource(Ramp(400000), 44100, 1, 0.5f));
    auto* sink = new MemorySink(44100, 1, 3 * kCopyBlockFrames);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessFailed);
    EXPECT_EQ(sink->Writes(), 3);
}

TEST(CopyJob, GrowingSourceIsCopiedToItsNewEnd) {
    std::vector<float> input = Ramp(200000);
    LPRSourceToSink job;
    job.source = LSoundSource(new GrowingSource(input, 123457));
    auto* sink = new MemorySink(44100, 1);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessOK);
    ASSERT_EQ(sink->Samples().size(), 200000u + 123457u);
    EXPECT_EQ(sink->Samples().back(), 0.25f);
}

TEST(CopyJob, LoudFloatAudioIsLimitedOnItsWayToTheSink) {
    std::vector<float> input(100000, 1.5f);
    LPRSourceToSink job;
    job.source = LSoundSource(new MemorySource(input, 44100, 1));  // float: unbounded peak
    auto* sink = new MemorySink(44100, 1);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessOK);
    ASSERT_EQ(sink->Samples().size(), input.size());
    for (float v : sink->Samples()) ASSERT_LE(v, kLimiterCeiling);
}

TEST(CopyJob, ConvertsToTheSinksChannels) {
    LPRSourceToSink job;
    job.source = LSoundSource(new MemorySource(std::vector<float>(1000, 0.5f), 44100, 1, 0.5f));
    auto* sink = new MemorySink(44100, 2);
    job.sink = LSoundSink(sink);
    RecordingProcess process;
    EXPECT_EQ(Process(process, job), LProcessOK);
    EXPECT_EQ(sink->Samples().size(), 2000u);
}

TEST(CrossMix, FadesFromTheSecondSourceIntoTheFirst) {
    LSoundSource first(new MemorySource(std::vector<float>(100, 1.0f), 44100, 1, 1.0f));
    LSoundSource second(new MemorySource(std::vector<float>(100, -1.0f), 44100, 1, 1.0f));
    LSoundSource mixed = LSPCrossMix{second, 10}.OpenSource(first);
    std::vector<float> out(20);
    mixed->Read(out.data(), 20);
    EXPECT_FLOAT_EQ(out[0], -1.0f);
    EXPECT_FLOAT_EQ(out[5], 0.0f);
    for (int i = 10; i < 20; ++i) EXPECT_EQ(out[i], 1.0f);
    EXPECT_EQ(mixed->GetEndSample(), 100);
}

}  // namespace
