#pragma once
// LWaveFileFormat: the WAVEFORMATEX-style description of a Wave save format,
// with room for codec-specific extra bytes. Its 1028-byte serialized form is
// also the content of `WavCodec.wff`: the block verbatim, little-endian, no magic.
#include <cstddef>
#include <cstdint>
#include <string>

class LInputStream;

class LWaveFileFormat {
public:
    static constexpr size_t kBlockSize = 1028;
    static constexpr size_t kFixedSize = 18;
    static constexpr size_t kMaxExtra = kBlockSize - kFixedSize;

    static constexpr uint16_t kTagPCM = 1;
    static constexpr uint16_t kTagFloat = 3;
    static constexpr uint16_t kTagALaw = 6;
    static constexpr uint16_t kTagMuLaw = 7;
    static constexpr uint16_t kTagIMA = 17;
    static constexpr uint16_t kTagGSM = 49;
    static constexpr uint16_t kTagMP3 = 85;
    static constexpr uint16_t kTagExtensible = 0xFFFE;

    uint16_t formatTag = 0;
    uint16_t channels = 0;
    uint32_t samplesPerSec = 0;
    uint32_t avgBytesPerSec = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
    uint16_t extraSize = 0;
    uint8_t extra[kMaxExtra] = {};

    // Integer PCM with the derived block align and byte rate.
    static LWaveFileFormat PCM(int sampleRate, int channels, int bits);

    // Fills the block from up to kBlockSize bytes of a `fmt ` body or a .wff file;
    // missing bytes read as zero.
    void FromBytes(const uint8_t* bytes, size_t size);
    void ToBytes(uint8_t (&block)[kBlockSize]) const;

    // Loads `path` (extension exactly ".wff") under a shared lock of 100 ms. The
    // block is kept only if it names a tag, channels and a rate; otherwise this
    // object is left unchanged and false is returned.
    bool LoadFromWavCodecFile(const std::string& path);
    // Writes the block to `path` whole (readers never see a half-written file).
    bool SaveToWavCodecFile(const std::string& path) const;
    // Takes the first 18 bytes of the `fmt ` chunk of a Wave file; true only for tag 1.
    bool LoadFromPCMWaveFile(const std::string& path);
    bool LoadFromPCMWaveFile(LInputStream& in);

    // `WavCodec.wff` in the user's application data folder; empty if that folder is unusable.
    static std::string WavCodecFilePath();
};
