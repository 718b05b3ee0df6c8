#include "formats/wave/LSRCPCMFile.h"

#include "base/LByteOrder.h"
#include "base/LInputStreamBuffer.h"
#include "formats/wave/LRiffChunk.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

LSRCPCMFileBase::LSRCPCMFileBase(std::unique_ptr<LInputStream> input, int64_t dataStart, int64_t dataLength,
                                 int sampleRate, int channels, int bytesPerSample, float peak, const Options& options)
    : LSoundSourceBase(sampleRate, channels, peak),
      input_(std::move(input)),
      dataStart_(dataStart),
      frameSize_(GetChannels() * bytesPerSample),
      walkDataChunks_(options.walkDataChunks),
      limits_(options.limits),
      buffer_(new uint8_t[static_cast<size_t>(kBufferFrames) * frameSize_]) {
    if (!input_) {
        // An empty stream in its place keeps every query below well-defined.
        input_ = std::make_unique<LInputStreamBuffer>(nullptr, 0);
        SetError(kSourceNoFile);
    }
    BuildSegments(dataLength);
}

void LSRCPCMFileBase::BuildSegments(int64_t firstLength) const {
    segments_.clear();
    end_ = -1;
    bool provisional = firstLength < 0 || (walkDataChunks_ && firstLength >= kWaveUnknownDataLength &&
                                           !FurtherChunkFollows(dataStart_ + firstLength));
    if (provisional) {
        if (walkDataChunks_) {
            AddOpenEndedChunks(dataStart_);
        } else {
            segments_.push_back({dataStart_, -1, 0});
        }
        return;
    }
    segments_.push_back({dataStart_, firstLength, 0});
    int64_t logical = firstLength;
    int64_t offset = dataStart_ + firstLength;
    while (walkDataChunks_) {
        uint8_t head[8];
        if (input_->ReadAt(head, sizeof head, offset) != 8 || !riff::IdIs(head, "data")) break;
        uint32_t length = LByteOrder::GetLE32(head + 4);
        if (length == 0) {
            // A further chunk whose length its writer hasn't set yet: the file
            // is still growing beyond 4 GiB.
            AddOpenEndedChunks(offset);
            return;
        }
        segments_.push_back({offset + 8, length, logical});
        logical += length;
        offset += 8 + static_cast<int64_t>(length);
    }
    end_ = logical / frameSize_;
}

// A file whose writer hasn't finished: each chunk is full until a header
// shows up where the next one would begin. The first chunk starts at
// dataStart_ without a header of its own to read here.
void LSRCPCMFileBase::AddOpenEndedChunks(int64_t offset) const {
    int64_t logical = segments_.empty() ? 0 : segments_.back().logicalStart + segments_.back().bytes;
    int64_t start = segments_.empty() ? offset : offset + 8;
    int64_t capacity = static_cast<int64_t>(segments_.empty() ? limits_.firstDataChunkMax : limits_.laterDataChunkMax);
    for (;;) {
        uint8_t head[8];
        int64_t next = start + capacity;
        if (capacity <= 0 || input_->ReadAt(head, sizeof head, next) != 8 || !riff::IdIs(head, "data") ||
            LByteOrder::GetLE32(head + 4) != 0) {
            segments_.push_back({start, -1, logical});
            return;
        }
        segments_.push_back({start, capacity, logical});
        logical += capacity;
        start = next + 8;
        capacity = static_cast<int64_t>(limits_.laterDataChunkMax);
    }
}

// A full first chunk of a file beyond 4 GiB has a length above the "not known"
// mark too; a finished further chunk behind it tells the two apart.
bool LSRCPCMFileBase::FurtherChunkFollows(int64_t offset) const {
    uint8_t head[8];
    return input_->ReadAt(head, sizeof head, offset) == 8 && riff::IdIs(head, "data") && LByteOrder::GetLE32(head + 4) != 0;
}

uint32_t LSRCPCMFileBase::ReadFirstDataLength() const {
    uint8_t length[4];
    if (input_->ReadAt(length, sizeof length, dataStart_ - 4) != 4) return 0xFFFFFFFFu;
    return LByteOrder::GetLE32(length);
}

int64_t LSRCPCMFileBase::FramesInFile() const {
    int64_t bytes = 0;
    for (const Segment& s : segments_) {
        if (s.bytes >= 0) {
            bytes += s.bytes;
        } else {
            bytes += std::max<int64_t>(0, input_->Size() - s.fileStart);
        }
    }
    return bytes / frameSize_;
}

long long LSRCPCMFileBase::GetEndSample() const {
    if (EndIsKnown()) return end_;
    if (walkDataChunks_) {
        // The writer may have put its final headers in place since: take the real layout.
        BuildSegments(ReadFirstDataLength());
        if (EndIsKnown()) return end_;
    }
    return FramesInFile();
}

bool LSRCPCMFileBase::IsStreaming() const {
    GetEndSample();
    return !EndIsKnown();
}

void LSRCPCMFileBase::WaitForStreamingData(int milliseconds) {
    if (!IsStreaming()) {
        LSoundSourceBase::WaitForStreamingData(milliseconds);
        return;
    }
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    const long long before = GetEndSample();
    while (Clock::now() < deadline) {
        // GetEndSample has just looked at the file; EndIsKnown asks no more of it.
        if (GetEndSample() != before || EndIsKnown()) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, 10)));
    }
}

int64_t LSRCPCMFileBase::ReadSampleBytes(uint8_t* out, int64_t size, int64_t offset) const {
    int64_t total = 0;
    for (const Segment& s : segments_) {
        if (size <= 0) break;
        if (s.bytes >= 0 && offset >= s.logicalStart + s.bytes) continue;
        int64_t local = offset - s.logicalStart;
        int64_t want = s.bytes >= 0 ? std::min(size, s.bytes - local) : size;
        int64_t got = input_->ReadAt(out, static_cast<size_t>(want), s.fileStart + local);
        if (got <= 0) break;
        total += got;
        if (got < want) break;  // the file ends early: what follows reads as silence
        out += got;
        offset += got;
        size -= got;
    }
    return total;
}

void LSRCPCMFileBase::Read(float* buffer, long long frames) {
    const int channels = GetChannels();
    while (frames > 0) {
        if (position_ < 0) {
            long long silent = std::min(-position_, frames);
            std::fill_n(buffer, silent * channels, 0.0f);
            buffer += silent * channels;
            position_ += silent;
            frames -= silent;
            continue;
        }
        long long end = GetEndSample();
        if (position_ >= end) {
            std::fill_n(buffer, frames * channels, 0.0f);
            position_ += frames;
            return;
        }
        long long n = std::min({frames, end - position_, kBufferFrames});
        int64_t got = ReadSampleBytes(buffer_.get(), n * frameSize_, position_ * frameSize_);
        long long whole = got / frameSize_;
        Convert(buffer, buffer_.get(), whole * channels);
        std::fill_n(buffer + whole * channels, (n - whole) * channels, 0.0f);
        buffer += n * channels;
        position_ += n;
        frames -= n;
    }
}
