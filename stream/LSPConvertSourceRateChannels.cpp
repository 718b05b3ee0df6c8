#include "stream/LSPConvertSourceRateChannels.h"

#include "stream/LSPConvChannels.h"
#include "stream/LSPConvertRate.h"

void LSPConvertSourceRateChannels(int rate, unsigned char channels, LSoundSource& source) {
    if (source->GetChannels() > channels) source = LSPConvChannels(channels).OpenSource(source);
    const int target = rate > 0 ? rate : 44100;
    if (source->GetSampleRate() != target) source = LSPConvertRate(target).OpenSource(source);
    if (source->GetChannels() != channels) source = LSPConvChannels(channels).OpenSource(source);
}
