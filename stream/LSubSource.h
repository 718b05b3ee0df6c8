#pragma once
#include "stream/LSoundSource.h"

// Frames [start, start + length) of another source as a stream that runs from
// 0 to length. It keeps a pointer to the caller's handle, not a counted
// reference: the caller's handle must outlive this stream.
class LSubSourceBase : public LSoundSourceBase {
public:
    LSubSourceBase(const LSoundSource* source, long long start, long long length);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override;
    long long GetEndSample() const override { return length_; }
    void Seek(long long frame) override;
    bool IsStreaming() const override { return (*source_)->IsStreaming(); }
    void WaitForStreamingData(int milliseconds) override { (*source_)->WaitForStreamingData(milliseconds); }

private:
    void ZeroFill(float* buffer, long long frames) const;

    const LSoundSource* source_;
    long long start_;
    long long length_;
};

struct LSubSource {
    // Copies format and peak and seeks `source` to `start`. `source` must
    // outlive `result`'s stream. A negative length counts as 0.
    static void OpenSource(LSoundSource& result, const LSoundSource& source, long long start, long long length);
};
