#pragma once
#include "stream/LSoundSourceError.h"
#include "stream/LStreamHandle.h"

// Counted handle on a source. Never null: Close() leaves an LSoundSourceError.
class LSoundSource : public LStreamHandle<LSoundSourceBase, LSoundSourceError> {
public:
    using LStreamHandle::LStreamHandle;
};
