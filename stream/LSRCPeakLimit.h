#pragma once
#include "stream/LSoundProcessBase.h"

#include <cstddef>
#include <vector>

// Look-ahead peak limiter. Audio passes in blocks of rate/35 frames (rate/70
// for a live stream); each block's gain is limit/peak when its peak exceeds the
// limit. The output runs two blocks behind the input so the gain can glide
// down before a loud block arrives; the delay is hidden from positions, so the
// output has zero lag against the input and the same length.
class LSRCPeakLimit final : public LSoundProcessBase {
public:
    LSRCPeakLimit(const LSoundSource& inner, float limit);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override;
    void Seek(long long frame) override;
    bool ControlMessage(int code, long* value) override;

    int GetBlockFrames() const { return block_; }

private:
    void Restart();
    void ReadBlock(int slot);
    double BlockGain(int slot) const;
    void ComputeStep();
    void Rotate();
    float* Slot(int slot) { return buffers_.data() + static_cast<std::size_t>(slot) * block_ * GetChannels(); }
    const float* Slot(int slot) const {
        return buffers_.data() + static_cast<std::size_t>(slot) * block_ * GetChannels();
    }
    void EmitScaled(float* out, const float* in, long long frames);

    float limit_;
    int block_;
    std::vector<float> buffers_;  // three blocks, used as a ring
    int oldest_ = 0;              // ring slot being delivered
    long long used_ = 0;          // frames of the oldest block already delivered
    long long buffered_ = 0;      // frames read from the inner source, not yet delivered
    bool restartPending_ = true;
    double g0_ = 1.0, g1_ = 1.0, g2_ = 1.0, g3_ = 1.0;
    double gain_ = 1.0, step_ = 0.0;
};
