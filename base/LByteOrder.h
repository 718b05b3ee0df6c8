#pragma once
// LByteOrder: unsigned integers as little-endian bytes at any address, the way
// every file layout of ours (RIFF, SDF and the containers built on it) stores
// its numbers. The byte-wise form is independent of the host's byte order and
// of alignment; compilers turn it into a single load or store.
#include <cstdint>

class LByteOrder {
public:
    static uint16_t GetLE16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
    static uint32_t GetLE32(const uint8_t* p) { return GetLE16(p) | (static_cast<uint32_t>(GetLE16(p + 2)) << 16); }
    static uint64_t GetLE64(const uint8_t* p) { return GetLE32(p) | (static_cast<uint64_t>(GetLE32(p + 4)) << 32); }

    static void PutLE16(uint8_t* p, uint16_t v) {
        p[0] = static_cast<uint8_t>(v);
        p[1] = static_cast<uint8_t>(v >> 8);
    }
    static void PutLE32(uint8_t* p, uint32_t v) {
        PutLE16(p, static_cast<uint16_t>(v));
        PutLE16(p + 2, static_cast<uint16_t>(v >> 16));
    }
    static void PutLE64(uint8_t* p, uint64_t v) {
        PutLE32(p, static_cast<uint32_t>(v));
        PutLE32(p + 4, static_cast<uint32_t>(v >> 32));
    }
};
