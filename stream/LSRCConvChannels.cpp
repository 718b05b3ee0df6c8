#include "stream/LSRCConvChannels.h"

#include <algorithm>

LSRCConvChannelsBase::LSRCConvChannelsBase(const LSoundSource& inner, int channels, float gain)
    : LSoundProcessBase(inner), inChannels_(inner->GetChannels()) {
    SetFormat(GetSampleRate(), channels);
    if (GetPeak() < kPeakUnbounded) SetPeak(std::min(kPeakUnbounded, GetPeak() * gain));
    scratch_.resize(size_t(kBlockFrames * inChannels_));
}

void LSRCConvChannelsBase::Read(float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0) {
        const long long n = std::min(frames, kBlockFrames);
        inner_->Read(scratch_.data(), n);
        Mix(scratch_.data(), buffer, n);
        buffer += n * channels;
        frames -= n;
    }
}

void LSRCConvChannelsN::Mix(const float* in, float* out, long long frames) const {
    const int inCh = InChannels();
    const int outCh = GetChannels();
    for (long long f = 0; f < frames; ++f, in += inCh, out += outCh)
        for (int c = 0; c < outCh; ++c) out[c] = in[c % inCh];
}

void LSRCConvChannels71To51::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 8, out += 6) {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
        out[3] = in[3];
        out[4] = (in[4] + in[6]) * kMinus3dB;
        out[5] = (in[5] + in[7]) * kMinus3dB;
    }
}

void LSRCConvChannelsQuadStereo::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 4, out += 2) {
        out[0] = (in[0] + in[2]) * 0.5f;
        out[1] = (in[1] + in[3]) * 0.5f;
    }
}

void LSRCConvChannels51Stereo::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 6, out += 2) {
        out[0] = in[3] * 0.5f + (in[2] + in[4]) * kMinus3dB + in[0];
        out[1] = in[3] * 0.5f + (in[2] + in[5]) * kMinus3dB + in[1];
    }
}

void LSRCConvChannels71Stereo::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 8, out += 2) {
        out[0] = (in[3] + in[6]) * 0.5f + (in[2] + in[4]) * kMinus3dB + in[0];
        out[1] = (in[3] + in[7]) * 0.5f + (in[2] + in[5]) * kMinus3dB + in[1];
    }
}

void LSRCConvChannelsNMono::Mix(const float* in, float* out, long long frames) const {
    const int inCh = InChannels();
    for (long long f = 0; f < frames; ++f, in += inCh) {
        float sum = 0.0f;
        for (int c = 0; c < inCh; ++c) sum += in[c];
        out[f] = sum / float(inCh);
    }
}

void LSRCConvChannels51Mono::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 6)
        out[f] = in[2] * kMinus3dB + ((in[4] + in[5]) * kMinus3dB + in[0] + in[1]) * 0.5f;
}

void LSRCConvChannels71Mono::Mix(const float* in, float* out, long long frames) const {
    for (long long f = 0; f < frames; ++f, in += 8)
        out[f] = in[2] * kMinus3dB + ((in[4] + in[5]) * kMinus3dB + (in[6] + in[7]) * 0.5f + in[0] + in[1]) * 0.5f;
}
