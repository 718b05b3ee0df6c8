#include "edit/LCutListAudioSink.h"

#include "edit/LCutListAudio.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSink.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <bit>

static_assert(std::endian::native == std::endian::little, ".aud and .grf are written in the host's byte order");

namespace {

// Like the cache's own sink: created or emptied, and share-locked while it is
// written so that another instance's cleanup sees it in use.
bool OpenDataFile(LFile& file, uint16_t item, const char* extension) {
    const std::string path = LSoundCache::Instance().GetFilePath(item, extension);
    if (path.empty() || !file.Open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC)) return false;
    ::flock(file.Fd(), LOCK_SH | LOCK_NB);
    return true;
}

long long BlockStart(long long frame) {
    return frame / LCutListAudioSink::kGrfBlockFrames * LCutListAudioSink::kGrfBlockFrames;
}

}  // namespace

LCutListAudioSink::LCutListAudioSink(LCutListAudio* target, int sampleRate, int channels)
    : LSoundSinkBase(sampleRate, channels), target_(target) {
    max_.assign(GetChannels(), 0.0f);
    min_.assign(GetChannels(), 0.0f);
    const uint16_t item = LSoundCache::Instance().ItemCreateNewAndIncRef();
    if (item > kSoundCacheItemLast) {
        SetFailed();
        return;
    }
    segment_ = LCutListSegment::AdoptItem(item, 0, 0);
    if (!OpenDataFile(aud_, item, ".aud") || !OpenDataFile(grf_, item, ".grf")) {
        aud_.Close();
        grf_.Close();
        SetFailed();
    }
}

LCutListAudioSink::~LCutListAudioSink() {
    if (!IsOpen()) return;  // nothing was made: the target keeps what it had
    FinishOpenBlock();
    segment_.length = written_ - segment_.start;
    target_->SetSingleCutListSegment(segment_, GetSampleRate(), GetChannels());
    WriteAudInfo();
    aud_.Close();
    grf_.Close();
    segment_.unknownChunks.clear();
    // segment_ goes now and with it the sink's reference; the target's stays.
}

void LCutListAudioSink::Write(const float* buffer, long long frames) {
    if (frames <= 0) return;
    if (IsOpen()) {
        aud_.WriteAll(buffer, static_cast<size_t>(frames) * GetChannels() * 4);
        Accumulate(buffer, frames);
        FlushGrf();
    }
    AdvancePosition(frames);
    written_ = std::max(written_, GetPositionSample());
}

void LCutListAudioSink::Seek(long long frame) {
    frame = std::max(frame, 0LL);
    if (!IsOpen()) {
        SetPositionSample(frame);
        return;
    }
    FinishOpenBlock();
    SetPositionSample(frame);
    const long long channels = GetChannels();
    aud_.Seek(frame * channels * 4);
    grf_.Seek(frame / kGrfBlockFrames * channels * 4);
    std::fill(max_.begin(), max_.end(), 0.0f);
    std::fill(min_.begin(), min_.end(), 0.0f);
    blockFill_ = 0;
    // The frames of the block before the new position stay in .aud; they
    // count into the block's record as before.
    AccumulateFromFile(BlockStart(frame), std::min(frame, written_));
    blockFill_ = static_cast<int>(frame - BlockStart(frame));
}

long long LCutListAudioSink::CommitUpTo(long long position) {
    if (!IsOpen()) return 0;
    segment_.length = std::max(0LL, std::min(position - blockFill_, written_) - segment_.start);
    target_->SetSingleCutListSegment(segment_, GetSampleRate(), GetChannels());
    return segment_.length;
}

void LCutListAudioSink::AccumulatePeaks(const float* buffer, long long frames) {
    const int channels = GetChannels();
    if (8 % channels != 0) {
        for (long long f = 0; f < frames; ++f, buffer += channels) {
            for (int c = 0; c < channels; ++c) {
                max_[c] = std::max(max_[c], buffer[c]);
                min_[c] = std::min(min_[c], buffer[c]);
            }
        }
        return;
    }
    // For channel counts that divide 8 the frames are one flat run in eight
    // lanes, lane j holding channel j % channels: this loop vectorises.
    const long long n = frames * channels;
    float lmx[8] = {}, lmn[8] = {};
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        for (int j = 0; j < 8; ++j) {
            const float v = buffer[i + j];
            lmx[j] = v > lmx[j] ? v : lmx[j];
            lmn[j] = v < lmn[j] ? v : lmn[j];
        }
    }
    for (int j = 0; i < n; ++i, ++j) {
        lmx[j] = buffer[i] > lmx[j] ? buffer[i] : lmx[j];
        lmn[j] = buffer[i] < lmn[j] ? buffer[i] : lmn[j];
    }
    for (int j = 0; j < 8; ++j) {
        max_[j % channels] = std::max(max_[j % channels], lmx[j]);
        min_[j % channels] = std::min(min_[j % channels], lmn[j]);
    }
}

void LCutListAudioSink::Accumulate(const float* buffer, long long frames) {
    while (frames > 0) {
        const long long n = std::min<long long>(frames, kGrfBlockFrames - blockFill_);
        AccumulatePeaks(buffer, n);
        buffer += n * GetChannels();
        blockFill_ += static_cast<int>(n);
        frames -= n;
        if (blockFill_ == kGrfBlockFrames) WriteGrfRecord();
    }
}

void LCutListAudioSink::AccumulateFromFile(long long from, long long to) {
    const long long frameBytes = GetChannels() * 4LL;
    if (to <= from) return;
    std::vector<float> frames(static_cast<size_t>((to - from) * GetChannels()), 0.0f);
    aud_.ReadAt(frames.data(), frames.size() * 4, from * frameBytes);
    AccumulatePeaks(frames.data(), to - from);
}

void LCutListAudioSink::WriteGrfRecord() {
    for (size_t c = 0; c < max_.size(); ++c) {
        for (uint16_t word : {LSoundCacheSink::PeakWord(max_[c]), LSoundCacheSink::PeakWord(-min_[c])}) {
            grfPending_.push_back(static_cast<uint8_t>(word));
            grfPending_.push_back(static_cast<uint8_t>(word >> 8));
        }
        max_[c] = 0.0f;
        min_[c] = 0.0f;
    }
    blockFill_ = 0;
}

void LCutListAudioSink::FlushGrf() {
    if (grfPending_.empty()) return;
    grf_.WriteAll(grfPending_.data(), grfPending_.size());
    grfPending_.clear();
}

void LCutListAudioSink::FinishOpenBlock() {
    if (blockFill_ == 0) return;
    const long long position = GetPositionSample();
    AccumulateFromFile(position, std::min(BlockStart(position) + kGrfBlockFrames, written_));
    WriteGrfRecord();
    FlushGrf();
}

void LCutListAudioSink::WriteAudInfo() {
    LFile info;
    const std::string path = LSoundCache::Instance().GetFilePath(segment_.Item(), ".audinfo");
    if (path.empty() || !info.Open(path.c_str(), O_RDWR | O_CREAT)) {
        SetFailed();
        return;
    }
    flocktimed(info.Fd(), LOCK_EX, soundcacheinfo::kLockMilliseconds);
    const std::vector<uint8_t> bytes = LSoundCacheItemInfoCreate(GetSampleRate(), GetChannels());
    if (!info.Truncate(0) || !info.WriteAllAt(bytes.data(), bytes.size(), 0)) SetFailed();
}
