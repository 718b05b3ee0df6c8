#pragma once
#include "stream/LSoundProcessBase.h"

#include <cstddef>
#include <vector>

// Memory of what was just played, owned by the player and shared by every
// chain it opens, so that it outlives the stream object that filled it.
struct LCrossFadeRing {
    static constexpr size_t kSize = 0x200000;  // floats

    std::vector<float> samples = std::vector<float>(kSize, 0.0f);
    size_t writeIndex = 0;
    // Set by the player when it jumps; the next Read fades from the ring.
    bool fadePending = false;
};

// Removes the click of a jump inside a running stream: after a jump, the next
// block fades linearly from what the ring holds at that place of the timeline
// to the new audio. Every block read is also written to the ring.
class LSRCCrossFade : public LSoundProcessBase {
public:
    static constexpr int kMaxChannels = 32;
    static constexpr size_t kBufferFloats = 0x40000;

    LSRCCrossFade(const LSoundSource& inner, LCrossFadeRing* ring);

    void Read(float* buffer, long long frames) override;
    void Seek(long long frame) override;

private:
    void ReadBlock(float* out, long long frames, long long done, long long total, bool fade);

    LCrossFadeRing* ring_;
    std::vector<float> buffer_;
};

struct LCrossFadeSource {
    // `ring` belongs to the caller and must outlive the stream; null gives a
    // stream that delivers silence without reading.
    static void OpenSource(LSoundSource& result, const LSoundSource& source, LCrossFadeRing* ring) {
        result = MakeSource<LSRCCrossFade>(source, ring);
    }
};
