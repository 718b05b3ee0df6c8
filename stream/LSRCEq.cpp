#include "stream/LSRCEq.h"

#include "stream/LFrameArithmetic.h"

#include <algorithm>

LSRCEq::LSRCEq(const LSoundSource& inner, const std::vector<float>& taps)
    : LSoundProcessBase(inner),
      delay_(taps.empty() ? 0 : static_cast<long long>(taps.size() - 1) / 2),
      position_(inner->GetPositionSample()) {
    const int channels = GetChannels();
    filters_.reserve(channels);
    for (int c = 0; c < channels; ++c) filters_.emplace_back(taps.data(), static_cast<long>(taps.size()));
    input_.resize(static_cast<size_t>(filters_[0].BlockSize()) * channels);
}

void LSRCEq::Seek(long long frame) {
    position_ = frame;
    primed_ = false;  // the next Read starts afresh from there
}

bool LSRCEq::ControlMessage(int code, long* value) {
    if (code == ControlAddLatency && value != nullptr && primed_) *value += static_cast<long>(delay_);
    return inner_->ControlMessage(code, value);
}

void LSRCEq::Prime() {
    // Output p needs input p-delay .. p+delay: start reading there and run
    // the first 2*delay frames through the filters without delivering them.
    inner_->Seek(FrameSub(position_, delay_));
    for (LFiltFFT& f : filters_) f.Reset();
    const int channels = GetChannels();
    const long long block = filters_[0].BlockSize();
    for (long long left = 2 * delay_; left > 0;) {
        const long long n = std::min(left, block);
        inner_->Read(input_.data(), n);
        // Filtered in place: only the filters' memory of these frames counts.
        for (int c = 0; c < channels; ++c) filters_[c].ApplyFilter(input_.data() + c, input_.data() + c, n, channels);
        left -= n;
    }
    primed_ = true;
}

void LSRCEq::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    if (!primed_) Prime();
    const int channels = GetChannels();
    const long long block = filters_[0].BlockSize();
    while (frames > 0) {
        const long long n = std::min(frames, block);
        inner_->Read(input_.data(), n);
        for (int c = 0; c < channels; ++c) filters_[c].ApplyFilter(buffer + c, input_.data() + c, n, channels);
        buffer += n * channels;
        frames -= n;
        position_ = FrameAdd(position_, n);
    }
}
