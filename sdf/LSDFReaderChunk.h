#pragma once
// LSDFReaderChunk: the chunk an iterator stands on, and the reads of its
// payload.
//
// The value reads (ReadBool ... ReadData) each read from the payload's start,
// need the payload to be at least the value's size, and don't compare the
// chunk's type: a loader that knows an id knows its type. False means the
// chunk doesn't hold such a value, or the stream failed (then the reader's
// good flag is down too). Every value read leaves the stream at the chunk's end.
#include "sdf/LSDFChunkInfo.h"
#include "sdf/LSDFUnknownChunk.h"

#include <cstdint>
#include <string>
#include <vector>

class LSDFReader;

class LSDFReaderChunk {
public:
    LSDFReaderChunk(LSDFReader& reader, int depth) : reader_(&reader), depth_(depth) {}

    uint16_t Id() const { return info_.id; }
    uint16_t Type() const { return info_.type; }
    int64_t Length() const { return info_.length; }
    // Index among all chunks of its container, from 0.
    int Ordinal() const { return ordinal_; }
    // Nesting: 1 for the root's children.
    int Depth() const { return depth_; }
    bool IsContainer() const { return info_.IsContainer(); }
    const LSDFChunkInfo& Info() const { return info_; }
    LSDFReader& Reader() const { return *reader_; }

    bool ReadBool(bool& value);
    bool ReadInt(int32_t& value);
    bool ReadInt64(int64_t& value);
    bool ReadFloat(float& value);
    // Seconds since 1970-01-01 00:00 UTC.
    bool ReadDate(int64_t& value);
    // Up to the first NUL, at most bufferSize - 1 bytes; the buffer always ends
    // in a NUL. A longer string is cut, which is still success.
    bool ReadString(char* buffer, size_t bufferSize);
    template <size_t N>
    bool ReadString(char (&buffer)[N]) { return ReadString(buffer, N); }
    // Any length, up to the first NUL.
    bool ReadString(std::string& value);
    // The whole payload; an empty payload gives an empty array and true.
    bool ReadData(std::vector<uint8_t>& data);
    // Keeps the whole chunk at the end of list, with its ordinal.
    bool ReadUnknownChunk(LSDFUnknownChunkList& list);

    // Streaming read of a large payload: up to size bytes from where the last
    // Read stopped (the payload's start at first). Returns the count, 0 at the
    // payload's end, -1 when the stream failed.
    int64_t Read(void* buffer, size_t size);
    int64_t Remaining() const { return info_.length - consumed_; }

private:
    friend class LSDFReaderChunkIterator;
    void Reset(const LSDFChunkInfo& info, int ordinal);
    // Reads size bytes from payload offset `from`, then seeks to the chunk's end.
    bool ReadPayload(void* buffer, size_t size, int64_t from = 0);
    bool ReadFixed(void* buffer, size_t size);

    LSDFReader* reader_;
    LSDFChunkInfo info_;
    int ordinal_ = -1;
    int depth_;
    int64_t consumed_ = 0;
};
