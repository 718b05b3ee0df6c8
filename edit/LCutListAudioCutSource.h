#pragma once
// LCutListAudioCutSource: reads a cache item's ".aud" for a cut list, with
// the segment's gain applied.
//
// The position is virtual: frames before 0 and past the end of the file read
// as zeros, and a file that is missing (an item deleted under a live
// segment) reads as silence; the reader isn't told. The source holds no
// reference: the cut list copy that opened it does.
#include "base/LFile.h"
#include "stream/LSoundSourceBase.h"

#include <cstdint>

class LCutListAudioCutSource : public LSoundSourceBase {
public:
    LCutListAudioCutSource(uint16_t item, int sampleRate, int channels, float gain);

    // One pread straight into the caller's buffer, then the gain in place.
    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    // The file's present size in frames (it may still grow while recording).
    long long GetEndSample() const override;
    void Seek(long long frame) override { position_ = frame; }

private:
    LFile aud_;
    long long frameBytes_;
    float gain_;
    long long position_ = 0;
};
