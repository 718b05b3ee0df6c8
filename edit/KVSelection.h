#pragma once
// KVSelection: what the user has selected in a document: a time range in
// frames and, for a rectangle drawn in the time-frequency view, a frequency
// band in hertz.
//
// start == end means no selection; so does a frequency selection whose band
// is empty (low == high).
#include "edit/LCutListAudio.h"
#include "stream/LSoundSource.h"

class LProcessInterface;

struct KVSelection {
    long long start = 0;          // frames
    long long end = 0;            // frames, one past the last
    int lowFrequency = 0;         // Hz
    int highFrequency = 0;        // Hz
    bool frequencySelection = false;

    bool operator==(const KVSelection&) const = default;

    // No time range, or an empty frequency band.
    bool IsEmpty() const { return start == end || (frequencySelection && lowFrequency == highFrequency); }
    // A frequency band limits the selection.
    bool HasFrequencyRange() const { return frequencySelection && lowFrequency != highFrequency; }
    // Both ends at `position`; the band stays as it was (it is empty in time).
    void SetCursor(long long position) { start = end = position; }

    // A new cut list holding what is selected of `list`: a copy of the whole
    // list when the selection is empty; the trimmed range without a band;
    // with a band, the range rendered through the band-pass of
    // OpenTrimmedSource into a new cache item under a job titled "Auswahl zum
    // Audio". A failed or stopped render gives an empty default cut list.
    LCutListAudio Trim(LProcessInterface& process, const LCutListAudio& list) const;

    // The source of `list` (already trimmed to the selection); with a band, it
    // is filtered by a steep band-pass built from six curve points: -60 dB
    // from 10 Hz to low - 1 Hz, 0 dB from low to high, -60 dB from high + 1 Hz
    // to 20 kHz.
    LSoundSource OpenTrimmedSource(const LCutListAudio& list) const;
};
