#pragma once
#include "stream/LSoundSource.h"

// Rewrites `source` so that it delivers `rate` Hz and `channels` channels.
// Channels are reduced before the rate conversion (less to filter) and added
// after it. A rate of 0 or less means 44100. A source in error keeps its rate
// but still gets the channel count asked for, so its frames have the size the
// caller expects.
void LSPConvertSourceRateChannels(int rate, unsigned char channels, LSoundSource& source);
