#include "edit/LSoundCacheSource.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, ".aud holds little-endian floats read in place");

LSoundCacheSource::LSoundCacheSource(uint16_t number, int sampleRate, int channels)
    : LSoundSourceBase(sampleRate, channels, kPeakUnbounded), number_(number) {
    LSoundCache::Instance().IncRef(number_);
    if (LSoundCache::Instance().OpenItemFile(aud_, number_, ".aud", O_RDONLY)) {
        const int64_t size = aud_.Size();
        end_ = size > 0 ? size / (static_cast<int64_t>(GetChannels()) * 4) : 0;
    }
}

LSoundSource LSoundCacheSource::Open(uint16_t number) {
    int rate = 0, channels = 0;
    const bool haveInfo =
        LSoundCacheItemAudioInfoGet(LSoundCache::Instance().GetFilePath(number, ".audinfo"), rate, channels) &&
        rate > 0 && channels > 0 && channels <= 255;
    LSoundSource handle = MakeSource<LSoundCacheSource>(number, haveInfo ? rate : 44100, haveInfo ? channels : 1);
    auto& source = static_cast<LSoundCacheSource&>(*handle);  // just made above
    if (!source.aud_.IsOpen()) {
        source.SetError(kSourceNoFile);
    } else if (!haveInfo) {
        source.SetError(kSourceCacheNoCompanion);
        source.end_ = 0;
    }
    return handle;
}

LSoundCacheSource::~LSoundCacheSource() {
    aud_.Close();
    LSoundCache::Instance().DecRef(number_);
}

void LSoundCacheReadFrames(const LFile& aud, float* out, long long at, long long frames, int channels,
                           long long end) {
    if (at < 0) {
        const long long zeros = std::min(frames, -at);
        std::fill_n(out, zeros * channels, 0.0f);
        out += zeros * channels;
        at += zeros;
        frames -= zeros;
    }
    if (frames > 0 && at < end && aud.IsOpen()) {
        const long long inFile = std::min(frames, end - at);
        const size_t bytes = static_cast<size_t>(inFile * channels * 4);
        int64_t got = aud.ReadAt(out, bytes, at * channels * 4);
        if (got < 0) got = 0;
        // A file cut short (a full disk, a deleted item) reads as silence where it ends.
        std::memset(reinterpret_cast<char*>(out) + got, 0, bytes - static_cast<size_t>(got));
        out += inFile * channels;
        frames -= inFile;
    }
    if (frames > 0) std::fill_n(out, frames * channels, 0.0f);
}

void LSoundCacheSource::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    LSoundCacheReadFrames(aud_, buffer, position_, frames, GetChannels(), end_);
    position_ += frames;
}
