#include "sdf/LSDFReaderChunk.h"

#include "base/LByteOrder.h"
#include "sdf/LSDFReader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

void LSDFReaderChunk::Reset(const LSDFChunkInfo& info, int ordinal) {
    info_ = info;
    ordinal_ = ordinal;
    consumed_ = 0;
}

bool LSDFReaderChunk::ReadPayload(void* buffer, size_t size, int64_t from) {
    LSDFReader& reader = *reader_;
    if (!reader.IsGood()) return false;
    LInputStream& stream = reader.Stream();
    if (!stream.Seek(info_.payloadOffset + from) || !stream.ReadExact(buffer, size) || !stream.Seek(info_.End())) {
        reader.SetDamaged();
        return false;
    }
    return true;
}

bool LSDFReaderChunk::ReadFixed(void* buffer, size_t size) {
    if (info_.length < static_cast<int64_t>(size)) return false;
    return ReadPayload(buffer, size);
}

bool LSDFReaderChunk::ReadBool(bool& value) {
    uint8_t byte;
    if (!ReadFixed(&byte, 1)) return false;
    value = byte != 0;
    return true;
}

bool LSDFReaderChunk::ReadInt(int32_t& value) {
    uint8_t bytes[4];
    if (!ReadFixed(bytes, sizeof bytes)) return false;
    value = static_cast<int32_t>(LByteOrder::GetLE32(bytes));
    return true;
}

bool LSDFReaderChunk::ReadInt64(int64_t& value) {
    uint8_t bytes[8];
    if (!ReadFixed(bytes, sizeof bytes)) return false;
    value = static_cast<int64_t>(LByteOrder::GetLE64(bytes));
    return true;
}

bool LSDFReaderChunk::ReadFloat(float& value) {
    uint8_t bytes[4];
    if (!ReadFixed(bytes, sizeof bytes)) return false;
    value = std::bit_cast<float>(LByteOrder::GetLE32(bytes));
    return true;
}

bool LSDFReaderChunk::ReadDate(int64_t& value) { return ReadInt64(value); }

bool LSDFReaderChunk::ReadString(char* buffer, size_t bufferSize) {
    if (bufferSize == 0) return false;
    // Only what fits is read; the rest of a longer string is passed over by
    // the seek to the chunk's end.
    const size_t count = static_cast<size_t>(std::min<int64_t>(info_.length, static_cast<int64_t>(bufferSize - 1)));
    if (!ReadPayload(buffer, count)) {
        buffer[0] = '\0';
        return false;
    }
    buffer[count] = '\0';
    return true;
}

bool LSDFReaderChunk::ReadString(std::string& value) {
    std::vector<uint8_t> bytes;
    if (!ReadData(bytes)) return false;
    const auto nul = std::find(bytes.begin(), bytes.end(), uint8_t{0});
    value.assign(bytes.begin(), nul);
    return true;
}

bool LSDFReaderChunk::ReadData(std::vector<uint8_t>& data) {
    // The length was checked against the container (and so the file) when the
    // header was read, so this allocation is bounded by the file's size.
    try {
        data.resize(static_cast<size_t>(info_.length));
    } catch (const std::bad_alloc&) {
        data.clear();
        return false;
    }
    return ReadPayload(data.data(), data.size());
}

bool LSDFReaderChunk::ReadUnknownChunk(LSDFUnknownChunkList& list) {
    LSDFUnknownChunk chunk;
    chunk.id = info_.id;
    chunk.type = info_.type;
    chunk.ordinal = ordinal_;
    if (!ReadData(chunk.payload)) return false;
    try {
        list.push_back(std::move(chunk));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

int64_t LSDFReaderChunk::Read(void* buffer, size_t size) {
    LSDFReader& reader = *reader_;
    if (!reader.IsGood()) return -1;
    const size_t count = static_cast<size_t>(std::min<int64_t>(Remaining(), static_cast<int64_t>(size)));
    if (count == 0) return 0;
    LInputStream& stream = reader.Stream();
    const int64_t at = info_.payloadOffset + consumed_;
    if ((stream.Position() != at && !stream.Seek(at)) || !stream.ReadExact(buffer, count)) {
        reader.SetDamaged();
        return -1;
    }
    consumed_ += static_cast<int64_t>(count);
    return static_cast<int64_t>(count);
}
