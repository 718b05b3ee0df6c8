#pragma once
// LCutListAudioSink: writes a new cache item for a cut list and makes the
// list that item as one segment: when it is closed, and on each CommitUpTo
// while it is still being written (the recorder's way of letting the
// waveform grow).
//
// It writes like LSoundCacheSink (raw floats to ".aud", a peak record per 256
// frames to ".grf", ".audinfo" at close) but writes in place, so that Seek can
// go back and rewrite. A block's peak record is always computed over all the
// frames of that block that are in ".aud", also when a seek or the close
// leaves it partly rewritten, so ".grf" stays true to ".aud".
#include "base/LFile.h"
#include "edit/LCutListSegment.h"
#include "edit/LGrfPeakAccumulator.h"
#include "stream/LSoundSinkBase.h"

#include <vector>

class LCutListAudio;

class LCutListAudioSink : public LSoundSinkBase {
public:
    // target must outlive the sink. A new item is made for it; status bit 0
    // when that fails or its files can't be opened.
    LCutListAudioSink(LCutListAudio* target, int sampleRate, int channels);
    // Publishes the item as the target's single segment, writes ".audinfo",
    // and gives up the sink's own reference (the target holds one).
    ~LCutListAudioSink() override;

    void Write(const float* buffer, long long frames) override;
    // Goes back (or forward) to rewrite from frame; a negative frame is 0.
    void Seek(long long frame) override;
    // Publishes the whole peak blocks written so far, up to position, as the
    // target's single segment; returns the frames made public.
    long long CommitUpTo(long long position);

    uint16_t Item() const { return segment_.Item(); }
    // The frames in ".aud" (the furthest point written).
    long long GetFramesWritten() const { return written_; }

private:
    bool IsOpen() const { return aud_.IsOpen() && grf_.IsOpen(); }
    // Peaks of frames already in ".aud", from `from` up to `to`.
    void AccumulateFromFile(long long from, long long to);
    // Writes the queued records at the .grf file position.
    void FlushGrf();
    // Finishes a partly filled block with the frames that follow in ".aud",
    // and writes it.
    void FinishOpenBlock();

    LCutListAudio* target_;
    LCutListSegment segment_;
    LFile aud_;
    LFile grf_;
    long long written_ = 0;  // furthest frame written
    LGrfPeakAccumulator peaks_;  // the open block counts the frames before the position
};
