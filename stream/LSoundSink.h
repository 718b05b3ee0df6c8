#pragma once
#include "stream/LSoundSinkError.h"
#include "stream/LStreamHandle.h"

// Counted handle on a sink. Never null: Close() leaves an LSoundSinkError.
class LSoundSink : public LStreamHandle<LSoundSinkBase, LSoundSinkError> {
public:
    using LStreamHandle::LStreamHandle;
};
