#pragma once
// LSDFReader: opens an SDF file on an input stream and checks its header.
// The chunks are walked with LSDFReaderChunkIterator:
//
//     LInputStreamFile in(path);
//     LSDFReader reader;
//     if (!reader.Open(in, kFileType)) return error;
//     for (LSDFReaderChunkIterator it(reader); it.StartNextChunk();) {
//         LSDFReaderChunk& chunk = it.Chunk();
//         switch (chunk.Id()) {
//         case 1: chunk.ReadInt(rate); break;
//         case 2: LoadNames(reader, chunk); break;  // a nested iterator
//         default: chunk.ReadUnknownChunk(unknownChunks);
//         }
//     }
//     if (!reader.IsGood()) return damaged;
//
// Every chunk's length is checked against its container's end before its
// payload is allocated or skipped, so a damaged or hostile file gives a
// lowered good flag, never a crash or a huge allocation. The good flag is
// sticky and ends every iterator over the reader.
//
// The reader doesn't own its stream; the stream must outlive it.
#include "base/LInputStream.h"
#include "sdf/LSDFChunkInfo.h"

#include <cstdint>

class LSDFReader {
public:
    // Reads the header at the stream's position. False (and the good flag
    // down) unless the magic, the format version and fileType match and the
    // root container fits in the stream. The user version is not compared.
    bool Open(LInputStream& stream, uint32_t fileType);

    bool IsGood() const { return good_; }
    bool IsOpen() const { return open_; }
    uint16_t UserVersion() const { return userVersion_; }
    const LSDFChunkInfo& Root() const { return root_; }
    // The stream offset just past the end marker, where data that a format
    // appends after its SDF part begins.
    int64_t EndOfData() const { return root_.End() + static_cast<int64_t>(lsdf::kEndMarkerSize); }

    // Reads a chunk header at the stream's position into info; the payload
    // must lie within the root. False (good flag down) otherwise.
    bool StartNextChunk(LSDFChunkInfo& info);
    // Reads a chunk header at offset, which must lie within [parentStart,
    // parentEnd) together with the whole chunk. Used by the iterators.
    bool ReadChunkHeaderAt(int64_t offset, int64_t parentEnd, LSDFChunkInfo& info);

    LInputStream& Stream() { return *stream_; }
    // Marks the file as damaged: every iterator over it stops.
    void SetDamaged() { good_ = false; }

private:
    LInputStream* stream_ = nullptr;
    bool good_ = false;
    bool open_ = false;
    uint16_t userVersion_ = 0;
    LSDFChunkInfo root_;
};
