#include "edit/LCutListAudioSource.h"

#include "edit/LCutListAudioCutSource.h"
#include "edit/LCutListSegmentSource.h"
#include "stream/LSilenceSourceBase.h"

#include <algorithm>

LCutListAudioSource::LCutListAudioSource(const LCutListAudio& list)
    : LSoundSourceBase(list.GetSampleRate(), list.GetChannels(), kPeakUnbounded), list_(list), end_(list_.GetLength()) {
    // The copy must not follow the document's lossless mode: a mode change
    // would rewrite its segments under the reading thread, and dropping the
    // source there would detach it from the root's client list, which belongs
    // to the user-interface thread.
    list_.SetMP3LosslessContextRoot(nullptr);
    if (list_.IsEmpty()) SetError(kSourceClosed);
    Rewind();
}

void LCutListAudioSource::Rewind() {
    next_ = 0;
    base_ = 0;
    hasCurrent_ = false;
    // Ends at 0, so the first read opens the first segment.
    current_ = MakeSource<LSilenceSourceBase>(GetSampleRate(), GetChannels(), 0);
}

void LCutListAudioSource::OpenNextSegment() {
    if (hasCurrent_) base_ += current_->GetEndSample();
    const LCutListSegment& segment = list_.Segments()[next_++];
    LSoundSource inner;
    if (segment.Item() < kSoundCacheItemSilence) {
        // Consecutive segments of one item (what cutting leaves) share the open file.
        if (segment.Item() != fileItem_ || !file_) {
            file_ = LCutListAudioCutSource::OpenItemFile(segment.Item());
            fileItem_ = segment.Item();
        }
        inner = MakeSource<LCutListAudioCutSource>(file_, GetSampleRate(), GetChannels(), segment.gain);
    } else {
        inner = MakeSource<LSilenceSourceBase>(GetSampleRate(), GetChannels(), segment.length);
    }
    current_ = MakeSource<LCutListSegmentSource>(std::move(inner), segment.start, segment.length);
    hasCurrent_ = true;
}

void LCutListAudioSource::Read(float* buffer, long long frames) {
    const long long channels = GetChannels();
    while (frames > 0) {
        const long long left = current_->GetEndSample() - current_->GetPositionSample();
        if (left > 0) {
            const long long n = std::min(left, frames);
            current_->Read(buffer, n);
            buffer += n * channels;
            frames -= n;
        } else if (next_ < list_.GetSegmentCount()) {
            OpenNextSegment();
        } else {
            // Past the last segment: silence, and the position goes on.
            current_->Seek(current_->GetPositionSample() + frames);
            std::fill_n(buffer, frames * channels, 0.0f);
            frames = 0;
        }
    }
}

void LCutListAudioSource::Seek(long long frame) {
    if (frame == GetPositionSample()) return;
    if (hasCurrent_ && frame >= base_) {
        const long long length = current_->GetEndSample();
        if (frame < base_ + length) {
            current_->Seek(frame - base_);
            return;
        }
    } else if (frame < base_ || !hasCurrent_) {
        Rewind();
    }
    // Skip the segments before the one that holds the frame without opening them.
    if (hasCurrent_) {
        base_ += current_->GetEndSample();
        hasCurrent_ = false;
    }
    const std::vector<LCutListSegment>& segments = list_.Segments();
    while (next_ < segments.size() && base_ + segments[next_].length <= frame) {
        base_ += segments[next_++].length;
    }
    if (next_ < segments.size()) {
        OpenNextSegment();
    } else {
        current_ = MakeSource<LSilenceSourceBase>(GetSampleRate(), GetChannels(), 0);
    }
    current_->Seek(frame - base_);
}
