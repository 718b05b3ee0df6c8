#pragma once
// LSNKPCMFile<T>: writes linear PCM (or 32-bit float) into a Wave file.
//
// The file always starts with the same 46-byte header. While writing, the
// header holds provisional lengths (RIFF 0xFFFFFFFF, data 0xFFFFFFD9) so that a
// reader, or a crash, sees a file whose end is the file's size; Close() puts
// the real lengths in place. Beyond the first chunk's capacity the samples
// continue in further `data` chunks directly behind it.
#include "base/LFile.h"
#include "formats/wave/LWaveLimits.h"
#include "stream/LSampleFormat.h"
#include "stream/LSoundSinkBase.h"

#include <cstdint>
#include <memory>
#include <string>

class LSNKPCMFileBase : public LSoundSinkBase {
public:
    static constexpr long long kBufferFrames = 8192;
    static constexpr int kHeaderSize = 46;
    static constexpr uint32_t kProvisionalRiffLength = 0xFFFFFFFFu;
    static constexpr uint32_t kProvisionalDataLength = 0xFFFFFFD9u;

    // Opens (creating, not truncating) and writes the provisional header; a
    // failure shows as HasFailed().
    LSNKPCMFileBase(const std::string& path, int sampleRate, int channels, int bytesPerSample,
                    const LWaveLimits& limits);
    ~LSNKPCMFileBase() override;

    void Write(const float* buffer, long long frames) override;
    // Moves back only: the file is cut at `frame` and writing goes on from there.
    void Seek(long long frame) override;

    // Writes the final header, the further chunk headers and the pad byte, and
    // closes the file. Called by the destructor if not before. False if the
    // sink failed at any point.
    bool Close();

    // Header bytes for `dataBytes` sample bytes in the first chunk; the
    // provisional header when `final` is false.
    static void BuildHeader(uint8_t (&header)[kHeaderSize], int sampleRate, int channels, int bytesPerSample,
                            uint64_t firstChunkBytes, bool final);

protected:
    virtual void Convert(uint8_t* out, const float* in, long long values) = 0;

private:
    uint64_t ChunkIndex(uint64_t logical) const;
    uint64_t ChunkStart(uint64_t chunk) const;
    uint64_t ChunkCapacity(uint64_t chunk) const;
    int64_t FileOffset(uint64_t logical) const;
    bool WriteSampleBytes(const uint8_t* bytes, uint64_t size);
    bool WriteFinalHeaders();

    LFile file_;
    int bytesPerSample_;
    int frameSize_;
    LWaveLimits limits_;
    std::unique_ptr<uint8_t[]> buffer_;
};

template <class T>
class LSNKPCMFile final : public LSNKPCMFileBase {
public:
    LSNKPCMFile(const std::string& path, int sampleRate, int channels, const LWaveLimits& limits)
        : LSNKPCMFileBase(path, sampleRate, channels, sizeof(T), limits) {}

protected:
    void Convert(uint8_t* out, const float* in, long long values) override {
        ConvertSamplesOut<T>(reinterpret_cast<T*>(out), in, values);
    }
};
