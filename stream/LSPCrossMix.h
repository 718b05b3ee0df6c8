#pragma once
#include "stream/LSoundSource.h"

// Cross-mix: over the first mixFrames frames from where the stream is opened,
// fades linearly from `second` into the wrapped source, so that a joined piece
// of audio starts without a click. Past the mix the wrapped source passes
// through unchanged. `second` is brought to the wrapped source's format.
struct LSPCrossMix {
    LSoundSource second;
    long long mixFrames = 0;

    LSoundSource OpenSource(const LSoundSource& source) const;
};
