#include "dsp/LFFTWindow.h"

#include <cmath>

namespace {
constexpr double kTwoPi = 6.283185307179586476925286766559;

// The raised-cosine family a - b*cos(2*pi*i/(n-1)).
void FillRaisedCosine(std::vector<double>& w, double a, double b) {
    const long n = static_cast<long>(w.size());
    if (n == 1) {
        w[0] = 1.0;  // (n-1) would be 0: a single point passes unchanged
        return;
    }
    for (long i = 0; i < n; ++i) w[i] = a - b * std::cos(kTwoPi * static_cast<double>(i) / static_cast<double>(n - 1));
}
}  // namespace

LHammingWindow::LHammingWindow(long n) : LFFTWindow(n) { FillRaisedCosine(values_, 0.54, 0.46); }

LHanningWindow::LHanningWindow(long n) : LFFTWindow(n) { FillRaisedCosine(values_, 0.5, 0.5); }
