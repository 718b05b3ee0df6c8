#pragma once
// LSDFReaderChunkIterator: walks the direct children of one container.
//
//     for (LSDFReaderChunkIterator it(reader, outer.Chunk()); it.StartNextChunk();) ...
//
// Each step starts at the end of the chunk before it, whatever was read of
// that one, so a loader may read a payload partly, skip it, or break out of a
// nested loop early without putting its container out of step. An iterator
// on a chunk that isn't a container, or on a reader that isn't good, has no
// children.
#include "sdf/LSDFReader.h"
#include "sdf/LSDFReaderChunk.h"

class LSDFReaderChunkIterator {
public:
    // The root's children.
    explicit LSDFReaderChunkIterator(LSDFReader& reader);
    // The children of a container chunk (from another iterator on the same reader).
    LSDFReaderChunkIterator(LSDFReader& reader, const LSDFReaderChunk& parent);

    // Moves to the next child; false at the container's end or when the file
    // is damaged (then the reader's good flag is down).
    bool StartNextChunk();
    bool IsValid() const { return valid_; }
    LSDFReaderChunk& Chunk() { return chunk_; }
    const LSDFReaderChunk& Chunk() const { return chunk_; }
    // Nesting of the children: 1 for the root's.
    int Depth() const { return chunk_.Depth(); }

private:
    LSDFReaderChunkIterator(LSDFReader& reader, const LSDFChunkInfo& parent, int depth);

    LSDFReader& reader_;
    LSDFReaderChunk chunk_;
    int64_t parentStart_;
    int64_t parentEnd_;
    bool valid_;
};
