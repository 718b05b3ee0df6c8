#include "edit/LCutListAudioSink.h"

#include "edit/LCutListAudio.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSink.h"
#include "edit/LGrfPeakAccumulator.h"

#include <algorithm>
#include <bit>

static_assert(std::endian::native == std::endian::little, ".aud and .grf are written in the host's byte order");

namespace {

long long BlockStart(long long frame) {
    return frame / LGrfPeakAccumulator::kBlockFrames * LGrfPeakAccumulator::kBlockFrames;
}

}  // namespace

LCutListAudioSink::LCutListAudioSink(LCutListAudio* target, int sampleRate, int channels)
    : LSoundSinkBase(sampleRate, channels), target_(target), peaks_(GetChannels()) {
    const uint16_t item = LSoundCache::Instance().ItemCreateNewAndIncRef();
    if (item > kSoundCacheItemLast) {
        SetFailed();
        return;
    }
    segment_ = LCutListSegment::AdoptItem(item, 0, 0);
    if (!LSoundCacheItemDataFileCreate(aud_, item, ".aud") || !LSoundCacheItemDataFileCreate(grf_, item, ".grf")) {
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
    if (!LSoundCacheItemInfoWriteNew(segment_.Item(), GetSampleRate(), GetChannels())) SetFailed();
    aud_.Close();
    grf_.Close();
    // segment_ goes now and with it the sink's reference; the target's stays.
}

void LCutListAudioSink::Write(const float* buffer, long long frames) {
    if (frames <= 0) return;
    if (IsOpen()) {
        aud_.WriteAll(buffer, static_cast<size_t>(frames) * GetChannels() * 4);
        peaks_.Add(buffer, frames);
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
    grf_.Seek(frame / LGrfPeakAccumulator::kBlockFrames * channels * 4);
    // The frames of the block before the new position stay in .aud; they
    // count into the block's record as before.
    peaks_.ResetBlock(static_cast<int>(frame - BlockStart(frame)));
    AccumulateFromFile(BlockStart(frame), std::min(frame, written_));
}

long long LCutListAudioSink::CommitUpTo(long long position) {
    if (!IsOpen()) return 0;
    segment_.length = std::max(0LL, std::min(position - peaks_.BlockFill(), written_) - segment_.start);
    target_->SetSingleCutListSegment(segment_, GetSampleRate(), GetChannels());
    return segment_.length;
}

void LCutListAudioSink::AccumulateFromFile(long long from, long long to) {
    const long long frameBytes = GetChannels() * 4LL;
    if (to <= from) return;
    std::vector<float> frames(static_cast<size_t>((to - from) * GetChannels()), 0.0f);
    aud_.ReadAt(frames.data(), frames.size() * 4, from * frameBytes);
    peaks_.AddPeaksOnly(frames.data(), to - from);
}

void LCutListAudioSink::FlushGrf() {
    std::vector<uint8_t>& records = peaks_.Pending();
    if (records.empty()) return;
    grf_.WriteAll(records.data(), records.size());
    records.clear();
}

void LCutListAudioSink::FinishOpenBlock() {
    if (peaks_.BlockFill() == 0) return;
    const long long position = GetPositionSample();
    AccumulateFromFile(position, std::min(BlockStart(position) + LGrfPeakAccumulator::kBlockFrames, written_));
    peaks_.FinishBlock();
    FlushGrf();
}
