#pragma once
#include "base/LProcessInterface.h"
#include "stream/LSoundSink.h"
#include "stream/LSoundSource.h"

// The copying job that the whole engine shares: every import, render and save
// is a source copied into a sink. On its way the source is converted to the
// sink's rate and channels and passed through the peak limiter, so nothing a
// sink receives needs clipping.
struct LPRSourceToSink {
    const char* title = "";
    LSoundSource source;
    LSoundSink sink;
    LSoundSource crossMixSource;  // faded into the start when crossMix is set
    bool crossMix = false;
};

// Frames per Read/Write call: the common block of the engine.
inline constexpr long long kCopyBlockFrames = 8192;

// Results: LProcessOK, LProcessStopped when IsToStop() said so, LProcessFailed
// when the source is in error or the sink fails (checked after every block).
LProcessResult Process(LProcessInterface& process, LPRSourceToSink& job);
