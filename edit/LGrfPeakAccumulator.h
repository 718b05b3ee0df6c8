#pragma once
// LGrfPeakAccumulator: turns interleaved frames into the records of a cache
// item's ".grf" peak file. One record per 256 frames holds, for each channel,
// a positive-peak word and a negative-peak word (unsigned 16-bit, little
// endian). Max and min of a block start at 0.0, so max >= 0 >= min.
#include <cstdint>
#include <vector>

class LGrfPeakAccumulator {
public:
    static constexpr int kBlockFrames = 256;

    explicit LGrfPeakAccumulator(int channels);

    // One peak word: 0 for exactly 0; 65535 above +24 dB (15.848932); else
    // trunc(m * 4134.916), with 1 in place of 0 so that a block with any
    // sound never draws as silence.
    static uint16_t PeakWord(float magnitude);

    // Counts frames into the open block; each block that fills becomes a
    // record in Pending().
    void Add(const float* frames, long long count);
    // Folds frames into the open block's peaks without counting them: for
    // audio of the block that is read back from the file after a seek.
    void AddPeaksOnly(const float* frames, long long count);
    // Ends the open block as a record, also when it is only partly filled.
    void FinishBlock();
    // Forgets the open block's peaks; `fill` frames of it stand before the
    // position already.
    void ResetBlock(int fill);

    int BlockFill() const { return blockFill_; }
    // Whole records waiting to be written; the caller writes and clears them.
    std::vector<uint8_t>& Pending() { return pending_; }

private:
    int channels_;
    std::vector<float> max_;
    std::vector<float> min_;
    int blockFill_ = 0;
    std::vector<uint8_t> pending_;
};
