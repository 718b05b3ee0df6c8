#pragma once
// RIFF chunk headers and the little-endian field access every RIFF reader and
// writer shares. Chunk ids are compared as four raw bytes, never as strings,
// since ids may hold any byte value.
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

inline uint16_t GetLE16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t GetLE32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}
inline void PutLE16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutLE32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
    p[3] = static_cast<uint8_t>(v >> 24);
}

inline bool IdIs(const uint8_t* p, const char (&id)[5]) { return std::memcmp(p, id, 4) == 0; }
inline bool IdIs(const char* p, const char (&id)[5]) { return std::memcmp(p, id, 4) == 0; }

// Bodies are padded to even length; this is the distance from the end of a
// header to the next header.
inline uint64_t EvenLength(uint32_t length) { return (static_cast<uint64_t>(length) + 1) & ~uint64_t{1}; }

// Parses / builds the 8-byte chunk header.
inline RIFF_HDR ParseHeader(const uint8_t* p) {
    RIFF_HDR h;
    std::memcpy(h.id, p, 4);
    h.length = GetLE32(p + 4);
    return h;
}
inline void PutHeader(uint8_t* p, const char (&id)[5], uint32_t length) {
    std::memcpy(p, id, 4);
    PutLE32(p + 4, length);
}

}  // namespace riff
