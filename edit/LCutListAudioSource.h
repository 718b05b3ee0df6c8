#pragma once
// LCutListAudioSource: a cut list read as one stream, over a private copy of
// the list (so later edits of the original don't disturb a running reader;
// the copy's references keep the items alive).
//
// One segment is open at a time. Reading opens the next segment when the
// current one is used up; seeking skips segments by their lengths and opens
// only the one that holds the new position. An empty list gives error 1 and
// reads silence.
#include "edit/LCutListAudio.h"
#include "stream/LSoundSource.h"

#include <memory>

class LFile;

class LCutListAudioSource : public LSoundSourceBase {
public:
    explicit LCutListAudioSource(const LCutListAudio& list);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return base_ + current_->GetPositionSample(); }
    long long GetEndSample() const override { return end_; }
    void Seek(long long frame) override;

private:
    // Makes the next segment the current source, seeked to its first frame.
    void OpenNextSegment();
    // Back to before the first segment.
    void Rewind();

    LCutListAudio list_;
    size_t next_ = 0;          // the next segment to open
    LSoundSource current_;     // the open segment; an error stream before the first
    bool hasCurrent_ = false;  // whether current_ is a segment (its end counts into base_)
    long long base_ = 0;       // timeline frame where current_ begins
    long long end_ = 0;        // the list's length; the private copy never changes
    std::shared_ptr<LFile> file_;  // the .aud of the item last opened
    uint16_t fileItem_ = 0;
};
