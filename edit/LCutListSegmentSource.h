#pragma once
// LCutListSegmentSource: one segment of a cut list as a source of its own,
// positioned from the segment's first frame and ending at its length.
#include "stream/LSoundSource.h"

#include <algorithm>

class LCutListSegmentSource : public LSoundSourceBase {
public:
    // inner: the item (or silence) the segment takes its frames from.
    LCutListSegmentSource(LSoundSource inner, long long start, long long length)
        : LSoundSourceBase(inner->GetSampleRate(), inner->GetChannels(), inner->GetPeak()),
          inner_(std::move(inner)), start_(start), length_(length) {
        inner_->Seek(start_);
    }

    // Frames before the segment's beginning are zeros, not the item's frames
    // that precede it; past the length the item's frames follow as they are
    // (the cut list never reads there).
    void Read(float* buffer, long long frames) override {
        const long long before = std::min(frames, -GetPositionSample());
        if (before > 0) {
            std::fill_n(buffer, before * GetChannels(), 0.0f);
            inner_->Seek(inner_->GetPositionSample() + before);
            buffer += before * GetChannels();
            frames -= before;
        }
        if (frames > 0) inner_->Read(buffer, frames);
    }
    long long GetPositionSample() const override { return inner_->GetPositionSample() - start_; }
    long long GetEndSample() const override { return length_; }
    void Seek(long long frame) override { inner_->Seek(frame + start_); }

private:
    LSoundSource inner_;
    long long start_;
    long long length_;
};
