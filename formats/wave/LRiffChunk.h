#pragma once
// RIFF chunk headers as every RIFF reader and writer builds and parses them.
// Chunk ids are compared as four raw bytes, never as strings, since ids may
// hold any byte value; numbers are little-endian (LByteOrder).
#include "base/LByteOrder.h"

#include <cstdint>
#include <cstring>

// Chunk id and 32-bit little-endian body length.
struct RIFF_HDR {
    char id[4];
    uint32_t length;
};

// A chunk header followed by its form type or list type (`RIFF`/`WAVE`, `LIST`/`INFO`).
struct RIFF_HDR_WITH_ID {
    char id[4];
    uint32_t length;
    char type[4];
};

namespace riff {

inline bool IdIs(const uint8_t* p, const char (&id)[5]) { return std::memcmp(p, id, 4) == 0; }
inline bool IdIs(const char* p, const char (&id)[5]) { return std::memcmp(p, id, 4) == 0; }

// Bodies are padded to even length; this is the distance from the end of a
// header to the next header.
inline uint64_t EvenLength(uint32_t length) { return (static_cast<uint64_t>(length) + 1) & ~uint64_t{1}; }

// Parses / builds the 8-byte chunk header.
inline RIFF_HDR ParseHeader(const uint8_t* p) {
    RIFF_HDR h;
    std::memcpy(h.id, p, 4);
    h.length = LByteOrder::GetLE32(p + 4);
    return h;
}
inline void PutHeader(uint8_t* p, const char (&id)[5], uint32_t length) {
    std::memcpy(p, id, 4);
    LByteOrder::PutLE32(p + 4, length);
}

}  // namespace riff
