#include "stream/LSinkConvertRate.h"

#include <algorithm>
#include <cstring>

LSinkConvertRateBase::LSinkConvertRateBase(const LSoundSink& inner, int rate)
    : LSoundSinkBase(rate > 0 ? rate : 44100, inner->GetChannels()),
      inner_(inner),
      converter_(rate > 0 ? rate : 44100, inner->GetSampleRate()) {
    if (rate <= 0 || inner_->HasFailed()) SetFailed();
    converter_.PrepareChannels(GetChannels());
    capacity_ = kBufferFrames + converter_.GetWindow();
    buffer_.assign(size_t(capacity_ * GetChannels()), 0.0f);
    output_.resize(size_t(kOutputBlock * GetChannels()));
    Restart();
}

LSinkConvertRateBase::~LSinkConvertRateBase() { Finish(); }

void LSinkConvertRateBase::Restart() {
    // The output at input instant 0 has half a window of silence before it.
    const int half = converter_.GetHalf();
    std::fill_n(buffer_.begin(), size_t(half) * GetChannels(), 0.0f);
    filled_ = half;
    cursor_ = phase_ = skip_ = 0;
    inputTotal_ = outputTotal_ = 0;
    outputLimit_ = std::numeric_limits<long long>::max();
}

void LSinkConvertRateBase::MakeRoom() {
    if (cursor_ >= filled_) {
        skip_ += cursor_ - filled_;
        cursor_ = filled_ = 0;
    } else if (cursor_ > 0 && filled_ == capacity_) {
        const long long keep = filled_ - cursor_;
        const int ch = GetChannels();
        std::memmove(buffer_.data(), buffer_.data() + cursor_ * ch, size_t(keep * ch) * sizeof(float));
        filled_ = keep;
        cursor_ = 0;
    }
}

void LSinkConvertRateBase::WriteBuffer() {
    const int ch = GetChannels();
    for (;;) {
        const long long count = std::min({converter_.OutputsBelow(cursor_, phase_, filled_), kOutputBlock,
                                          outputLimit_ - outputTotal_});
        if (count <= 0) return;
        converter_.Process(buffer_.data(), ch, cursor_, phase_, output_.data(), count);
        inner_->Write(output_.data(), count);
        outputTotal_ += count;
    }
}

void LSinkConvertRateBase::Feed(const float* in, long long frames) {
    const int ch = GetChannels();
    while (frames > 0) {
        MakeRoom();
        if (skip_ > 0) {
            const long long n = std::min(skip_, frames);
            skip_ -= n;
            frames -= n;
            if (in) in += n * ch;
            continue;
        }
        const long long n = std::min(frames, capacity_ - filled_);
        float* dest = buffer_.data() + filled_ * ch;
        if (in) {
            std::memcpy(dest, in, size_t(n * ch) * sizeof(float));
            in += n * ch;
        } else {
            std::fill_n(dest, n * ch, 0.0f);
        }
        filled_ += n;
        frames -= n;
        WriteBuffer();
    }
}

void LSinkConvertRateBase::Write(const float* buffer, long long frames) {
    if (frames <= 0) return;
    Feed(buffer, frames);
    inputTotal_ += frames;
    AdvancePosition(frames);
    if (inner_->HasFailed()) SetFailed();
}

void LSinkConvertRateBase::Finish() {
    outputLimit_ = converter_.InputToOutput(inputTotal_);
    // Trailing silence completes the last windows; the limit stops the output
    // at the instant where the input ended.
    while (outputTotal_ < outputLimit_) Feed(nullptr, kOutputBlock);
    if (inner_->HasFailed()) SetFailed();
}

void LSinkConvertRateBase::Seek(long long frame) {
    Finish();
    Restart();
    inner_->Seek(converter_.InputToOutput(frame));
    SetPositionSample(frame);
}

void LSinkConvertRate::OpenSink(LSoundSink& result, const LSoundSink& sink, int rate) {
    if (rate == sink->GetSampleRate()) {
        result = sink;
        return;
    }
    result = MakeSink<LSinkConvertRateBase>(sink, rate);
}
