#pragma once
#include "stream/LSoundProcessBase.h"

#include <vector>

// Channel conversions on the pull side. Each reads its inner source block by
// block into a scratch buffer and mixes every frame down (or up) to the output
// layout. Time runs 1:1, so position, end and seeking forward unchanged.
//
// Channel order within a frame: left, right, centre, low frequency, surround
// left, surround right, and for 7.1 side left, side right.
class LSRCConvChannelsBase : public LSoundProcessBase {
public:
    static constexpr long long kBlockFrames = 4096;
    // -3 dB, the weight of centre and surround channels in a fold-down.
    static constexpr float kMinus3dB = 0.70794576f;

    void Read(float* buffer, long long frames) override;

protected:
    // A channel count of 0 gives error 3 (and one channel). `gain` bounds how
    // far a frame's mix can rise above the loudest input channel: it scales
    // the announced peak so that a limiter downstream is not skipped.
    LSRCConvChannelsBase(const LSoundSource& inner, int channels, float gain);

    virtual void Mix(const float* in, float* out, long long frames) const = 0;

    int InChannels() const { return inChannels_; }

private:
    int inChannels_;
    std::vector<float> scratch_;
};

// Any to any: output channel c takes input channel c % inputChannels.
class LSRCConvChannelsN final : public LSRCConvChannelsBase {
public:
    LSRCConvChannelsN(const LSoundSource& inner, int channels) : LSRCConvChannelsBase(inner, channels, 1.0f) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// 7.1 to 5.1: side channels fold into the surround pair at -3 dB.
class LSRCConvChannels71To51 final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannels71To51(const LSoundSource& inner) : LSRCConvChannelsBase(inner, 6, 2 * kMinus3dB) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// Quad to stereo: the mean of front and rear on each side.
class LSRCConvChannelsQuadStereo final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannelsQuadStereo(const LSoundSource& inner) : LSRCConvChannelsBase(inner, 2, 1.0f) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// 5.1 to stereo.
class LSRCConvChannels51Stereo final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannels51Stereo(const LSoundSource& inner)
        : LSRCConvChannelsBase(inner, 2, 1.5f + 2 * kMinus3dB) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// 7.1 to stereo: as 5.1, with the side channel added to the LFE share.
class LSRCConvChannels71Stereo final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannels71Stereo(const LSoundSource& inner)
        : LSRCConvChannelsBase(inner, 2, 2.0f + 2 * kMinus3dB) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// Any to mono: the mean of all channels.
class LSRCConvChannelsNMono final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannelsNMono(const LSoundSource& inner) : LSRCConvChannelsBase(inner, 1, 1.0f) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// 5.1 to mono.
class LSRCConvChannels51Mono final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannels51Mono(const LSoundSource& inner)
        : LSRCConvChannelsBase(inner, 1, kMinus3dB + (2 * kMinus3dB + 2.0f) * 0.5f) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};

// 7.1 to mono.
class LSRCConvChannels71Mono final : public LSRCConvChannelsBase {
public:
    explicit LSRCConvChannels71Mono(const LSoundSource& inner)
        : LSRCConvChannelsBase(inner, 1, kMinus3dB + (2 * kMinus3dB + 1.0f + 2.0f) * 0.5f) {}

protected:
    void Mix(const float* in, float* out, long long frames) const override;
};
