#pragma once
#include "stream/LSoundSource.h"

#include <vector>

// A stereo stream made of two mono streams, left at even places, reusing one
// scratch buffer for both sides. Its end is the left stream's end. An input
// with more than one channel contributes its first channel.
class LSRCJoin : public LSoundSourceBase {
public:
    LSRCJoin(const LSoundSource& left, const LSoundSource& right);

    static void OpenSource(LSoundSource& result, const LSoundSource& left, const LSoundSource& right) {
        result.Reset(new LSRCJoin(left, right));
    }

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return left_->GetPositionSample(); }
    long long GetEndSample() const override { return left_->GetEndSample(); }
    void Seek(long long frame) override;
    bool IsStreaming() const override { return left_->IsStreaming() || right_->IsStreaming(); }

private:
    LSoundSource left_, right_;
    long long chunkFrames_;
    std::vector<float> buffer_;
};
