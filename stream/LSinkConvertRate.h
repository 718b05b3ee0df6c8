#pragma once
#include "stream/LConvertRateBase.h"
#include "stream/LSoundSink.h"

#include <limits>
#include <vector>

// Takes audio at one rate and writes it to the inner sink at the inner sink's
// rate, with the same filter as LSRCConvertRate. Input collects in a buffer;
// whatever has a complete window is filtered and written at once, and on
// close (the last handle going) the rest is flushed against trailing zeros,
// so that n input frames give exactly trunc(n * L / M) output frames.
class LSinkConvertRateBase : public LSoundSinkBase {
public:
    static constexpr long long kBufferFrames = 32512;
    static constexpr long long kOutputBlock = 4096;

    // A rate below 1 is read as 44100 and marks the sink failed.
    LSinkConvertRateBase(const LSoundSink& inner, int rate);
    ~LSinkConvertRateBase() override;

    void Write(const float* buffer, long long frames) override;
    // Flushes what is pending, then seeks the inner sink to the same instant.
    void Seek(long long frame) override;

    const LConvertRateBase& GetConverter() const { return converter_; }
    const LSoundSink& Inner() const { return inner_; }

private:
    void Feed(const float* in, long long frames);  // null: zeros
    void MakeRoom();
    void WriteBuffer();  // filters and writes every output whose window is complete
    void Finish();
    void Restart();

    LSoundSink inner_;
    LConvertRateBase converter_;
    std::vector<float> buffer_;
    std::vector<float> output_;
    long long capacity_;
    long long filled_ = 0;
    long long cursor_ = 0;
    long long phase_ = 0;
    long long skip_ = 0;         // input frames no window will touch, still to drop
    long long inputTotal_ = 0;   // since the last restart
    long long outputTotal_ = 0;
    long long outputLimit_ = std::numeric_limits<long long>::max();
};

struct LSinkConvertRate {
    // Sets `result` to a sink that takes `rate` Hz and delivers to `sink` at its
    // own rate; `sink` itself when the rates already match.
    static void OpenSink(LSoundSink& result, const LSoundSink& sink, int rate);
};
