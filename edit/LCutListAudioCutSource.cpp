#include "edit/LCutListAudioCutSource.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheSource.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

static_assert(std::endian::native == std::endian::little, ".aud holds little-endian floats read in place");

std::shared_ptr<LFile> LCutListAudioCutSource::OpenItemFile(uint16_t item) {
    auto file = std::make_shared<LFile>();
    LSoundCache::Instance().OpenItemFile(*file, item, ".aud", O_RDONLY);
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
    static const LFile kNoFile;
    const LFile& aud = aud_ ? *aud_ : kNoFile;
    LSoundCacheReadFrames(aud, buffer, position_, frames, GetChannels(), std::numeric_limits<long long>::max());
    if (gain_ != 1.0f) {
        const long long n = frames * GetChannels();
        for (long long i = 0; i < n; ++i) buffer[i] *= gain_;
    }
    position_ += frames;
}
