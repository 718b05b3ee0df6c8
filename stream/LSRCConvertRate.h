#pragma once
#include "stream/LConvertRateBase.h"
#include "stream/LSoundProcessBase.h"

#include <vector>

// Resamples its inner source to another rate with the polyphase filter of
// LConvertRateBase. Output frame j stands at input time j * M / L, so output
// and input positions map onto each other exactly:
//   input  = floor(output * M / L)   (what Seek gives the inner source)
//   output = trunc(input * L / M)    (the end, and where a fresh stage starts)
// Offsets for ControlMessage codes 1 and 6 convert with truncation toward zero.
//
// Read() allocates nothing and pulls from the inner source exactly the frames
// its request needs, so its cost depends only on the frames asked for.
class LSRCConvertRate : public LSoundProcessBase {
public:
    static constexpr long long kBufferFrames = 32512;

    // A target rate below 1 gives error 3 and converts to 44100 instead.
    LSRCConvertRate(const LSoundSource& inner, int targetRate, bool approximate = false);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override;
    void Seek(long long frame) override;
    bool ControlMessage(int code, long* value) override;
    long long AdjustRelativeOffset(long long offset, long long position) override;

    const LConvertRateBase& GetConverter() const { return converter_; }

private:
    void ResetAt(long long position, bool seekInner);
    void ReadBuffer(long long needed);  // brings the buffer up to `needed` frames
    void MakeRoom();

    LConvertRateBase converter_;
    std::vector<float> buffer_;  // (kBufferFrames + window) frames
    long long capacity_;         // frames in buffer_
    long long filled_ = 0;       // frames of buffer_ that hold input
    long long cursor_ = 0;       // buffer frame where the next output's window starts
    long long phase_ = 0;
    long long position_ = 0;     // next output frame
};
