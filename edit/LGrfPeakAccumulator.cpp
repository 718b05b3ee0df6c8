#include "edit/LGrfPeakAccumulator.h"

#include <algorithm>
#include <cmath>

LGrfPeakAccumulator::LGrfPeakAccumulator(int channels)
    : channels_(channels), max_(channels, 0.0f), min_(channels, 0.0f) {}

uint16_t LGrfPeakAccumulator::PeakWord(float magnitude) {
    if (!(magnitude > 0.0f)) return 0;
    if (magnitude > 15.848932f) return 65535;  // above +24 dB
    const auto word = static_cast<uint16_t>(std::trunc(static_cast<double>(magnitude) * 4134.916));
    return word == 0 ? 1 : word;
}

void LGrfPeakAccumulator::AddPeaksOnly(const float* p, long long frames) {
    const int channels = channels_;
    if (8 % channels != 0) {
        for (long long f = 0; f < frames; ++f, p += channels) {
            for (int c = 0; c < channels; ++c) {
                max_[c] = p[c] > max_[c] ? p[c] : max_[c];
                min_[c] = p[c] < min_[c] ? p[c] : min_[c];
            }
        }
        return;
    }
    // For channel counts that divide 8 the frames are one flat run in eight
    // lanes, lane j holding channel j % channels: this loop vectorises.
    const long long n = frames * channels;
    float lmx[8] = {}, lmn[8] = {};
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        for (int j = 0; j < 8; ++j) {
            const float v = p[i + j];
            lmx[j] = v > lmx[j] ? v : lmx[j];
            lmn[j] = v < lmn[j] ? v : lmn[j];
        }
    }
    for (int j = 0; i < n; ++i, ++j) {
        lmx[j] = p[i] > lmx[j] ? p[i] : lmx[j];
        lmn[j] = p[i] < lmn[j] ? p[i] : lmn[j];
    }
    for (int j = 0; j < 8; ++j) {
        const int c = j % channels;
        max_[c] = std::max(max_[c], lmx[j]);
        min_[c] = std::min(min_[c], lmn[j]);
    }
}

void LGrfPeakAccumulator::Add(const float* frames, long long count) {
    while (count > 0) {
        const long long n = std::min<long long>(count, kBlockFrames - blockFill_);
        AddPeaksOnly(frames, n);
        frames += n * channels_;
        blockFill_ += static_cast<int>(n);
        count -= n;
        if (blockFill_ == kBlockFrames) FinishBlock();
    }
}

void LGrfPeakAccumulator::FinishBlock() {
    for (int c = 0; c < channels_; ++c) {
        for (uint16_t word : {PeakWord(max_[c]), PeakWord(-min_[c])}) {
            pending_.push_back(static_cast<uint8_t>(word));
            pending_.push_back(static_cast<uint8_t>(word >> 8));
        }
    }
    ResetBlock(0);
}

void LGrfPeakAccumulator::ResetBlock(int fill) {
    std::fill(max_.begin(), max_.end(), 0.0f);
    std::fill(min_.begin(), min_.end(), 0.0f);
    blockFill_ = fill;
}
