#pragma once
#include "stream/LSoundSink.h"

#include <vector>

// Channel conversion on the push side: the wrapper takes frames of one layout,
// converts them block by block in its own buffer and writes them to the inner
// sink. Its position counts the frames written to it; a failure of the inner
// sink shows as this sink's failure.
class LSinkConvertChannelsBase : public LSoundSinkBase {
public:
    static constexpr long long kBlockFrames = 4096;

    void Write(const float* buffer, long long frames) override;
    void Seek(long long frame) override;

    const LSoundSink& Inner() const { return inner_; }

protected:
    LSinkConvertChannelsBase(const LSoundSink& inner, int channels);
    virtual void Convert(const float* in, float* out, long long frames) const = 0;

    int OutChannels() const { return inner_->GetChannels(); }

private:
    LSoundSink inner_;
    std::vector<float> block_;
};

// Mono in, stereo out: the channel is doubled.
class LSinkConvertMonoToStereo final : public LSinkConvertChannelsBase {
public:
    explicit LSinkConvertMonoToStereo(const LSoundSink& inner) : LSinkConvertChannelsBase(inner, 1) {}

protected:
    void Convert(const float* in, float* out, long long frames) const override;
};

// Stereo in, mono out: the mean of left and right.
class LSinkConvertStereoToMono final : public LSinkConvertChannelsBase {
public:
    explicit LSinkConvertStereoToMono(const LSoundSink& inner) : LSinkConvertChannelsBase(inner, 2) {}

protected:
    void Convert(const float* in, float* out, long long frames) const override;
};

// Stereo in, into a 4-channel device: left and right in the first two
// channels, left in the others.
class LSinkConvert4ToStereo final : public LSinkConvertChannelsBase {
public:
    explicit LSinkConvert4ToStereo(const LSoundSink& inner) : LSinkConvertChannelsBase(inner, 2) {}

protected:
    void Convert(const float* in, float* out, long long frames) const override;
};

// Stereo in, into a 6-channel device: as for four channels.
class LSinkConvert6ToStereo final : public LSinkConvertChannelsBase {
public:
    explicit LSinkConvert6ToStereo(const LSoundSink& inner) : LSinkConvertChannelsBase(inner, 2) {}

protected:
    void Convert(const float* in, float* out, long long frames) const override;
};

// Any other pair: output channel c takes input channel c % inputChannels.
class LSinkConvertChannelsN final : public LSinkConvertChannelsBase {
public:
    LSinkConvertChannelsN(const LSoundSink& inner, int channels) : LSinkConvertChannelsBase(inner, channels) {}

protected:
    void Convert(const float* in, float* out, long long frames) const override;
};

struct LSinkConvertChannels {
    // Rewrites `sink` so that it takes `channels` channels; unchanged when the
    // count already matches. 0 channels give a failed sink.
    static void OpenSink(LSoundSink& sink, int channels);
};
