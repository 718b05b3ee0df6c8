#pragma once
// LWaveCodecRegistry: which decoder reads, and which encoder writes, a Wave
// format tag. The Wave reader and the sink chooser look tags up here, so a
// codec that lives elsewhere (IMA ADPCM, GSM 6.10, MP3, a platform encoder)
// plugs in by registering its factory at start-up without touching them.
// Tags without an entry read as "codec not available" (source error 5) and
// write as an LSoundSinkError.
#include "formats/wave/LWaveHeaderReader.h"
#include "formats/wave/LWaveLimits.h"
#include "stream/LSoundSink.h"
#include "stream/LSoundSource.h"

#include <cstdint>
#include <memory>
#include <string>

class LInputStream;

// What a decoder factory gets: the open stream (positioned on the first
// sample byte; the factory takes it over by moving), the parsed header and
// the limits.
struct LWaveSourceRequest {
    std::unique_ptr<LInputStream>& input;
    const LWaveHeaderInfo& header;
    const LWaveLimits& limits;
};

using LWaveSourceFactory = LSoundSource (*)(LWaveSourceRequest& request);
using LWaveSinkFactory = LSoundSink (*)(const std::string& path, const LWaveFileFormat& format,
                                        const LWaveLimits& limits);

class LWaveCodecRegistry {
public:
    // Replaces any earlier entry for the tag; nullptr removes it. Thread-safe.
    static void RegisterSource(uint16_t tag, LWaveSourceFactory factory);
    static void RegisterSink(uint16_t tag, LWaveSinkFactory factory);

    // nullptr when nothing handles the tag.
    static LWaveSourceFactory FindSource(uint16_t tag);
    static LWaveSinkFactory FindSink(uint16_t tag);
};
