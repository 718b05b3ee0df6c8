#include "stream/LSoundSinkBase.h"

LSoundSinkBase::LSoundSinkBase(int sampleRate, int channels)
    : sampleRate_(sampleRate), channels_(static_cast<unsigned char>(channels)) {
    (void)reserved_;
    if (channels < 1 || channels > 255) {
        channels_ = 1;
        SetFailed();
    }
}
