#pragma once
#include "stream/LSoundSource.h"

#include <cstddef>
#include <vector>

// Plays a list of entries one after the other at one rate and channel count.
// Each entry's source is converted to that format when its turn comes; an
// entry whose source is in error stands for silence of its duration.
class LSSRCCat : public LSoundSourceBase {
public:
    struct Entry {
        LSoundSource source;
        long long durationMs = 0;  // used when the source is in error
    };

    LSSRCCat(int sampleRate, int channels, std::vector<Entry> entries);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override;
    void Seek(long long frame) override;
    bool IsStreaming() const override;
    void WaitForStreamingData(int milliseconds) override;

private:
    enum class Current { None, Silence, Source };

    bool IsSilence(size_t index) const { return !entries_[index].source->IsOk(); }
    // Length of an entry in this stream's frames, without opening it.
    long long EntryLength(size_t index) const;
    long long LeftInCurrent() const;
    void OpenEntry(size_t index);
    void CloseCurrent();

    std::vector<Entry> entries_;
    size_t next_ = 0;
    long long position_ = 0;
    long long silenceLeft_ = 0;
    LSoundSource current_;
    Current kind_ = Current::None;
};
