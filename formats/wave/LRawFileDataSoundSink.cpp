#include "formats/wave/LRawFileDataSoundSink.h"

#include <algorithm>

LRawFileDataSoundSinkBase::LRawFileDataSoundSinkBase(const std::string& path, int sampleRate, int channels,
                                                     int bytesPerSample, HeaderWriter writeHeader, bool padToEven)
    : LSoundSinkBase(sampleRate, channels),
      frameSize_(GetChannels() * bytesPerSample),
      writeHeader_(writeHeader),
      padToEven_(padToEven),
      buffer_(new uint8_t[static_cast<size_t>(kBufferFrames) * frameSize_]) {
    if (HasFailed() || !file_.Create(path.c_str())) {
        SetFailed();
        return;
    }
    headerLength_ = writeHeader_(*this, false);
    if (headerLength_ == 0) SetFailed();
}

LRawFileDataSoundSinkBase::~LRawFileDataSoundSinkBase() { Close(); }

void LRawFileDataSoundSinkBase::Write(const float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0 && !HasFailed()) {
        long long n = std::min(frames, kBufferFrames);
        Convert(buffer_.get(), buffer, n * channels);
        int64_t offset = headerLength_ + GetPositionSample() * frameSize_;
        if (!file_.WriteAllAt(buffer_.get(), static_cast<size_t>(n) * frameSize_, offset)) {
            SetFailed();
            return;
        }
        AdvancePosition(n);
        buffer += n * channels;
        frames -= n;
    }
}

bool LRawFileDataSoundSinkBase::Close() {
    if (!file_.IsOpen()) return !HasFailed();
    if (!HasFailed()) {
        if (writeHeader_(*this, true) != headerLength_) SetFailed();
        int64_t dataEnd = headerLength_ + GetPositionSample() * frameSize_;
        const uint8_t pad = 0;
        if (!HasFailed() && padToEven_ && (dataEnd & 1) && !file_.WriteAllAt(&pad, 1, dataEnd)) SetFailed();
    }
    file_.Close();
    return !HasFailed();
}
