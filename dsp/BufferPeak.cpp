#include "dsp/BufferPeak.h"

#include <cmath>

float GetBufferPeak(const float* buffer, long long count, int stride) {
    if (count <= 0) return 0.0f;
    if (stride != 1) {
        float peak = 0.0f;
        for (long long i = 0; i < count; ++i) peak = std::fmax(peak, std::fabs(buffer[i * stride]));
        return peak;
    }
    // Eight running maxima keep the loop free of a serial dependency.
    float lanes[8] = {};
    long long i = 0;
    for (; i + 8 <= count; i += 8) {
        for (int k = 0; k < 8; ++k) {
            float v = std::fabs(buffer[i + k]);
            lanes[k] = v > lanes[k] ? v : lanes[k];
        }
    }
    float peak = 0.0f;
    for (int k = 0; k < 8; ++k) peak = lanes[k] > peak ? lanes[k] : peak;
    for (; i < count; ++i) {
        float v = std::fabs(buffer[i]);
        peak = v > peak ? v : peak;
    }
    return peak;
}
