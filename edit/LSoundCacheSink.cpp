#include "edit/LSoundCacheSink.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <bit>

static_assert(std::endian::native == std::endian::little, ".aud and .grf are written in the host's byte order");

namespace {

// Opens one of the item's data files and shares a lock on it while it is
// written, so that another instance's cleanup can see it is in use.
bool OpenDataFile(LFile& file, uint16_t number, const char* extension) {
    const std::string path = LSoundCache::Instance().GetFilePath(number, extension);
    if (path.empty() || !file.Open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC)) return false;
    ::flock(file.Fd(), LOCK_SH | LOCK_NB);
    return true;
}

}  // namespace

LSoundCacheSink::LSoundCacheSink(uint16_t number, int sampleRate, int channels, long long* length)
    : LSoundSinkBase(sampleRate, channels), number_(number), length_(length), peaks_(GetChannels()) {
    LSoundCache::Instance().IncRef(number_);
    if (number_ > kSoundCacheItemLast || sampleRate < 1 || !OpenDataFile(aud_, number_, ".aud") ||
        !OpenDataFile(grf_, number_, ".grf")) {
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
    if (number_ <= kSoundCacheItemLast) WriteAudInfo();
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

void LSoundCacheSink::WriteAudInfo() {
    LFile info;
    const std::string path = LSoundCache::Instance().GetFilePath(number_, ".audinfo");
    // Emptied only once the lock is held, so a reader never sees it half-made.
    if (path.empty() || !info.Open(path.c_str(), O_RDWR | O_CREAT)) {
        SetFailed();
        return;
    }
    flocktimed(info.Fd(), LOCK_EX, soundcacheinfo::kLockMilliseconds);
    const std::vector<uint8_t> bytes = LSoundCacheItemInfoCreate(GetSampleRate(), GetChannels());
    if (!info.Truncate(0) || !info.WriteAllAt(bytes.data(), bytes.size(), 0)) SetFailed();
}
