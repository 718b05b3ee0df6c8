#pragma once
#include "stream/LSoundSourceError.h"
#include "stream/LStreamHandle.h"

#include <type_traits>
#include <utility>

// Counted handle on a source. Never null: Close() leaves an LSoundSourceError.
class LSoundSource : public LStreamHandle<LSoundSourceBase, LSoundSourceError> {
public:
    using LStreamHandle::LStreamHandle;
};

// Makes a source of type T from the arguments and hands it to a new handle,
// which owns it from then on. Every stream is made this way; the adopting
// constructor remains for tests that keep a typed pointer to what they made.
template <class T, class... Args>
LSoundSource MakeSource(Args&&... args) {
    static_assert(std::is_base_of_v<LSoundSourceBase, T>, "MakeSource makes sources");
    return LSoundSource(new T(std::forward<Args>(args)...));
}
