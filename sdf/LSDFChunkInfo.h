#pragma once
// LSDFChunkInfo: where one chunk of an SDF file stands and what it is.
#include "sdf/LSDFFormat.h"

#include <cstdint>

struct LSDFChunkInfo {
    uint16_t id = 0;
    uint16_t type = 0;          // an LSDFChunkType, or one this version doesn't know
    int64_t payloadOffset = 0;  // stream offset of the first payload byte
    int64_t length = 0;         // payload bytes, without the header

    int64_t End() const { return payloadOffset + length; }
    bool IsContainer() const { return type == static_cast<uint16_t>(LSDFChunkType::Container); }
    bool Is(LSDFChunkType t) const { return type == static_cast<uint16_t>(t); }
};
