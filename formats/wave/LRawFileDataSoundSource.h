#pragma once
// LRawFileDataSoundSource<T>: one contiguous run of samples in a file, any
// sample type: the G.711 codes of a Wave file, and headerless or foreign
// containers whose samples lie in one block. Reads an LInputStream it owns.
#include "formats/wave/LSRCPCMFile.h"

template <class T>
class LRawFileDataSoundSource final : public LSRCPCMFileBase {
public:
    // `dataBytes` negative: the samples run to the end of the stream, which may grow.
    LRawFileDataSoundSource(std::unique_ptr<LInputStream> input, int64_t dataStart, int64_t dataBytes,
                            int sampleRate, int channels, float peak)
        : LSRCPCMFileBase(std::move(input), dataStart, dataBytes, sampleRate, channels, sizeof(T), peak,
                          Options{false, LWaveLimits{}}) {}

protected:
    void Convert(float* out, const uint8_t* bytes, long long values) const override {
        ConvertSamplesIn<T>(out, reinterpret_cast<const T*>(bytes), values);
    }
};
