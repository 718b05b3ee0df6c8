#include "stream/LPRSourceToSink.h"

#include "stream/LSPConvertSourceRateChannels.h"
#include "stream/LSPCrossMix.h"
#include "stream/LSPPeakLimit.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr int kMaxBlocksPerRound = 10;
constexpr int kRoundsBeforeSettled = 11;

// A source's length may turn out other than announced (a variable bit rate
// estimate, a file still growing). The copy watches for that without paying
// two virtual calls per block once a stream has shown itself exact.
class RemainderTracker {
public:
    explicit RemainderTracker(const LSoundSourceBase& source) : lastEnd_(source.GetEndSample()) {}

    long long Update(const LSoundSourceBase& source, long long remainder) {
        switch (mode_) {
        case Mode::Watch: {
            long long actual = source.GetEndSample() - source.GetPositionSample();
            if (actual != remainder) {
                mode_ = Mode::Track;
                return actual;
            }
            if (++agreeingRounds_ >= kRoundsBeforeSettled) {
                mode_ = Mode::Settled;
                lastEnd_ = source.GetEndSample();
            }
            return remainder;
        }
        case Mode::Track:
            return source.GetEndSample() - source.GetPositionSample();
        case Mode::Settled: {
            long long end = source.GetEndSample();
            if (end == lastEnd_) return remainder;
            lastEnd_ = end;
            return end - source.GetPositionSample();
        }
        }
        return remainder;
    }

private:
    enum class Mode { Watch, Track, Settled };
    Mode mode_ = Mode::Watch;
    int agreeingRounds_ = 0;
    long long lastEnd_;
};

struct CopyBuffer {
    std::unique_ptr<float[]> data;
    int blocks = 0;
};

CopyBuffer AllocateBlocks(int channels) {
    for (int blocks : {kMaxBlocksPerRound, 1}) {
        float* data = new (std::nothrow) float[static_cast<size_t>(blocks) * kCopyBlockFrames * channels];
        if (data) return {std::unique_ptr<float[]>(data), blocks};
    }
    return {};
}

long long CrossMixFrames(long long remainder, int rate) {
    if (rate < 20) return 1;
    return std::min(remainder / 10, static_cast<long long>(rate / 20));
}

}  // namespace

LProcessResult Process(LProcessInterface& process, LPRSourceToSink& job) {
    process.SetStatus(job.title ? job.title : "", 0);
    process.SetStatus("Bitte warten ...", 1);
    process.SetProgress(0.0);

    LSoundSource source = job.source;
    LSoundSink sink = job.sink;
    if (process.IsToStop()) return LProcessStopped;
    if (!source->IsOk() || sink->HasFailed()) return LProcessFailed;

    const int channels = sink->GetChannels();
    LSPConvertSourceRateChannels(sink->GetSampleRate(), static_cast<unsigned char>(channels), source);
    source = LSPPeakLimit{kLimiterCeiling}.OpenSource(source);

    long long remainder = source->GetEndSample() - source->GetPositionSample();
    if (job.crossMix) {
        source = LSPCrossMix{job.crossMixSource, CrossMixFrames(remainder, sink->GetSampleRate())}.OpenSource(source);
    }

    CopyBuffer buffer = AllocateBlocks(channels);
    if (!buffer.data) return LProcessFailed;
    if (remainder < 1) return LProcessOK;

    const long long roundFrames = buffer.blocks * kCopyBlockFrames;
    const double step = static_cast<double>(roundFrames) / static_cast<double>(remainder);
    double progress = 0.0;
    RemainderTracker tracker(*source);

    while (remainder >= 1) {
        if (process.IsToStop()) return LProcessStopped;
        const long long frames = std::min(remainder, roundFrames);
        for (long long done = 0; done < frames; done += kCopyBlockFrames) {
            source->Read(buffer.data.get() + done * channels, std::min(kCopyBlockFrames, frames - done));
            if (process.IsToStop()) return LProcessStopped;
        }
        for (long long done = 0; done < frames; done += kCopyBlockFrames) {
            sink->Write(buffer.data.get() + done * channels, std::min(kCopyBlockFrames, frames - done));
            if (process.IsToStop()) return LProcessStopped;
            if (sink->HasFailed()) return LProcessFailed;
        }
        // The step is added before reporting, so the last round shows 1.0.
        progress += step;
        process.SetProgress(std::min(progress, 1.0));
        remainder = tracker.Update(*source, remainder - frames);
    }
    return LProcessOK;
}
