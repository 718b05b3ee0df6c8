#pragma once
// The FIR filter behind every curve equaliser: a magnitude curve given as
// the linear gain of each bin of a 4096-point FFT becomes 4095 zero-phase
// taps centred at tap 2047 (so the filter delays by 2047 samples).
#include <array>
#include <vector>

inline constexpr int kEqBins = 2049;      // bins 0..2048 of a 4096-point FFT
inline constexpr int kEqFFTOrder = 12;
inline constexpr int kEqTapCount = 4095;
inline constexpr int kEqCentreTap = 2047;

// gain[k]: linear gain in percent (100 = 0 dB) of bin k, which stands for
// k * sampleRate / 4096 Hz.
using LEqGains = std::array<double, kEqBins>;

// Every bin at 100 %: the curve that changes nothing.
LEqGains FlatEqGains();

// The 4095 taps of a curve (see the file comment). Taps below 1e-9 of the
// largest are rounding noise of the design transform and become exactly 0,
// so a flat curve gives one tap of exactly 1.0 and passes audio unchanged.
std::vector<float> MakeEqTaps(const LEqGains& gain);
