#include "sdf/LSDFWriter.h"

#include "base/LByteOrder.h"

#include <bit>
#include <cstring>

bool LSDFWriter::Fail() {
    good_ = false;
    return false;
}

bool LSDFWriter::Put(const void* data, size_t size) {
    if (!good_) return false;
    if (!stream_->Write(data, size)) return Fail();
    return true;
}

bool LSDFWriter::Open(LOutputStream& stream, uint32_t fileType, uint16_t userVersion) {
    stream_ = &stream;
    good_ = true;
    open_ = true;
    userVersion_ = userVersion;
    openChunks_.clear();

    uint8_t header[lsdf::kFileHeaderSize];
    std::memcpy(header, lsdf::kMagic, 4);
    LByteOrder::PutLE16(header + 4, lsdf::kFormatVersion);
    LByteOrder::PutLE32(header + 6, fileType);
    LByteOrder::PutLE16(header + 10, userVersion);
    Put(header, sizeof header);
    return StartChunk(0, LSDFChunkType::Container);
}

bool LSDFWriter::Open(LOutputStream& stream, uint32_t fileType, uint16_t userVersion,
                      const LSDFUnknownChunkList& rootUnknownChunks) {
    if (!Open(stream, fileType, userVersion)) return false;
    openChunks_.back().unknownChunks = &rootUnknownChunks;
    WriteLeadingUnknown(openChunks_.size() - 1);
    return good_;
}

bool LSDFWriter::Close() {
    if (!open_) return false;
    if (openChunks_.size() != 1) Fail();
    if (good_ && EndChunk(0)) Put(lsdf::kMagic, sizeof lsdf::kMagic);
    open_ = false;
    openChunks_.clear();
    return good_;
}

bool LSDFWriter::StartChunk(uint16_t id, LSDFChunkType type, int order) {
    return StartChunk(id, static_cast<uint16_t>(type), order);
}

bool LSDFWriter::StartChunk(uint16_t id, uint16_t type, int order) {
    if (!good_ || !open_) return false;
    // Only containers hold chunks.
    if (!openChunks_.empty() && openChunks_.back().type != static_cast<uint16_t>(LSDFChunkType::Container)) {
        return Fail();
    }
    if (!WritePendingUnknownBelow(order)) return false;
    uint8_t header[lsdf::kChunkHeaderSize];
    LByteOrder::PutLE16(header, id);
    LByteOrder::PutLE16(header + 2, type);
    LByteOrder::PutLE64(header + 4, 0);
    if (!Put(header, sizeof header)) return false;
    const int64_t payloadOffset = stream_->Position();
    if (payloadOffset < 0) return Fail();
    openChunks_.push_back({id, type, payloadOffset, nullptr, 0});
    return true;
}

bool LSDFWriter::EndChunk(uint16_t id) {
    if (!good_) return false;
    if (openChunks_.empty() || openChunks_.back().id != id) return Fail();
    if (!WriteRemainingUnknown(openChunks_.size() - 1)) return false;
    const OpenChunk chunk = openChunks_.back();
    openChunks_.pop_back();

    const int64_t end = stream_->Position();
    if (end < chunk.payloadOffset) return Fail();
    uint8_t length[8];
    LByteOrder::PutLE64(length, static_cast<uint64_t>(end - chunk.payloadOffset));
    if (!stream_->Seek(chunk.payloadOffset - 8) || !stream_->Write(length, sizeof length) || !stream_->Seek(end)) {
        return Fail();
    }
    return true;
}

bool LSDFWriter::WriteData(const void* data, size_t size) {
    if (!open_ || openChunks_.size() < 2) return Fail();  // payload belongs in a chunk, never in the root
    return Put(data, size);
}

bool LSDFWriter::StartContainer(uint16_t id, int order) {
    return StartChunk(id, LSDFChunkType::Container, order);
}

bool LSDFWriter::StartContainer(uint16_t id, const LSDFUnknownChunkList& unknownChunks, int order) {
    if (!StartChunk(id, LSDFChunkType::Container, order)) return false;
    openChunks_.back().unknownChunks = &unknownChunks;
    WriteLeadingUnknown(openChunks_.size() - 1);
    return good_;
}

bool LSDFWriter::WriteValue(uint16_t id, LSDFChunkType type, const void* payload, size_t size, int order) {
    if (!StartChunk(id, type, order)) return false;
    if (!Put(payload, size)) return false;
    return EndChunk(id);
}

bool LSDFWriter::WriteBool(uint16_t id, bool value, int order) {
    const uint8_t byte = value ? 1 : 0;
    return WriteValue(id, LSDFChunkType::Bool, &byte, 1, order);
}

bool LSDFWriter::WriteInt(uint16_t id, int32_t value, int order) {
    uint8_t bytes[4];
    LByteOrder::PutLE32(bytes, static_cast<uint32_t>(value));
    return WriteValue(id, LSDFChunkType::Int, bytes, sizeof bytes, order);
}

bool LSDFWriter::WriteInt64(uint16_t id, int64_t value, int order) {
    uint8_t bytes[8];
    LByteOrder::PutLE64(bytes, static_cast<uint64_t>(value));
    return WriteValue(id, LSDFChunkType::Int64, bytes, sizeof bytes, order);
}

bool LSDFWriter::WriteFloat(uint16_t id, float value, int order) {
    uint8_t bytes[4];
    LByteOrder::PutLE32(bytes, std::bit_cast<uint32_t>(value));
    return WriteValue(id, LSDFChunkType::Float, bytes, sizeof bytes, order);
}

bool LSDFWriter::WriteString(uint16_t id, std::string_view value, int order) {
    // Readers stop at the first NUL, so nothing after one could be read back.
    value = value.substr(0, value.find('\0'));
    if (!StartChunk(id, LSDFChunkType::String, order)) return false;
    const char nul = '\0';
    if (!Put(value.data(), value.size()) || !Put(&nul, 1)) return false;
    return EndChunk(id);
}

bool LSDFWriter::WriteBlob(uint16_t id, const void* data, size_t size, int order) {
    return WriteValue(id, LSDFChunkType::Blob, data, size, order);
}

bool LSDFWriter::WriteDate(uint16_t id, int64_t secondsSinceEpoch, int order) {
    uint8_t bytes[8];
    LByteOrder::PutLE64(bytes, static_cast<uint64_t>(secondsSinceEpoch));
    return WriteValue(id, LSDFChunkType::Date, bytes, sizeof bytes, order);
}

bool LSDFWriter::WriteUnknownChunk(const LSDFUnknownChunk& chunk) {
    if (chunk.payload.empty()) return good_;
    if (!StartChunk(chunk.id, chunk.type)) return false;
    if (!Put(chunk.payload.data(), chunk.payload.size())) return false;
    return EndChunk(chunk.id);
}

// Writes the container's pending unknown chunks in list order while `more`
// accepts the next one. The container is addressed by its index and looked up
// afresh on every step: writing a chunk pushes onto openChunks_, which may move
// its elements.
template <class More>
bool LSDFWriter::WriteUnknownWhile(size_t index, More more) {
    const LSDFUnknownChunkList* list = openChunks_[index].unknownChunks;
    if (!list) return good_;
    while (good_ && openChunks_[index].nextUnknown < list->size()) {
        const LSDFUnknownChunk& chunk = (*list)[openChunks_[index].nextUnknown];
        if (!more(chunk)) break;
        ++openChunks_[index].nextUnknown;
        WriteUnknownChunk(chunk);
    }
    return good_;
}

bool LSDFWriter::WritePendingUnknownBelow(int order) {
    if (order < 0 || openChunks_.empty()) return good_;
    return WriteUnknownWhile(openChunks_.size() - 1, [order](const LSDFUnknownChunk& c) { return c.ordinal < order; });
}

void LSDFWriter::WriteLeadingUnknown(size_t index) {
    int expected = 0;
    WriteUnknownWhile(index, [&expected](const LSDFUnknownChunk& c) {
        if (c.ordinal != expected) return false;
        ++expected;
        return true;
    });
}

bool LSDFWriter::WriteRemainingUnknown(size_t index) {
    return WriteUnknownWhile(index, [](const LSDFUnknownChunk&) { return true; });
}
