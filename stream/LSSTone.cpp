#include "stream/LSSTone.h"

#include <algorithm>
#include <cmath>

#include "stream/LFrameArithmetic.h"

LSSTone::LSSTone(int sampleRate, const Table& table, double frequency, long long length)
    : LSoundSourceBase(sampleRate, 1, kPeakUnbounded), table_(table), length_(std::max(0LL, length)) {
    const double increment = frequency * kTableSize * (1 << kFractionBits) / GetSampleRate();
    // A step of a whole table or more, or a negative one, is no tone.
    if (!(increment >= 0 && increment <= kPhaseMask)) {
        SetError(kSourceBadFormat);
        return;
    }
    increment_ = static_cast<unsigned>(increment + 0.5);
    float peak = 0;
    for (float v : table_) peak = std::max(peak, std::fabs(v));
    SetPeak(peak);
}

LSSTone::LSSTone(int sampleRate, double frequency, float amplitude, long long length)
    : LSSTone(sampleRate, SineTable(amplitude), frequency, length) {}

LSSTone::Table LSSTone::SineTable(float amplitude) {
    Table table;
    for (int i = 0; i < kTableSize; ++i)
        table[i] = amplitude * static_cast<float>(std::sin(2.0 * M_PI * i / kTableSize));
    return table;
}

void LSSTone::Read(float* buffer, long long frames) {
    if (!IsOk() || frames <= 0) return;
    for (long long i = 0; i < frames; ++i) {
        const long long p = FrameAdd(position_, i);
        // The phase runs on outside [0, length) so that a seek lands in step.
        const unsigned index = (phase_ >> kFractionBits) & (kTableSize - 1);
        const float frac = static_cast<float>(phase_ & 0x7FFF) * 3.0517578e-5f;
        const float v = (1.0f - frac) * table_[index] + frac * table_[(index + 1) & (kTableSize - 1)];
        buffer[i] = (p >= 0 && p < length_) ? v : 0.0f;
        phase_ = (phase_ & kPhaseMask) + increment_;
    }
    position_ = FrameAdd(position_, frames);
}

void LSSTone::Seek(long long frame) {
    if (!IsOk()) return;
    position_ = frame;
    // The phase of frame n is n steps from frame 0; the product wraps exactly
    // modulo the phase range, which divides 2^64.
    phase_ = static_cast<unsigned>((static_cast<unsigned long long>(frame) * increment_) & kPhaseMask);
}
