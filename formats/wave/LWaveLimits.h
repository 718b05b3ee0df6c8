#pragma once
// The size boundaries of the Wave layout for files beyond 4 GiB. They are
// parameters rather than constants so that tests can cross every boundary with
// files of a few kilobytes; production code uses the defaults.
#include <cstdint>

struct LWaveLimits {
    // Body bytes of the first `data` chunk; keeps the RIFF length at or below 0xFFFFFFFE.
    uint64_t firstDataChunkMax = 0xFFFFFFD8u;
    // Body bytes of every further `data` chunk.
    uint64_t laterDataChunkMax = 0xFFFFFFF0u;
    // From this file size on, the RIFF length can't describe the file and the
    // tag scan walks chunks up to the end of the file instead.
    uint64_t bigFileSize = 0x100000008ull;
    // The largest RIFF length written by a tag rewrite.
    uint32_t riffLengthMax = 0xFFFFFFFEu;

    static const LWaveLimits& Default() {
        static const LWaveLimits limits;
        return limits;
    }
};

// A `data` length at or above this means "not known yet": the file is still
// being written and its size tells how far the samples go.
inline constexpr uint32_t kWaveUnknownDataLength = 0xFFFFFF01u;
