#include "sdf/LSDFWriter.h"

#include "base/LInputStreamBuffer.h"
#include "base/LOutputStreamByteArray.h"
#include "base/LOutputStreamFile.h"
#include "base/LReadWriteFile.h"
#include "base/testing/TestSupport.h"
#include "sdf/LSDFReader.h"
#include "sdf/LSDFReaderChunkIterator.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
    std::vector<uint8_t> out;
    for (int v : values) out.push_back(static_cast<uint8_t>(v));
    return out;
}

TEST(LSDFWriter, SmallFileHasExactBytes) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 0x0102032B, 7));
    ASSERT_TRUE(w.WriteInt(0x1234, -2));
    ASSERT_TRUE(w.Close());
    const std::vector<uint8_t> expected = Bytes({
        'l', 's', 'd', 'f', 1, 0, 0x2B, 0x03, 0x02, 0x01, 7, 0,  // file header
        0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0,                      // root: id 0, container, 16 bytes
        0x34, 0x12, 2, 0, 4, 0, 0, 0, 0, 0, 0, 0,                 // int chunk header
        0xFE, 0xFF, 0xFF, 0xFF,                                   // -2
        'l', 's', 'd', 'f'});                                     // end marker
    EXPECT_EQ(out.Data(), expected);
}

TEST(LSDFWriter, ValueChunksHaveTheirTypesAndSizes) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 1, 1));
    w.WriteBool(1, true);
    w.WriteInt64(2, 0x0102030405060708);
    w.WriteFloat(3, 1.0f);
    w.WriteString(4, "ab");
    w.WriteBlob(5, Bytes({9, 8, 7}));
    w.WriteDate(6, -1);
    ASSERT_TRUE(w.Close());
    const std::vector<uint8_t>& d = out.Data();
    size_t p = 24;
    auto header = [&](int id, int type, int length) {
        EXPECT_EQ(std::vector<uint8_t>(d.begin() + p, d.begin() + p + 12),
                  Bytes({id, 0, type, 0, length, 0, 0, 0, 0, 0, 0, 0}));
        p += 12;
    };
    header(1, 1, 1);
    EXPECT_EQ(d[p], 1); p += 1;
    header(2, 3, 8);
    EXPECT_EQ(std::vector<uint8_t>(d.begin() + p, d.begin() + p + 8), Bytes({8, 7, 6, 5, 4, 3, 2, 1})); p += 8;
    header(3, 4, 4);
    EXPECT_EQ(std::vector<uint8_t>(d.begin() + p, d.begin() + p + 4), Bytes({0, 0, 0x80, 0x3F})); p += 4;
    header(4, 6, 3);
    EXPECT_EQ(std::vector<uint8_t>(d.begin() + p, d.begin() + p + 3), Bytes({'a', 'b', 0})); p += 3;
    header(5, 7, 3);
    p += 3;
    header(6, 9, 8);
    EXPECT_EQ(std::vector<uint8_t>(d.begin() + p, d.begin() + p + 8), Bytes({255, 255, 255, 255, 255, 255, 255, 255}));
    EXPECT_EQ(p + 8 + 4, d.size());
}

// Accepts a fixed number of bytes, then fails every write.
class FailingStream : public LOutputStream {
public:
    explicit FailingStream(size_t capacity) : capacity_(capacity) {}
    bool Write(const void* data, size_t size) override {
        if (position_ + size > capacity_) return false;
        auto* bytes = static_cast<const uint8_t*>(data);
        if (bytes_.size() < position_ + size) bytes_.resize(position_ + size);
        std::copy(bytes, bytes + size, bytes_.begin() + static_cast<long>(position_));
        position_ += size;
        ++writes_;
        return true;
    }
    bool Seek(int64_t position) override {
        position_ = static_cast<size_t>(position);
        return true;
    }
    int64_t Position() const override { return static_cast<int64_t>(position_); }
    int writes_ = 0;

private:
    size_t capacity_;
    size_t position_ = 0;
    std::vector<uint8_t> bytes_;
};

TEST(LSDFWriter, GoodFlagIsSticky) {
    FailingStream out(40);
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 1, 1));
    EXPECT_TRUE(w.WriteInt(1, 5));        // ends at 40
    EXPECT_FALSE(w.WriteInt(2, 6));       // the header doesn't fit
    EXPECT_FALSE(w.IsGood());
    const int writes = out.writes_;
    EXPECT_FALSE(w.WriteBool(3, true));
    EXPECT_FALSE(w.StartContainer(4));
    EXPECT_FALSE(w.Close());
    EXPECT_EQ(out.writes_, writes);       // nothing more was even tried
}

TEST(LSDFWriter, UnbalancedChunksFailClose) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 1, 1));
    w.StartContainer(3);
    EXPECT_FALSE(w.EndChunk(4));  // not the open one
    EXPECT_FALSE(w.Close());

    ASSERT_TRUE(w.Open(out, 1, 1));
    w.StartContainer(3);
    EXPECT_FALSE(w.Close());      // left open
}

TEST(LSDFWriter, ValueChunksCannotNestInValueChunks) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 1, 1));
    ASSERT_TRUE(w.StartChunk(1, LSDFChunkType::Blob));
    EXPECT_FALSE(w.WriteInt(2, 3));
    EXPECT_FALSE(w.Close());
}

TEST(LSDFWriter, BlobWrittenInPiecesGetsItsLengthPatched) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 1, 1));
    ASSERT_TRUE(w.StartChunk(9, LSDFChunkType::Blob));
    std::vector<uint8_t> piece(1000, 0x5A);
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(w.WriteData(piece.data(), piece.size()));
    ASSERT_TRUE(w.EndChunk(9));
    ASSERT_TRUE(w.Close());

    LInputStreamBuffer in(out.Data());
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, 1));
    LSDFReaderChunkIterator it(r);
    ASSERT_TRUE(it.StartNextChunk());
    EXPECT_EQ(it.Chunk().Length(), 100000);
    std::vector<uint8_t> got(4096);
    int64_t total = 0;
    for (int64_t n; (n = it.Chunk().Read(got.data(), got.size())) > 0;) total += n;
    EXPECT_EQ(total, 100000);
    EXPECT_FALSE(it.StartNextChunk());
    EXPECT_TRUE(r.IsGood());
}

// Reads every chunk of the root (and of container 100) as unknown chunks.
struct Loaded {
    LSDFUnknownChunkList root;
    LSDFUnknownChunkList inner;
    std::vector<int> knownOrdinals;
};

Loaded LoadAllUnknown(const std::vector<uint8_t>& bytes, std::vector<uint16_t> known) {
    Loaded loaded;
    LInputStreamBuffer in(bytes);
    LSDFReader r;
    EXPECT_TRUE(r.Open(in, 5));
    for (LSDFReaderChunkIterator it(r); it.StartNextChunk();) {
        LSDFReaderChunk& c = it.Chunk();
        if (c.Id() == 100) {
            loaded.knownOrdinals.push_back(c.Ordinal());
            for (LSDFReaderChunkIterator inner(r, c); inner.StartNextChunk();) {
                inner.Chunk().ReadUnknownChunk(loaded.inner);
            }
        } else if (std::find(known.begin(), known.end(), c.Id()) != known.end()) {
            loaded.knownOrdinals.push_back(c.Ordinal());
        } else {
            EXPECT_TRUE(c.ReadUnknownChunk(loaded.root));
        }
    }
    EXPECT_TRUE(r.IsGood());
    return loaded;
}

TEST(LSDFWriter, UnknownChunksKeepTheirOrdinalsAcrossARewrite) {
    // A "newer" file: chunks 7, 8 and 9 are unknown to the code below, and
    // chunk 10 is unknown and empty.
    LOutputStreamByteArray first;
    {
        LSDFWriter w;
        ASSERT_TRUE(w.Open(first, 5, 2));
        w.WriteInt(7, 70);        // 0
        w.WriteInt(1, 10);        // 1
        w.WriteString(8, "x");    // 2
        w.WriteBlob(10, nullptr, 0);  // 3
        w.WriteInt(2, 20);        // 4
        w.StartContainer(100);    // 5
        w.WriteInt(1, 1);
        w.WriteFloat(55, 5.5f);
        w.EndContainer(100);
        w.WriteInt64(9, 90);      // 6
        ASSERT_TRUE(w.Close());
    }
    Loaded loaded = LoadAllUnknown(first.Data(), {1, 2});
    ASSERT_EQ(loaded.root.size(), 4u);
    EXPECT_EQ(loaded.root[0].ordinal, 0);
    EXPECT_EQ(loaded.root[1].ordinal, 2);
    EXPECT_EQ(loaded.root[2].ordinal, 3);
    EXPECT_EQ(loaded.root[3].ordinal, 6);
    EXPECT_EQ(loaded.knownOrdinals, (std::vector<int>{1, 4, 5}));

    // The old code writes its own chunks at their ordinals.
    LOutputStreamByteArray second;
    {
        LSDFWriter w;
        ASSERT_TRUE(w.Open(second, 5, 2, loaded.root));
        w.WriteInt(1, 10, 1);
        w.WriteInt(2, 20, 4);
        w.StartContainer(100, loaded.inner, 5);
        w.EndContainer(100);
        ASSERT_TRUE(w.Close());
    }
    // Everything but the empty chunk 10 is back, byte for byte.
    LOutputStreamByteArray expected;
    {
        LSDFWriter w;
        ASSERT_TRUE(w.Open(expected, 5, 2));
        w.WriteInt(7, 70);
        w.WriteInt(1, 10);
        w.WriteString(8, "x");
        w.WriteInt(2, 20);
        w.StartContainer(100);
        w.WriteInt(1, 1);
        w.WriteFloat(55, 5.5f);
        w.EndContainer(100);
        w.WriteInt64(9, 90);
        ASSERT_TRUE(w.Close());
    }
    EXPECT_EQ(second.Data(), expected.Data());
}

TEST(LSDFWriter, WithoutOrdersUnknownChunksGoFirstWhileContiguousThenLast) {
    LSDFUnknownChunkList unknown = {
        {11, 2, 0, Bytes({1, 0, 0, 0})},
        {12, 2, 1, Bytes({2, 0, 0, 0})},
        {13, 2, 3, Bytes({3, 0, 0, 0})},
    };
    LOutputStreamByteArray out;
    LSDFWriter w;
    ASSERT_TRUE(w.Open(out, 5, 1));
    w.StartContainer(100, unknown);
    w.WriteInt(1, 4);
    w.EndContainer(100);
    ASSERT_TRUE(w.Close());

    LInputStreamBuffer in(out.Data());
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, 5));
    LSDFReaderChunkIterator outer(r);
    ASSERT_TRUE(outer.StartNextChunk());
    std::vector<int> ids;
    for (LSDFReaderChunkIterator it(r, outer.Chunk()); it.StartNextChunk();) ids.push_back(it.Chunk().Id());
    EXPECT_EQ(ids, (std::vector<int>{11, 12, 1, 13}));
}

}  // namespace

// The container written through the file streams: a save that is never
// committed, and an in-place rewrite that keeps the file (and its lock).
namespace {

TEST(LOutputStreamFile, FailedOrUncommittedSaveLeavesTheOldFile) {
    kvtest::TempDir dir;
    const std::string path = dir.File("project.kvp");
    kvtest::WriteFileBytes(path, {1, 2, 3});
    {
        LOutputStreamFile out;
        ASSERT_TRUE(out.Open(path));
        LSDFWriter w;
        ASSERT_TRUE(w.Open(out, 26, 7));
        w.WriteInt(1, 1);
        // Destroyed without Commit, as when the writer reported a failure.
    }
    EXPECT_EQ(kvtest::ReadFileBytes(path), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(kvtest::RunCommand("test $(ls -A " + kvtest::ShellQuote(dir.Path()) + " | wc -l) = 1"), 0);

    LOutputStreamFile out;
    EXPECT_FALSE(out.Open(dir.File("missing-folder/x.kvp")));
    EXPECT_FALSE(out.Write("x", 1));
    EXPECT_FALSE(out.Commit());
}

TEST(LReadWriteFile, RewritesAnSdfFileInPlace) {
    kvtest::TempDir dir;
    const std::string path = dir.File("1.audinfo");
    LReadWriteFile file;
    ASSERT_TRUE(file.Open(path));
    const ino_t inode = [&] { struct stat st; fstat(file.Fd(), &st); return st.st_ino; }();
    for (int length : {5000, 3}) {
        ASSERT_TRUE(file.Truncate(0));
        ASSERT_TRUE(file.Seek(0));
        LSDFWriter w;
        ASSERT_TRUE(w.Open(file, 43, 1));
        w.WriteString(16, std::string(static_cast<size_t>(length), 'p'));
        ASSERT_TRUE(w.Close());
    }
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_ino, inode);  // the same file, so a lock on it still guards it
    EXPECT_EQ(st.st_size, 12 + 12 + 12 + 4 + 4);

    ASSERT_TRUE(file.Seek(0));
    LSDFReader r;
    ASSERT_TRUE(r.Open(file, 43));
    LSDFReaderChunkIterator it(r);
    ASSERT_TRUE(it.StartNextChunk());
    std::string s;
    EXPECT_TRUE(it.Chunk().ReadString(s));
    EXPECT_EQ(s, "ppp");
}

}  // namespace
