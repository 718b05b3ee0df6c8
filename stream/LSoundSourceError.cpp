#include "stream/LSoundSourceError.h"

#include <algorithm>

LSoundSourceError::LSoundSourceError(unsigned char error, int sampleRate, int channels)
    : LSoundSourceBase(sampleRate, channels, kPeakUnbounded) {
    SetError(error);
}

void LSoundSourceError::Read(float* buffer, long long frames) {
    if (frames > 0) std::fill_n(buffer, frames * GetChannels(), 0.0f);
}
