#pragma once
// Stream of the curve equaliser: one FFT convolver per channel running the
// zero-phase taps of LSPEq. The filter's centre tap stands 2047 frames into
// the taps, so this stage reads its source 2047 frames ahead of what it
// delivers: output frame p is aligned with input frame p, the length stays
// the same, and after a Seek the first frame is already correct (the
// 4094 frames around it are pulled through the filter and dropped first).
#include "dsp/LFiltFFT.h"
#include "stream/LSoundProcessBase.h"

#include <vector>

class LSRCEq : public LSoundProcessBase {
public:
    // taps: an odd count; the centre tap is the one with zero delay.
    LSRCEq(const LSoundSource& inner, const std::vector<float>& taps);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    void Seek(long long frame) override;
    // Code 1 adds the frames read ahead of the output.
    bool ControlMessage(int code, long* value) override;

    long long Delay() const { return delay_; }

private:
    void Prime();

    long long delay_;
    long long position_;
    bool primed_ = false;
    std::vector<LFiltFFT> filters_;
    std::vector<float> input_;
};
