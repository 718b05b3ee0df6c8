#include "edit/LAudFileSource.h"

#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSource.h"
#include "stream/LSoundSourceError.h"

LSoundSource LAudFileSource::Open(const std::string& path) {
    LFile aud;
    if (!aud.OpenRead(path.c_str())) return MakeSource<LSoundSourceError>(kSourceNoFile);
    int rate = 0, channels = 0;
    if (!LSoundCacheItemAudioInfoGet(path + "info", rate, channels) || channels > 255) {
        return MakeSource<LSoundSourceError>(kSourceCacheNoCompanion);
    }
    return MakeSource<LAudFileSource>(std::move(aud), rate, channels);
}

LAudFileSource::LAudFileSource(LFile aud, int sampleRate, int channels)
    : LSoundSourceBase(sampleRate, channels, kPeakUnbounded), aud_(std::move(aud)) {
    const int64_t size = aud_.Size();
    end_ = size > 0 ? size / (static_cast<int64_t>(GetChannels()) * 4) : 0;
}

void LAudFileSource::Read(float* buffer, long long frames) {
    if (frames <= 0) return;
    LSoundCacheReadFrames(aud_, buffer, position_, frames, GetChannels(), end_);
    position_ += frames;
}
