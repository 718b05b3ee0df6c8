#pragma once
#include "stream/LSoundSourceBase.h"

// Silence with a nominal end. Reads zeros at any position, the end included:
// the end only tells a consumer how much is meant to be there.
class LSilenceSourceBase : public LSoundSourceBase {
public:
    LSilenceSourceBase(int sampleRate, int channels, long long endSample)
        : LSoundSourceBase(sampleRate, channels, kPeakUnbounded), end_(endSample) {}

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return end_; }
    void Seek(long long frame) override { position_ = frame; }

private:
    long long position_ = 0;
    long long end_;
};
