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
#include <memory>

class LCutListAudioCutSource : public LSoundSourceBase {
public:
    LCutListAudioCutSource(uint16_t item, int sampleRate, int channels, float gain);
    // Reads an ".aud" that is already open (or a closed LFile: silence). A
    // cut list reading consecutive segments of one item opens its file once.
    LCutListAudioCutSource(std::shared_ptr<LFile> aud, int sampleRate, int channels, float gain);

    // The item's ".aud" opened read-only; a closed LFile when it can't be.
    static std::shared_ptr<LFile> OpenItemFile(uint16_t item);
    const std::shared_ptr<LFile>& File() const { return aud_; }

    // One pread straight into the caller's buffer, then the gain in place.
    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    // The file's present size in frames (it may still grow while recording).
    long long GetEndSample() const override;
    void Seek(long long frame) override { position_ = frame; }

private:
    std::shared_ptr<LFile> aud_;
    long long frameBytes_;
    float gain_;
    long long position_ = 0;
};
