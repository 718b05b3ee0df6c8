#pragma once
#include "stream/LSoundSource.h"

#include <vector>

// A stereo stream made of two mono streams, left at even places. Reads both
// sides through one scratch buffer each; the end is the larger of the two.
// An input with more than one channel contributes its first channel.
class LChannelJoinSourceBase : public LSoundSourceBase {
public:
    LChannelJoinSourceBase(const LSoundSource& left, const LSoundSource& right);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return left_->GetPositionSample(); }
    long long GetEndSample() const override;
    void Seek(long long frame) override;
    bool IsStreaming() const override { return left_->IsStreaming() || right_->IsStreaming(); }

private:
    LSoundSource left_, right_;
    long long chunkFrames_;
    std::vector<float> leftBuffer_, rightBuffer_;
};
