#pragma once
// LSRCPCMFile<T>: a Wave file's linear PCM or float samples as a source.
//
// The samples may lie in several consecutive `data` chunks (files beyond
// 4 GiB), and the end may be unknown while another process is still writing
// the file: then the stream's size tells how far the samples go, until the
// writer's final header appears. For that the stream must show the file as
// it is now (an unbuffered file stream; see LWaveFile::OpenSource).
#include "base/LInputStream.h"
#include "formats/wave/LWaveLimits.h"
#include "stream/LSampleFormat.h"
#include "stream/LSoundSourceBase.h"

#include <cstdint>
#include <memory>
#include <vector>

class LSRCPCMFileBase : public LSoundSourceBase {
public:
    static constexpr long long kBufferFrames = 8192;

    struct Options {
        // Look for further `data` chunks behind the first one; off for a
        // single run of samples (the G.711 and raw sources).
        bool walkDataChunks = true;
        LWaveLimits limits;
    };

    // Reads `input`, which it owns from now on (null: error 4). `dataStart` is
    // the first sample byte. `dataLength` is the length stored in the first
    // `data` header (0xFFFFFF01 and above: not known yet), or for a single run
    // its byte count, negative when it runs to the end of the stream.
    LSRCPCMFileBase(std::unique_ptr<LInputStream> input, int64_t dataStart, int64_t dataLength, int sampleRate, int channels,
                    int bytesPerSample, float peak, const Options& options);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override;
    void Seek(long long frame) override { position_ = frame; }
    bool IsStreaming() const override;
    void WaitForStreamingData(int milliseconds) override;

    int64_t DataStart() const { return dataStart_; }
    size_t SegmentCount() const { return segments_.size(); }

protected:
    // Converts `values` single samples from the file's bytes to floats.
    virtual void Convert(float* out, const uint8_t* bytes, long long values) const = 0;

private:
    struct Segment {
        int64_t fileStart;     // first body byte
        int64_t bytes;         // body length; -1: open, runs to the end of the file
        int64_t logicalStart;  // sample bytes in all earlier segments
    };

    void BuildSegments(int64_t firstLength) const;
    void AddOpenEndedChunks(int64_t offset) const;
    bool EndIsKnown() const { return end_ >= 0; }
    // Reads up to `size` sample bytes from logical offset `offset`, across
    // segments; returns how many arrived.
    int64_t ReadSampleBytes(uint8_t* out, int64_t size, int64_t offset) const;
    int64_t FramesInFile() const;
    uint32_t ReadFirstDataLength() const;
    bool FurtherChunkFollows(int64_t offset) const;

    // Read at explicit offsets only; const queries read the header again.
    std::unique_ptr<LInputStream> input_;
    int64_t dataStart_;
    int frameSize_;
    long long position_ = 0;
    bool walkDataChunks_;
    LWaveLimits limits_;
    // The end and the segments are refreshed by const queries while a writer
    // finishes the file.
    mutable long long end_ = -1;
    mutable std::vector<Segment> segments_;
    std::unique_ptr<uint8_t[]> buffer_;
};

template <class T>
class LSRCPCMFile final : public LSRCPCMFileBase {
public:
    LSRCPCMFile(std::unique_ptr<LInputStream> input, int64_t dataStart, int64_t dataLength, int sampleRate,
                int channels, float peak, const Options& options)
        : LSRCPCMFileBase(std::move(input), dataStart, dataLength, sampleRate, channels, sizeof(T), peak, options) {}

protected:
    void Convert(float* out, const uint8_t* bytes, long long values) const override {
        ConvertSamplesIn<T>(out, reinterpret_cast<const T*>(bytes), values);
    }
};
