#pragma once
// LWAVEEncoderOptionsWindow: the Wave save options as a form without
// widgets: the codec (PCM, GSM 6.10, A-law, mu-law), the channels, the rate
// and the sample size. The answers become `WavCodec.wff` and the WavSettings
// keys, which LWaveFile::SaveFormat reads back. GSM fixes 8000 Hz mono; A-law
// and mu-law fix 8 bits. "An Quelle angleichen" (match the source) for the
// channels or the rate sets ChansAuto or SampleRateAuto. Main thread.
#include "base/LPlatform.h"

class LWAVEEncoderOptionsWindow {
public:
    // The form with the stored choices (defaults: PCM, matched channels and
    // rate, 16 bits).
    static LOptionsForm MakeForm();
    // Stores the answers; false when they name no codec of the list.
    static bool Apply(const LOptionsForm& form);
};
