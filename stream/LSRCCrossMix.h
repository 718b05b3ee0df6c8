#pragma once
#include "stream/LSoundProcessBase.h"

#include <vector>

// The stream of LSPCrossMix. Frame k of the mix window (counted from the
// position at opening) is first * k/mix + second * (1 - k/mix); the second
// source is read in step with the window only.
class LSRCCrossMix final : public LSoundProcessBase {
public:
    LSRCCrossMix(const LSoundSource& first, const LSoundSource& second, long long mixFrames);

    void Read(float* buffer, long long frames) override;
    void Seek(long long frame) override;

private:
    void MixWindow(float* buffer, long long frames, long long windowOffset);

    LSoundSource second_;
    long long mixFrames_;
    long long mixStart_;  // position of the first source where the window begins
    std::vector<float> scratch_;
};
