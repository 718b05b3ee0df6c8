#pragma once
#include "stream/LSoundSourceBase.h"

// What a closed or failed source becomes: silence at position 0 with end 0.
// The default format is 11025 Hz mono, unbounded peak, error 1.
class LSoundSourceError final : public LSoundSourceBase {
public:
    explicit LSoundSourceError(unsigned char error = kSourceClosed, int sampleRate = 11025, int channels = 1);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return 0; }
    long long GetEndSample() const override { return 0; }
};
