#include "dsp/LFFTFrame.h"

#include "dsp/LFFTWindow.h"

#include <algorithm>

void LFFTFrame::Resize(long size) {
    re.assign(size > 0 ? size : 0, 0.0);
    im.assign(size > 0 ? size : 0, 0.0);
}

void LFFTFrame::Clear() {
    std::fill(re.begin(), re.end(), 0.0);
    std::fill(im.begin(), im.end(), 0.0);
}

void LFFTFrame::LoadRealSamples(const float* samples, long size, const LFFTWindow& window, int channels,
                                int channel) {
    const long n = std::clamp(std::min(size, window.Size()), 0L, Size());
    const double* w = window.Data();
    const long stride = channels > 0 ? channels : 1;
    const float* in = samples + channel;
    for (long i = 0; i < n; ++i) re[i] = static_cast<double>(in[i * stride]) * w[i];
    std::fill(re.begin() + n, re.end(), 0.0);
    std::fill(im.begin(), im.end(), 0.0);
}

void LFFTFrame::MirrorTopHalf(long size) {
    const long n = std::min(size, Size());
    for (long k = 1; k < n / 2; ++k) {
        re[n - k] = re[k];
        im[n - k] = -im[k];
    }
}
