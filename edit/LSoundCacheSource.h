#pragma once
// LSoundCacheSource: reads one cache item's ".aud" as a source.
//
// The position is virtual: it may be negative or past the end, and frames
// outside the item (or all frames, when its file is missing) read as zeros.
// A read is one pread of the frames that lie in the file. The source holds a
// reference on the item, given up when it is destroyed.
#include "base/LFile.h"
#include "stream/LSoundSource.h"
#include "stream/LSoundSourceBase.h"

#include <cstdint>

class LSoundCacheSource : public LSoundSourceBase {
public:
    // The format is the item's as the caller knows it (a cut list does).
    LSoundCacheSource(uint16_t number, int sampleRate, int channels);
    // Opens with the format of the item's .audinfo. Error 19 when the .aud is
    // there but its .audinfo can't be read; error 4 when the .aud is missing.
    static LSoundSource Open(uint16_t number);
    ~LSoundCacheSource() override;

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return end_; }
    void Seek(long long frame) override { position_ = frame; }

    uint16_t Number() const { return number_; }

private:
    uint16_t number_;
    LFile aud_;
    long long position_ = 0;
    long long end_ = 0;
};

// Reads `frames` frames from frame `at` of an item's ".aud" (interleaved
// floats, `channels` per frame) into out. Frames before 0, at or past `end`,
// beyond the file's end, or from a file that isn't open read as zeros. Shared
// by every reader of cache items.
void LSoundCacheReadFrames(const LFile& aud, float* out, long long at, long long frames, int channels,
                           long long end);
