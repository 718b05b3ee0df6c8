#include "stream/LSPConvChannels.h"

#include "stream/LSRCConvChannels.h"

LSoundSource LSPConvChannels::OpenSource(const LSoundSource& source) const {
    const int in = source->GetChannels();
    const int out = channels_;
    if (in == out) return source;
    if (in == 8 && out == 6) return LSoundSource(new LSRCConvChannels71To51(source));
    if (in == 4 && out == 2) return LSoundSource(new LSRCConvChannelsQuadStereo(source));
    if (in == 6 && out == 2) return LSoundSource(new LSRCConvChannels51Stereo(source));
    if (in == 8 && out == 2) return LSoundSource(new LSRCConvChannels71Stereo(source));
    if (in == 6 && out == 1) return LSoundSource(new LSRCConvChannels51Mono(source));
    if (in == 8 && out == 1) return LSoundSource(new LSRCConvChannels71Mono(source));
    if (out == 1) return LSoundSource(new LSRCConvChannelsNMono(source));
    return LSoundSource(new LSRCConvChannelsN(source, out));
}
