#pragma once
// The walk from the start of a Wave file to its `fmt ` block and the first
// sample byte. Shared by the source opener, the codec-name lookup and
// LWaveFileFormat::LoadFromPCMWaveFile so that all three agree on what a file is.
#include "formats/wave/LWaveFileFormat.h"

#include <cstdint>

class LInputStream;

struct LWaveHeaderInfo {
    // The `fmt ` block after normalisation: an extensible header with the PCM
    // sub-format reads as tag 1, and the extra size is 0 where it can't be trusted.
    LWaveFileFormat format;
    uint32_t fmtLength = 0;
    int64_t afterFmt = 0;     // stream offset of the chunk header behind `fmt `
    int64_t dataStart = -1;   // stream offset of the first sample byte
    uint32_t dataLength = 0;  // as stored in the first `data` header
};

// Finds the `RIFF`/`WAVE` body (behind any number of foreign top-level chunks)
// and reads `fmt `. Returns 0 or a source error code (3 damaged).
unsigned char LWaveReadFormatChunk(LInputStream& in, LWaveHeaderInfo& info);
// Continues behind `fmt ` to the first `data` chunk and checks channels and rate.
unsigned char LWaveFindDataChunk(LInputStream& in, LWaveHeaderInfo& info);
