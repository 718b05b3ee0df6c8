#pragma once
// Milliseconds of the monotonic clock as a 32-bit tick: callers compare
// differences in unsigned 32-bit arithmetic, so the wrap every 49 days is
// harmless.
#include <chrono>
#include <cstdint>

inline uint32_t LSteadyMilliseconds() {
    using namespace std::chrono;
    return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
