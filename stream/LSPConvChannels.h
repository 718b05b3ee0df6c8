#pragma once
#include "stream/LSoundSource.h"

// Describes a change of channel count; OpenSource() picks the mix for the
// pair of layouts (5.1 and 7.1 fold-downs, quad to stereo, mean to mono,
// otherwise channel c from input channel c % inputChannels).
class LSPConvChannels {
public:
    explicit LSPConvChannels(int channels) : channels_(channels) {}

    int GetChannels() const { return channels_; }

    // A source that already has the channel count is returned as it is. A source
    // in error is still wrapped, so a reader sized for the target layout never
    // gets more floats per frame than it asked for; the wrapper carries error 2.
    LSoundSource OpenSource(const LSoundSource& source) const;

private:
    int channels_;
};
