#include "stream/LSoundSourceBase.h"

#include <cerrno>
#include <ctime>

LSoundSourceBase::LSoundSourceBase(int sampleRate, int channels, float peak)
    : sampleRate_(44100), channels_(1), peak_(peak) {
    SetFormat(sampleRate, channels);
}

void LSoundSourceBase::SetFormat(int sampleRate, int channels) {
    sampleRate_ = sampleRate;
    channels_ = static_cast<unsigned char>(channels);
    if (sampleRate < 1) {
        sampleRate_ = 44100;
        error_ = kSourceBadFormat;
    }
    if (channels < 1 || channels > 255) {
        channels_ = 1;
        error_ = kSourceBadFormat;
    }
}

void LSoundSourceBase::WaitForStreamingData(int milliseconds) {
    if (milliseconds <= 0) return;
    timespec left{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
