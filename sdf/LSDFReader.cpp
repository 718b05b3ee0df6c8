#include "sdf/LSDFReader.h"

#include "base/LByteOrder.h"

#include <cstring>
#include <limits>

bool LSDFReader::Open(LInputStream& stream, uint32_t fileType) {
    stream_ = &stream;
    good_ = false;
    open_ = false;
    userVersion_ = 0;
    root_ = {};

    uint8_t header[lsdf::kFileHeaderSize];
    if (!stream.ReadExact(header, sizeof header)) return false;
    if (std::memcmp(header, lsdf::kMagic, 4) != 0) return false;
    if (LByteOrder::GetLE16(header + 4) != lsdf::kFormatVersion) return false;
    if (LByteOrder::GetLE32(header + 6) != fileType) return false;
    userVersion_ = LByteOrder::GetLE16(header + 10);

    // The root may not claim more than the stream holds; an unknown size
    // (a pipe) leaves that to the reads.
    const int64_t size = stream.Size();
    const int64_t limit = size >= 0 ? size : std::numeric_limits<int64_t>::max();
    good_ = true;
    LSDFChunkInfo root;
    if (!ReadChunkHeaderAt(stream.Position(), limit, root) || root.id != 0 || !root.IsContainer()) {
        good_ = false;
        return false;
    }
    root_ = root;
    open_ = true;
    return true;
}

bool LSDFReader::StartNextChunk(LSDFChunkInfo& info) {
    if (!open_) return false;
    return ReadChunkHeaderAt(stream_->Position(), root_.End(), info);
}

bool LSDFReader::ReadChunkHeaderAt(int64_t offset, int64_t parentEnd, LSDFChunkInfo& info) {
    if (!good_) return false;
    const int64_t headerSize = static_cast<int64_t>(lsdf::kChunkHeaderSize);
    if (offset < 0 || offset > parentEnd || parentEnd - offset < headerSize) {
        good_ = false;
        return false;
    }
    uint8_t header[lsdf::kChunkHeaderSize];
    if (!stream_->Seek(offset) || !stream_->ReadExact(header, sizeof header)) {
        good_ = false;
        return false;
    }
    const uint64_t length = LByteOrder::GetLE64(header + 4);
    const int64_t payloadOffset = offset + headerSize;
    if (length > static_cast<uint64_t>(parentEnd - payloadOffset)) {
        good_ = false;
        return false;
    }
    info.id = LByteOrder::GetLE16(header);
    info.type = LByteOrder::GetLE16(header + 2);
    info.payloadOffset = payloadOffset;
    info.length = static_cast<int64_t>(length);
    return true;
}
