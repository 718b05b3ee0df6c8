#pragma once
// The byte layout of SDF files: a 12-byte file header ("lsdf", format
// version, file type, user version), one root container chunk, and "lsdf"
// again as end marker. Every chunk is a 12-byte header (id, type, 64-bit
// payload length) followed by its payload. All numbers are little-endian.
#include <bit>
#include <cstdint>
#include <cstring>

enum class LSDFChunkType : uint16_t {
    Container = 0,
    Bool = 1,    // 1 byte, 0 or 1
    Int = 2,     // 4 bytes, signed
    Int64 = 3,   // 8 bytes, signed
    Float = 4,   // 4 bytes, IEEE 754
    // 5 is unused.
    String = 6,  // the bytes and their NUL
    Blob = 7,    // raw bytes
    // 8 is unused.
    Date = 9,    // signed 64-bit seconds since 1970-01-01 00:00 UTC
};

namespace lsdf {

inline constexpr char kMagic[4] = {'l', 's', 'd', 'f'};
inline constexpr uint16_t kFormatVersion = 1;
inline constexpr size_t kFileHeaderSize = 12;
inline constexpr size_t kChunkHeaderSize = 12;
inline constexpr size_t kEndMarkerSize = 4;

inline void PutU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutU64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint16_t GetU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t GetU32(const uint8_t* p) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}
inline uint64_t GetU64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}

}  // namespace lsdf
