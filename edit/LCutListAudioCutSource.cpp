#include "edit/LCutListAudioCutSource.h"

#include "edit/LSoundCache.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, ".aud holds little-endian floats read in place");

std::shared_ptr<LFile> LCutListAudioCutSource::OpenItemFile(uint16_t item) {
    auto file = std::make_shared<LFile>();
    const std::string path = LSoundCache::Instance().GetFilePath(item, ".aud");
    if (!path.empty()) file->Open(path.c_str(), O_RDONLY);
    return file;
}

LCutListAudioCutSource::LCutListAudioCutSource(uint16_t item, int sampleRate, int channels, float gain)
    : LCutListAudioCutSource(OpenItemFile(item), sampleRate, channels, gain) {}

LCutListAudioCutSource::LCutListAudioCutSource(std::shared_ptr<LFile> aud, int sampleRate, int channels,
                                               float gain)
    : LSoundSourceBase(sampleRate, channels, kPeakUnbounded),
      aud_(std::move(aud)),
      frameBytes_(GetChannels() * 4LL),
      gain_(gain) {}

long long LCutListAudioCutSource::GetEndSample() const {
    const int64_t size = aud_->IsOpen() ? aud_->Size() : 0;
    return size > 0 ? size / frameBytes_ : 0;
}

void LCutListAudioCutSource::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    const long long channels = GetChannels();
    float* out = buffer;
    long long at = position_, left = frames;
    if (at < 0) {
        const long long zeros = std::min(left, -at);
        std::fill_n(out, zeros * channels, 0.0f);
        out += zeros * channels;
        at += zeros;
        left -= zeros;
    }
    if (left > 0) {
        const size_t bytes = static_cast<size_t>(left * frameBytes_);
        int64_t got = aud_->IsOpen() ? aud_->ReadAt(out, bytes, at * frameBytes_) : 0;
        got = std::max<int64_t>(got, 0);
        // Past the end of the file (or a file cut short): silence.
        std::memset(reinterpret_cast<char*>(out) + got, 0, bytes - static_cast<size_t>(got));
        if (gain_ != 1.0f) {
            const long long n = got / 4;
            for (long long i = 0; i < n; ++i) out[i] *= gain_;
        }
    }
    position_ += frames;
}
