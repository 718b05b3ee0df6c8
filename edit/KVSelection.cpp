#include "edit/KVSelection.h"

#include "base/LProcessInterface.h"
#include "dsp/LPointList.h"
#include "stream/LPRSourceToSink.h"
#include "stream/LSPEq.h"

namespace {

// The band of a frequency selection as a curve: a steep band-pass, 60 dB down
// outside [low, high].
LPointList BandPassCurve(int low, int high) {
    LPointList curve;
    const double points[6][2] = {
        {10.0, -60.0},
        {low - 1.0, -60.0},
        {double(low), 0.0},
        {double(high), 0.0},
        {high + 1.0, -60.0},
        {20000.0, -60.0},
    };
    curve.count = 6;
    for (int i = 0; i < 6; ++i) curve.points[i] = {points[i][0], points[i][1]};
    return curve;
}

}  // namespace

LSoundSource KVSelection::OpenTrimmedSource(const LCutListAudio& list) const {
    LSoundSource source = list.OpenSource();
    if (!HasFrequencyRange()) return source;
    const LSPEq eq = LSPEq::FromPointList(BandPassCurve(lowFrequency, highFrequency), list.GetSampleRate());
    return eq.OpenSource(source);
}

LCutListAudio KVSelection::Trim(LProcessInterface& process, const LCutListAudio& list) const {
    if (start == end || (frequencySelection && lowFrequency == highFrequency)) return list;
    LCutListAudio trimmed = list;
    trimmed.EfTrim(start, end);
    if (!HasFrequencyRange()) return trimmed;

    LCutListAudio rendered;
    LProcessResult result;
    {
        LPRSourceToSink job;
        job.title = "Auswahl zum Audio";
        job.source = OpenTrimmedSource(trimmed);
        job.sink = rendered.OpenSink(trimmed.GetSampleRate(), trimmed.GetChannels());
        result = Process(process, job);
        // Leaving the scope closes the sink, which makes `rendered` the new item.
    }
    if (result != LProcessOK) return LCutListAudio();
    return rendered;
}
