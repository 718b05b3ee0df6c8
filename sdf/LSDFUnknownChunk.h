#pragma once
// LSDFUnknownChunk: a chunk that the loading code didn't understand, kept
// whole so that saving writes it back unchanged and in its old place.
#include <cstdint>
#include <vector>

struct LSDFUnknownChunk {
    uint16_t id = 0;
    uint16_t type = 0;
    int ordinal = 0;  // its index among all chunks of its container when read
    std::vector<uint8_t> payload;

    bool operator==(const LSDFUnknownChunk&) const = default;
};

// In file order, so ordinals rise along the list.
using LSDFUnknownChunkList = std::vector<LSDFUnknownChunk>;
