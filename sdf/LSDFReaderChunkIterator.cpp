#include "sdf/LSDFReaderChunkIterator.h"

LSDFReaderChunkIterator::LSDFReaderChunkIterator(LSDFReader& reader, const LSDFChunkInfo& parent, int depth)
    : reader_(reader),
      chunk_(reader, depth),
      parentStart_(parent.payloadOffset),
      parentEnd_(parent.End()),
      valid_(reader.IsOpen() && reader.IsGood() && parent.IsContainer()) {}

LSDFReaderChunkIterator::LSDFReaderChunkIterator(LSDFReader& reader)
    : LSDFReaderChunkIterator(reader, reader.Root(), 1) {}

LSDFReaderChunkIterator::LSDFReaderChunkIterator(LSDFReader& reader, const LSDFReaderChunk& parent)
    : LSDFReaderChunkIterator(reader, parent.Info(), parent.Depth() + 1) {
    if (&parent.Reader() != &reader) valid_ = false;
}

bool LSDFReaderChunkIterator::StartNextChunk() {
    if (!valid_ || !reader_.IsGood()) {
        valid_ = false;
        return false;
    }
    const int64_t next = chunk_.Ordinal() < 0 ? parentStart_ : chunk_.Info().End();
    if (next >= parentEnd_) {
        valid_ = false;
        return false;
    }
    LSDFChunkInfo info;
    if (!reader_.ReadChunkHeaderAt(next, parentEnd_, info)) {
        valid_ = false;
        return false;
    }
    chunk_.Reset(info, chunk_.Ordinal() + 1);
    return true;
}
