#include "stream/LSilenceSourceBase.h"

#include "stream/LFrameArithmetic.h"

#include <algorithm>

void LSilenceSourceBase::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    std::fill_n(buffer, frames * GetChannels(), 0.0f);
    position_ = FrameAdd(position_, frames);
}
