#include "stream/LSRCCrossFade.h"

#include <algorithm>

LSRCCrossFade::LSRCCrossFade(const LSoundSource& inner, LCrossFadeRing* ring)
    : LSoundProcessBase(inner), ring_(ring) {
    if (ring_ && GetChannels() <= kMaxChannels) buffer_.resize(kBufferFloats);
}

void LSRCCrossFade::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    const int channels = GetChannels();
    if (channels > kMaxChannels) {
        inner_->Read(buffer, frames);
        if (ring_) ring_->fadePending = false;
        return;
    }
    if (ring_ == nullptr) {
        // Nothing to remember into: give silence rather than leave the
        // caller's buffer as it was.
        std::fill_n(buffer, frames * channels, 0.0f);
        return;
    }
    const bool fade = ring_->fadePending;
    const long long chunk = static_cast<long long>(kBufferFloats) / channels;
    for (long long done = 0; done < frames;) {
        const long long count = std::min(chunk, frames - done);
        ReadBlock(buffer + done * channels, count, done, frames, fade);
        done += count;
    }
    ring_->fadePending = false;
}

// Reads `frames` frames that stand at `done` within a request of `total`,
// fades them in over the whole request if asked, and records them in the ring.
void LSRCCrossFade::ReadBlock(float* out, long long frames, long long done, long long total, bool fade) {
    const int channels = GetChannels();
    const size_t floats = static_cast<size_t>(frames * channels);
    float* block = buffer_.data();
    inner_->Read(block, frames);

    std::vector<float>& ring = ring_->samples;
    const size_t size = LCrossFadeRing::kSize;
    size_t w = ring_->writeIndex % size;
    if (fade) {
        const double step = 1.0 / static_cast<double>(total);
        size_t r = w;
        for (long long i = 0; i < frames; ++i) {
            const float b = static_cast<float>(static_cast<double>(done + i) * step);
            const float a = 1.0f - b;
            for (int c = 0; c < channels; ++c) {
                float& v = block[i * channels + c];
                v = ring[r] * a + v * b;
                if (++r == size) r = 0;
            }
        }
    }
    const size_t first = std::min(floats, size - w);
    std::copy_n(block, first, ring.begin() + static_cast<long>(w));
    std::copy_n(block + first, floats - first, ring.begin());
    ring_->writeIndex = (w + floats) % size;
    std::copy_n(block, floats, out);
}

void LSRCCrossFade::Seek(long long frame) {
    const long long old = inner_->GetPositionSample();
    inner_->Seek(frame);
    if (ring_ == nullptr) return;
    // The ring follows the timeline. Its size is a power of two, so unsigned
    // wrap-around keeps the arithmetic exact for any distance.
    static_assert((LCrossFadeRing::kSize & (LCrossFadeRing::kSize - 1)) == 0);
    const unsigned long long distance = static_cast<unsigned long long>(frame) - static_cast<unsigned long long>(old);
    const unsigned long long move = distance * static_cast<unsigned long long>(GetChannels());
    ring_->writeIndex = static_cast<size_t>((ring_->writeIndex + move) & (LCrossFadeRing::kSize - 1));
}
