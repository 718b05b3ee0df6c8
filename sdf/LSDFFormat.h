#pragma once
// The byte layout of SDF files: a 12-byte file header ("lsdf", format
// version, file type, user version), one root container chunk, and "lsdf"
// again as end marker. Every chunk is a 12-byte header (id, type, 64-bit
// payload length) followed by its payload. All numbers are little-endian.
#include <cstddef>
#include <cstdint>

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

}  // namespace lsdf
