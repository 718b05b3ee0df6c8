#include "edit/LSoundCacheSink.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <bit>

static_assert(std::endian::native == std::endian::little, ".aud and .grf are written in the host's byte order");

bool LSoundCacheItemDataFileCreate(LFile& file, uint16_t number, const char* extension) {
    if (!LSoundCache::Instance().OpenItemFile(file, number, extension, O_RDWR | O_CREAT | O_TRUNC)) return false;
    ::flock(file.Fd(), LOCK_SH | LOCK_NB);
    return true;
}

LSoundCacheSink::LSoundCacheSink(uint16_t number, int sampleRate, int channels, long long* length)
    : LSoundSinkBase(sampleRate, channels), number_(number), length_(length), peaks_(GetChannels()) {
    LSoundCache::Instance().IncRef(number_);
    if (number_ > kSoundCacheItemLast || sampleRate < 1 || !LSoundCacheItemDataFileCreate(aud_, number_, ".aud") ||
        !LSoundCacheItemDataFileCreate(grf_, number_, ".grf")) {
        SetFailed();
        return;
    }
    audWriter_ = std::make_unique<LFileWriteBehind>(aud_.Fd());
}

LSoundCacheSink::~LSoundCacheSink() {
    if (peaks_.BlockFill() > 0) peaks_.FinishBlock();
    WritePendingPeaks();
    // A short write (disk full) shows as a short item; the space check before
    // the import leaves a margin for exactly that.
    if (audWriter_) audWriter_->Finish();
    if (length_) *length_ = GetPositionSample();
    if (number_ <= kSoundCacheItemLast && !LSoundCacheItemInfoWriteNew(number_, GetSampleRate(), GetChannels())) {
        SetFailed();
    }
    aud_.Close();
    grf_.Close();
    LSoundCache::Instance().DecRef(number_);
}

void LSoundCacheSink::Write(const float* buffer, long long frames) {
    if (frames <= 0) return;
    AdvancePosition(frames);
    if (!audWriter_) return;
    audWriter_->Write(buffer, static_cast<size_t>(frames) * GetChannels() * sizeof(float));
    peaks_.Add(buffer, frames);
    WritePendingPeaks();
}

void LSoundCacheSink::WritePendingPeaks() {
    std::vector<uint8_t>& records = peaks_.Pending();
    if (records.empty()) return;
    if (grf_.IsOpen()) grf_.WriteAll(records.data(), records.size());
    records.clear();
}
