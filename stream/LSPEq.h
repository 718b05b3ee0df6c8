#pragma once
// Description of the curve equaliser: the linear gain of each bin of a
// 4096-point FFT, in percent (100 = 0 dB), bin k standing for
// k * sampleRate / 4096 Hz. Every curve in the system comes through it.
#include "dsp/LEqDesign.h"
#include "stream/LSoundSource.h"

class LPointList;

struct LSPEq {
    LEqGains gain = FlatEqGains();

    // The gains of a curve at the given rate (0 or below: 44100).
    static LSPEq FromPointList(const LPointList& curve, double sampleRate);

    // Wraps `source` in an LSRCEq with this curve's 4095-tap filter.
    LSoundSource OpenSource(const LSoundSource& source) const;
};
