#include "stream/LSPConvChannels.h"

#include "stream/LSRCConvChannels.h"

LSoundSource LSPConvChannels::OpenSource(const LSoundSource& source) const {
    const int in = source->GetChannels();
    const int out = channels_;
    if (in == out) return source;
    if (in == 8 && out == 6) return MakeSource<LSRCConvChannels71To51>(source);
    if (in == 4 && out == 2) return MakeSource<LSRCConvChannelsQuadStereo>(source);
    if (in == 6 && out == 2) return MakeSource<LSRCConvChannels51Stereo>(source);
    if (in == 8 && out == 2) return MakeSource<LSRCConvChannels71Stereo>(source);
    if (in == 6 && out == 1) return MakeSource<LSRCConvChannels51Mono>(source);
    if (in == 8 && out == 1) return MakeSource<LSRCConvChannels71Mono>(source);
    if (out == 1) return MakeSource<LSRCConvChannelsNMono>(source);
    return MakeSource<LSRCConvChannelsN>(source, out);
}
