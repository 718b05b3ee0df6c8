#pragma once
#include "stream/LSoundSource.h"

// A source that wraps one other source: the stream side of an effect. Format
// and peak come from the inner source; an inner error shows here as error 2.
// Everything but Read forwards to the inner source.
class LSoundProcessBase : public LSoundSourceBase {
public:
    explicit LSoundProcessBase(const LSoundSource& inner);

    long long GetPositionSample() const override { return inner_->GetPositionSample(); }
    long long GetEndSample() const override { return inner_->GetEndSample(); }
    void Seek(long long frame) override { inner_->Seek(frame); }
    bool ControlMessage(int code, long* value) override { return inner_->ControlMessage(code, value); }
    long long AdjustRelativeOffset(long long offset, long long position) override {
        return inner_->AdjustRelativeOffset(offset, position);
    }
    bool IsStreaming() const override { return inner_->IsStreaming(); }
    void WaitForStreamingData(int milliseconds) override { inner_->WaitForStreamingData(milliseconds); }

    const LSoundSource& Inner() const { return inner_; }

protected:
    LSoundSource inner_;
};
