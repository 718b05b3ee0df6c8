#include "edit/LSoundCacheSink.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <bit>
#include <cmath>

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

// Peaks over frames of interleaved audio into mx/mn (one per channel). For
// channel counts that divide 8 the data is taken as a flat run with eight
// lanes, lane j holding channel j % channels, which vectorises.
void BlockPeaks(const float* p, long long frames, int channels, float* mx, float* mn) {
    if (8 % channels != 0) {
        for (long long f = 0; f < frames; ++f, p += channels) {
            for (int c = 0; c < channels; ++c) {
                mx[c] = p[c] > mx[c] ? p[c] : mx[c];
                mn[c] = p[c] < mn[c] ? p[c] : mn[c];
            }
        }
        return;
    }
    const long long n = frames * channels;
    float lmx[8] = {}, lmn[8] = {};
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        for (int j = 0; j < 8; ++j) {
            const float v = p[i + j];
            lmx[j] = v > lmx[j] ? v : lmx[j];
            lmn[j] = v < lmn[j] ? v : lmn[j];
        }
    }
    for (int j = 0; i < n; ++i, ++j) {
        lmx[j] = p[i] > lmx[j] ? p[i] : lmx[j];
        lmn[j] = p[i] < lmn[j] ? p[i] : lmn[j];
    }
    for (int j = 0; j < 8; ++j) {
        const int c = j % channels;
        mx[c] = std::max(mx[c], lmx[j]);
        mn[c] = std::min(mn[c], lmn[j]);
    }
}

void PutWord(std::vector<uint8_t>& out, uint16_t word) {
    out.push_back(static_cast<uint8_t>(word));
    out.push_back(static_cast<uint8_t>(word >> 8));
}

}  // namespace

uint16_t LSoundCacheSink::PeakWord(float magnitude) {
    if (!(magnitude > 0.0f)) return 0;
    if (magnitude > 15.848932f) return 65535;  // above +24 dB
    const auto word = static_cast<uint16_t>(std::trunc(static_cast<double>(magnitude) * 4134.916));
    // A block with any sound never draws as silence.
    return word == 0 ? 1 : word;
}

LSoundCacheSink::LSoundCacheSink(uint16_t number, int sampleRate, int channels, long long* length)
    : LSoundSinkBase(sampleRate, channels), number_(number), length_(length) {
    LSoundCache::Instance().IncRef(number_);
    max_.assign(GetChannels(), 0.0f);
    min_.assign(GetChannels(), 0.0f);
    if (number_ > kSoundCacheItemLast || sampleRate < 1 || !OpenDataFile(aud_, number_, ".aud") ||
        !OpenDataFile(grf_, number_, ".grf")) {
        SetFailed();
        return;
    }
    audWriter_ = std::make_unique<LFileWriteBehind>(aud_.Fd());
}

LSoundCacheSink::~LSoundCacheSink() {
    if (blockFill_ > 0) WriteGrfFrame();
    if (!grfBuffer_.empty() && grf_.IsOpen()) grf_.WriteAll(grfBuffer_.data(), grfBuffer_.size());
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
    Accumulate(buffer, frames);
    if (!grfBuffer_.empty()) {
        grf_.WriteAll(grfBuffer_.data(), grfBuffer_.size());
        grfBuffer_.clear();
    }
}

void LSoundCacheSink::Accumulate(const float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0) {
        const long long n = std::min<long long>(frames, kGrfBlockFrames - blockFill_);
        BlockPeaks(buffer, n, channels, max_.data(), min_.data());
        blockFill_ += static_cast<int>(n);
        buffer += n * channels;
        frames -= n;
        if (blockFill_ == kGrfBlockFrames) WriteGrfFrame();
    }
}

void LSoundCacheSink::WriteGrfFrame() {
    for (int c = 0; c < GetChannels(); ++c) {
        PutWord(grfBuffer_, PeakWord(max_[c]));
        PutWord(grfBuffer_, PeakWord(-min_[c]));
        max_[c] = 0.0f;
        min_[c] = 0.0f;
    }
    blockFill_ = 0;
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
