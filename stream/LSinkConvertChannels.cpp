#include "stream/LSinkConvertChannels.h"

#include <algorithm>

LSinkConvertChannelsBase::LSinkConvertChannelsBase(const LSoundSink& inner, int channels)
    : LSoundSinkBase(inner->GetSampleRate(), channels), inner_(inner) {
    if (inner_->HasFailed()) SetFailed();
    SetPositionSample(inner_->GetPositionSample());
    block_.resize(size_t(kBlockFrames * inner_->GetChannels()));
}

void LSinkConvertChannelsBase::Write(const float* buffer, long long frames) {
    const int in = GetChannels();
    while (frames > 0) {
        const long long n = std::min(frames, kBlockFrames);
        Convert(buffer, block_.data(), n);
        inner_->Write(block_.data(), n);
        AdvancePosition(n);
        buffer += n * in;
        frames -= n;
    }
    if (inner_->HasFailed()) SetFailed();
}

void LSinkConvertChannelsBase::Seek(long long frame) {
    inner_->Seek(frame);
    SetPositionSample(frame);
}

void LSinkConvertMonoToStereo::Convert(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f) out[2 * f] = out[2 * f + 1] = in[f];
}

void LSinkConvertStereoToMono::Convert(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f) out[f] = (in[2 * f] + in[2 * f + 1]) * 0.5f;
}

namespace {
void StereoIntoMore(const float* in, float* out, long long frames, int outChannels) {
    for (long long f = 0; f < frames; ++f, in += 2, out += outChannels) {
        out[0] = in[0];
        out[1] = in[1];
        for (int c = 2; c < outChannels; ++c) out[c] = in[0];
    }
}
}  // namespace

void LSinkConvert4ToStereo::Convert(const float* in, float* out, long long frames) const {
    StereoIntoMore(in, out, frames, 4);
}

void LSinkConvert6ToStereo::Convert(const float* in, float* out, long long frames) const {
    StereoIntoMore(in, out, frames, 6);
}

void LSinkConvertChannelsN::Convert(const float* in, float* out, long long frames) const {
    const int inCh = GetChannels();
    const int outCh = OutChannels();
    for (long long f = 0; f < frames; ++f, in += inCh, out += outCh)
        for (int c = 0; c < outCh; ++c) out[c] = in[c % inCh];
}

void LSinkConvertChannels::OpenSink(LSoundSink& sink, int channels) {
    const int out = sink->GetChannels();
    if (channels == out) return;
    if (channels == 1 && out == 2) {
        sink = MakeSink<LSinkConvertMonoToStereo>(sink);
    } else if (channels == 2 && out == 1) {
        sink = MakeSink<LSinkConvertStereoToMono>(sink);
    } else if (channels == 2 && out == 4) {
        sink = MakeSink<LSinkConvert4ToStereo>(sink);
    } else if (channels == 2 && out == 6) {
        sink = MakeSink<LSinkConvert6ToStereo>(sink);
    } else {
        sink = MakeSink<LSinkConvertChannelsN>(sink, channels);
    }
}
