#pragma once
// LWaveFile: opens a RIFF/WAVE file as a source or a sink.
//
// Opening never throws for a bad file: it gives an LSoundSourceError whose
// error byte says why (3 damaged, 4 can't be opened, 5 codec not available,
// 7 format not handled here). Sinks that can't be made are LSoundSinkErrors.
#include "formats/wave/LWaveFileFormat.h"
#include "formats/wave/LWaveLimits.h"
#include "stream/LSoundSink.h"
#include "stream/LSoundSource.h"

#include <memory>
#include <string>

class LInputStream;

class LWaveFile {
public:
    static LSoundSource OpenSource(const std::string& path, const LWaveLimits& limits = LWaveLimits::Default());
    // Reads the Wave image in `input`, which the source owns from now on
    // (bytes in memory, a file opened elsewhere). The source reads the stream
    // on whichever thread reads the source.
    static LSoundSource OpenSource(std::unique_ptr<LInputStream> input,
                                   const LWaveLimits& limits = LWaveLimits::Default());
    // As OpenSource; the file is deleted when the last reference to the source
    // goes. For temporary files written by external decoders.
    static LSoundSource OpenSourceDeletingFileWhenClosed(const std::string& path);

    // Chooses the sink by the format tag: 1 PCM by bits, 3 float (32 bits
    // only), 6 A-law, 7 mu-law, others as registered in LWaveCodecRegistry.
    static LSoundSink OpenSink(const std::string& path, const LWaveFileFormat& format,
                               const LWaveLimits& limits = LWaveLimits::Default());
    // Integer PCM of 8, 16, 24 or 32 bits (rounded up to the next of these).
    // `framesHint` is the expected length, if known; it is advisory.
    static LSoundSink OpenSinkPCM(const std::string& path, int sampleRate, int channels, int bits,
                                  long long framesHint = 0, const LWaveLimits& limits = LWaveLimits::Default());

    // The format a document is saved in as ".wav": 16-bit PCM at the
    // document's rate and channels, replaced by `WavCodec.wff` when that file
    // holds a valid block; `rateFromDocument` / `channelsFromDocument` (the
    // settings SampleRateAuto and ChansAuto) put the document's values back.
    static LWaveFileFormat SaveFormat(int sampleRate, int channels, bool rateFromDocument, bool channelsFromDocument);
};
