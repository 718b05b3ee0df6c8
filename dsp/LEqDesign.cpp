#include "dsp/LEqDesign.h"

#include "dsp/LFFT.h"

#include <cmath>

LEqGains FlatEqGains() {
    LEqGains g;
    g.fill(100.0);
    return g;
}

std::vector<float> MakeEqTaps(const LEqGains& gain) {
    constexpr int n = 1 << kEqFFTOrder;
    std::vector<double> re(n, 0.0), im(n, 0.0);
    // A real, even spectrum: its transform is a real, symmetric (zero-phase) response.
    re[0] = gain[0];
    for (int k = 1; k < n / 2; ++k) re[k] = re[n - k] = gain[k];
    // The Nyquist bin has no mirror; it takes the curve's last gain, so that a
    // flat curve is exactly flat and gives a clean unit impulse.
    re[n / 2] = gain[n / 2];
    LFFT fft(kEqFFTOrder);
    fft.DoInverseFFT(re.data(), im.data());

    // Rotate so that the response's centre (index 0) lands on tap 2047:
    // tap i takes point (i + 2049) mod 4096; point 2048, opposite the centre, drops out.
    const double scale = 1.0 / 100.0 / n;
    std::vector<double> taps(kEqTapCount);
    double largest = 0.0;
    for (int i = 0; i < kEqTapCount; ++i) {
        taps[i] = re[(i + kEqCentreTap + 2) % n] * scale;
        largest = std::max(largest, std::fabs(taps[i]));
    }
    std::vector<float> out(kEqTapCount);
    for (int i = 0; i < kEqTapCount; ++i) {
        out[i] = std::fabs(taps[i]) < 1e-9 * largest ? 0.0f : static_cast<float>(taps[i]);
    }
    return out;
}
