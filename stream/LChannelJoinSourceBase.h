#pragma once
#include "stream/LSoundSource.h"

#include <vector>

// A stereo stream made of two mono streams, left at even places. Reads both
// sides through one scratch buffer each; the end is the larger of the two.
// An input with more than one channel contributes its first channel.
class LChannelJoinSourceBase : public LSoundSourceBase {
public:
    LChannelJoinSourceBase(const LSoundSource& left, const LSoundSource& right)
        : LChannelJoinSourceBase(left, right, /*shareScratch=*/false) {}

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return left_->GetPositionSample(); }
    long long GetEndSample() const override;
    void Seek(long long frame) override;
    bool IsStreaming() const override { return left_->IsStreaming() || right_->IsStreaming(); }

protected:
    // With `shareScratch` the right side is read into the left side's buffer
    // once the left frames are placed, so only one buffer is held.
    LChannelJoinSourceBase(const LSoundSource& left, const LSoundSource& right, bool shareScratch);

    const LSoundSource& Left() const { return left_; }

private:
    LSoundSource left_, right_;
    long long chunkFrames_;
    std::vector<float> leftBuffer_, rightBuffer_;
};
