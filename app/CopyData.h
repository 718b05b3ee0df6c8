#pragma once
// The record in which a command line travels: from a second instance to the
// first over the single-instance socket, and inside one instance from start-up
// to the first argument run. Its layout is a wire format and must not change:
// host byte order, exactly 33284 bytes, no padding.
#include <cstddef>
#include <cstdint>
#include <vector>

struct CopyData {
    static constexpr int kMaxArguments = 128;
    static constexpr int kSlotSize = 260;  // 259 characters and a NUL
    static constexpr std::size_t kWireSize = 33284;

    int32_t count;                        // arguments in use, 0..128
    char slots[kMaxArguments][kSlotSize];  // slot 0: the sender's program path

    // Fills from an argument vector: at most 128 arguments, each cut to 259
    // characters. Unused slots are zeroed so that nothing stale leaves the process.
    void Fill(int argc, const char* const* argv);

    // A record read from outside: true when its count is one that a sender can
    // produce (1..128). Every slot in use is NUL-terminated afterwards, so a
    // garbled record can never make a reader run past its slot.
    bool Sanitize();

    // Pointers into the slots in use, for an argument-vector interface.
    std::vector<const char*> ArgumentPointers() const;
};

static_assert(sizeof(CopyData) == CopyData::kWireSize, "CopyData is a wire format");
static_assert(offsetof(CopyData, slots) == 4, "CopyData is a wire format");
