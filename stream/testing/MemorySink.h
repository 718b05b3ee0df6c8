#pragma once
// A sink that keeps what it is given, for tests. It can be told to fail once
// a number of frames has been written.
#include "stream/LSoundSinkBase.h"

#include <vector>

class MemorySink : public LSoundSinkBase {
public:
    MemorySink(int rate, int channels, long long failAfterFrames = -1)
        : LSoundSinkBase(rate, channels), failAfter_(failAfterFrames) {}

    void Write(const float* buffer, long long frames) override {
        ++writes_;
        if (HasFailed()) return;
        samples_.insert(samples_.end(), buffer, buffer + frames * GetChannels());
        AdvancePosition(frames);
        if (failAfter_ >= 0 && GetPositionSample() >= failAfter_) SetFailed();
    }

    const std::vector<float>& Samples() const { return samples_; }
    int Writes() const { return writes_; }

private:
    std::vector<float> samples_;
    long long failAfter_;
    int writes_ = 0;
};
