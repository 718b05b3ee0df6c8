#pragma once
#include "stream/LSoundSinkError.h"
#include "stream/LStreamHandle.h"

#include <type_traits>
#include <utility>

// Counted handle on a sink. Never null: Close() leaves an LSoundSinkError.
class LSoundSink : public LStreamHandle<LSoundSinkBase, LSoundSinkError> {
public:
    using LStreamHandle::LStreamHandle;
};

// Makes a sink of type T from the arguments and hands it to a new handle, as
// MakeSource does for sources.
template <class T, class... Args>
LSoundSink MakeSink(Args&&... args) {
    static_assert(std::is_base_of_v<LSoundSinkBase, T>, "MakeSink makes sinks");
    return LSoundSink(new T(std::forward<Args>(args)...));
}
