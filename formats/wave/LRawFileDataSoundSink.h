#pragma once
// LRawFileDataSoundSink<T>: samples of any type written as one contiguous run
// behind a header that a format-specific function writes, once provisionally
// at open and again at close. The G.711 Wave files use it; so can any
// container whose samples lie in one block.
#include "base/LFile.h"
#include "stream/LSampleFormat.h"
#include "stream/LSoundSinkBase.h"

#include <cstdint>
#include <memory>
#include <string>

class LRawFileDataSoundSinkBase : public LSoundSinkBase {
public:
    static constexpr long long kBufferFrames = 8192;

    // Writes the header at offset 0 of sink.File() and returns its length; 0
    // means the write failed. `final` is true at close.
    using HeaderWriter = uint32_t (*)(LRawFileDataSoundSinkBase& sink, bool final);

    // Opens with truncation and writes the provisional header. `padToEven`
    // appends a zero byte after an odd run at close, as RIFF bodies need.
    LRawFileDataSoundSinkBase(const std::string& path, int sampleRate, int channels, int bytesPerSample,
                              HeaderWriter writeHeader, bool padToEven);
    ~LRawFileDataSoundSinkBase() override;

    void Write(const float* buffer, long long frames) override;
    // Writes the final header (and the pad byte), then closes. False if the sink failed.
    bool Close();

    LFile& File() { return file_; }
    int FrameSize() const { return frameSize_; }
    uint32_t HeaderLength() const { return headerLength_; }

protected:
    virtual void Convert(uint8_t* out, const float* in, long long values) = 0;

private:
    LFile file_;
    int frameSize_;
    HeaderWriter writeHeader_;
    bool padToEven_;
    uint32_t headerLength_ = 0;
    std::unique_ptr<uint8_t[]> buffer_;
};

template <class T>
class LRawFileDataSoundSink final : public LRawFileDataSoundSinkBase {
public:
    LRawFileDataSoundSink(const std::string& path, int sampleRate, int channels, HeaderWriter writeHeader,
                          bool padToEven)
        : LRawFileDataSoundSinkBase(path, sampleRate, channels, sizeof(T), writeHeader, padToEven) {}
    ~LRawFileDataSoundSink() override { Close(); }

protected:
    void Convert(uint8_t* out, const float* in, long long values) override {
        ConvertSamplesOut<T>(reinterpret_cast<T*>(out), in, values);
    }
};
