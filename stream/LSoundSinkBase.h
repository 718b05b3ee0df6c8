#pragma once

template <class Base, class ErrorStream> class LStreamHandle;

// The push side of every audio stream. A sink that fails sets status bit 0,
// which is never cleared, and goes on accepting (and dropping) data; whoever
// drives a sink tests HasFailed() after writes.
class LSoundSinkBase {
public:
    static constexpr unsigned char kStatusFailed = 0x01;

    // 0 channels become 1 and mark the sink failed.
    LSoundSinkBase(int sampleRate, int channels);
    LSoundSinkBase(const LSoundSinkBase&) = delete;
    LSoundSinkBase& operator=(const LSoundSinkBase&) = delete;
    virtual ~LSoundSinkBase() = default;

    virtual void Write(const float* buffer, long long frames) = 0;
    virtual void Seek(long long /*frame*/) {}

    long long GetPositionSample() const { return position_; }
    int GetSampleRate() const { return sampleRate_; }
    int GetChannels() const { return channels_; }
    unsigned char GetStatus() const { return status_; }
    bool HasFailed() const { return (status_ & kStatusFailed) != 0; }

    void SetFailed() { status_ |= kStatusFailed; }

protected:
    void SetPositionSample(long long position) { position_ = position; }
    void AdvancePosition(long long frames) { position_ += frames; }

private:
    template <class Base, class ErrorStream> friend class LStreamHandle;

    long long position_ = 0;
    int sampleRate_;
    unsigned char channels_;
    unsigned char status_ = 0;
    int reserved_ = -1;  // kept for layout parity with the stream header; unused
    unsigned short refCount_ = 0;
};
