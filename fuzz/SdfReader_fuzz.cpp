// Walks any input as an SDF file: every chunk at every depth, with every kind
// of read, through the memory stream and through the buffered file stream
// (which must agree), then checks that unknown chunks survive a rewrite.
#include "base/LByteOrder.h"
#include "base/LInputStreamBuffer.h"
#include "base/LInputStreamFileShared.h"
#include "base/LOutputStreamByteArray.h"
#include "sdf/LSDFReader.h"
#include "sdf/LSDFReaderChunkIterator.h"
#include "sdf/LSDFWriter.h"

#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

void Check(bool condition) {
    if (!condition) __builtin_trap();
}

void Mix(uint64_t& h, uint64_t v) { h = (h ^ v) * 0x100000001B3ull; }

// Reads the chunk every way there is and hashes what came back.
void ReadEveryWay(LSDFReaderChunk& c, uint64_t& h) {
    bool b = false;
    int32_t i = 0;
    int64_t l = 0;
    float f = 0;
    Mix(h, c.ReadBool(b) ? b : 2);
    Mix(h, c.ReadInt(i) ? static_cast<uint32_t>(i) : 3);
    Mix(h, c.ReadInt64(l) ? static_cast<uint64_t>(l) : 4);
    if (c.ReadFloat(f)) Mix(h, std::bit_cast<uint32_t>(f));
    Mix(h, c.ReadDate(l) ? static_cast<uint64_t>(l) : 5);

    char small[5];
    if (c.ReadString(small)) {
        Check(std::memchr(small, 0, sizeof small) != nullptr);
        Mix(h, std::strlen(small));
    }
    char big[1561];
    if (c.ReadString(big)) Mix(h, std::strlen(big));
    std::string s;
    if (c.ReadString(s)) {
        Check(s.size() < static_cast<size_t>(c.Length()) + 1);
        Mix(h, s.size());
    }
    std::vector<uint8_t> data;
    if (c.ReadData(data)) {
        Check(static_cast<int64_t>(data.size()) == c.Length());
        for (uint8_t byte : data) Mix(h, byte);
    }
    // Streaming in odd pieces must give the same bytes.
    std::vector<uint8_t> pieces;
    uint8_t piece[7];
    for (int64_t n; (n = c.Read(piece, sizeof piece)) > 0;) pieces.insert(pieces.end(), piece, piece + n);
    if (c.Reader().IsGood()) Check(pieces == data);
}

void Walk(LSDFReader& reader, LSDFReaderChunkIterator& it, uint64_t& h) {
    while (it.StartNextChunk()) {
        LSDFReaderChunk& c = it.Chunk();
        Mix(h, c.Id());
        Mix(h, c.Type());
        Mix(h, static_cast<uint64_t>(c.Length()));
        Mix(h, static_cast<uint64_t>(c.Ordinal()));
        Check(c.Info().End() <= reader.Root().End());
        ReadEveryWay(c, h);
        if (c.IsContainer() && it.Depth() < 200) {
            LSDFReaderChunkIterator inner(reader, c);
            Walk(reader, inner, h);
        }
    }
}

uint64_t WalkAll(LInputStream& in, uint32_t type) {
    uint64_t h = 1469598103934665603ull;
    LSDFReader reader;
    if (!reader.Open(in, type)) return 0;
    LSDFReaderChunkIterator it(reader);
    Walk(reader, it, h);
    Mix(h, reader.IsGood());
    return h;
}

LSDFUnknownChunkList RootChunks(const uint8_t* data, size_t size, uint32_t type, bool* good) {
    LSDFUnknownChunkList list;
    LInputStreamBuffer in(data, size);
    LSDFReader reader;
    *good = reader.Open(in, type);
    for (LSDFReaderChunkIterator it(reader); it.StartNextChunk();) it.Chunk().ReadUnknownChunk(list);
    *good = *good && reader.IsGood();
    return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Take the file type from the input so that most inputs get past Open.
    uint32_t type = 0;
    if (size >= 10) type = LByteOrder::GetLE32(data + 6);

    LInputStreamBuffer memory(data, size);
    const uint64_t fromMemory = WalkAll(memory, type);

    // The same walk over a file, with a buffer small enough to split headers.
    const int fd = memfd_create("sdf", MFD_CLOEXEC);
    if (fd >= 0) {
        if (write(fd, data, size) == static_cast<ssize_t>(size)) {
            LInputStreamFileShared file(fd, 1 + (size ? data[size - 1] % 29 : 0));
            Check(WalkAll(file, type) == fromMemory);
        }
        close(fd);
    }

    // Whatever was readable at the root survives a rewrite, empty chunks aside.
    bool good = false;
    const LSDFUnknownChunkList before = RootChunks(data, size, type, &good);
    if (!good) return 0;
    LOutputStreamByteArray out;
    LSDFWriter writer;
    Check(writer.Open(out, type, 1, before));
    Check(writer.Close());
    const LSDFUnknownChunkList after = RootChunks(out.Data().data(), out.Data().size(), type, &good);
    Check(good);
    size_t j = 0;
    for (const LSDFUnknownChunk& chunk : before) {
        if (chunk.payload.empty()) continue;
        Check(j < after.size());
        Check(after[j].id == chunk.id && after[j].type == chunk.type && after[j].payload == chunk.payload);
        Check(after[j].ordinal == static_cast<int>(j));
        ++j;
    }
    Check(j == after.size());
    return 0;
}
