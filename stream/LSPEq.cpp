#include "stream/LSPEq.h"

#include "dsp/LPointList.h"
#include "stream/LSRCEq.h"

LSPEq LSPEq::FromPointList(const LPointList& curve, double sampleRate) {
    LSPEq eq;
    curve.MapPointListToEq(eq.gain, sampleRate);
    return eq;
}

LSoundSource LSPEq::OpenSource(const LSoundSource& source) const {
    return MakeSource<LSRCEq>(source, MakeEqTaps(gain));
}
