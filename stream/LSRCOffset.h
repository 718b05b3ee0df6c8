#pragma once
#include "stream/LSoundProcessBase.h"

// Shifts a stream in time by a fixed signed number of frames: frame p of this
// stream is frame p - offset of the inner one.
class LSRCOffset : public LSoundProcessBase {
public:
    LSRCOffset(const LSoundSource& inner, long long offset) : LSoundProcessBase(inner), offset_(offset) {}

    void Read(float* buffer, long long frames) override { inner_->Read(buffer, frames); }
    long long GetPositionSample() const override;
    long long GetEndSample() const override;
    void Seek(long long frame) override;

private:
    long long offset_;
};
