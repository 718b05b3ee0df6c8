#pragma once
// A sink that keeps what it is given, for tests. It can be told to fail once
// a number of frames has been written, and remembers where it was last sought.
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
    void Seek(long long frame) override {
        SetPositionSample(frame);
        lastSeek_ = frame;
    }

    const std::vector<float>& Samples() const { return samples_; }
    int Writes() const { return writes_; }
    long long LastSeek() const { return lastSeek_; }  // -1 before any seek

private:
    std::vector<float> samples_;
    long long failAfter_;
    int writes_ = 0;
    long long lastSeek_ = -1;
};
