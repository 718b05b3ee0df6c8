#include "sdf/LSDFReader.h"

#include "base/LInputStreamBuffer.h"
#include "base/LInputStreamFile.h"
#include "base/LOutputStreamByteArray.h"
#include "base/LOutputStreamFile.h"
#include "base/LReadWriteFile.h"
#include "base/testing/TestSupport.h"
#include "sdf/LSDFReaderChunkIterator.h"
#include "sdf/LSDFWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kType = 43;

std::vector<uint8_t> MakeFile(const std::function<void(LSDFWriter&)>& body, uint32_t type = kType,
                              uint16_t version = 1) {
    LOutputStreamByteArray out;
    LSDFWriter w;
    EXPECT_TRUE(w.Open(out, type, version));
    body(w);
    EXPECT_TRUE(w.Close());
    return out.TakeData();
}

TEST(LSDFReader, HeaderChecks) {
    const std::vector<uint8_t> file = MakeFile([](LSDFWriter& w) { w.WriteInt(1, 1); }, kType, 999);
    {
        LInputStreamBuffer in(file);
        LSDFReader r;
        EXPECT_TRUE(r.Open(in, kType));
        EXPECT_EQ(r.UserVersion(), 999);  // a future version opens; the caller decides
        EXPECT_EQ(r.EndOfData(), static_cast<int64_t>(file.size()));
    }
    {
        LInputStreamBuffer in(file);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType + 1));  // wrong file type
        EXPECT_FALSE(r.IsGood());
        EXPECT_FALSE(LSDFReaderChunkIterator(r).StartNextChunk());
    }
    std::vector<uint8_t> bad = file;
    bad[4] = 2;  // format version
    {
        LInputStreamBuffer in(bad);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType));
    }
    bad = file;
    bad[0] = 'L';
    {
        LInputStreamBuffer in(bad);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType));
    }
    bad = file;
    bad[12] = 1;  // root id must be 0
    {
        LInputStreamBuffer in(bad);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType));
    }
    bad = file;
    bad[14] = 7;  // root type must be a container
    {
        LInputStreamBuffer in(bad);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType));
    }
}

TEST(LSDFReader, EveryValueTypeRoundTrips) {
    const std::string longText(5000, 'q');
    const std::vector<uint8_t> blob = {0, 1, 2, 255, 0};
    const std::vector<uint8_t> file = MakeFile([&](LSDFWriter& w) {
        w.WriteBool(1, true);
        w.WriteBool(2, false);
        w.WriteInt(3, std::numeric_limits<int32_t>::min());
        w.WriteInt64(4, std::numeric_limits<int64_t>::max());
        w.WriteFloat(5, -0.1f);
        w.WriteFloat(6, std::numeric_limits<float>::infinity());
        w.WriteString(7, "Grüße");
        w.WriteString(8, longText);
        w.WriteString(9, "");
        w.WriteBlob(10, blob);
        w.WriteBlob(11, nullptr, 0);
        w.WriteDate(12, -86400);
    });
    LInputStreamBuffer in(file);
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, kType));
    int seen = 0;
    for (LSDFReaderChunkIterator it(r); it.StartNextChunk();) {
        LSDFReaderChunk& c = it.Chunk();
        EXPECT_EQ(c.Ordinal(), seen);
        ++seen;
        bool b = false;
        int32_t i = 0;
        int64_t l = 0;
        float f = 0;
        std::string s;
        std::vector<uint8_t> d = {7};
        switch (c.Id()) {
        case 1: EXPECT_TRUE(c.ReadBool(b)); EXPECT_TRUE(b); break;
        case 2: EXPECT_TRUE(c.ReadBool(b)); EXPECT_FALSE(b); break;
        case 3: EXPECT_TRUE(c.ReadInt(i)); EXPECT_EQ(i, std::numeric_limits<int32_t>::min()); break;
        case 4: EXPECT_TRUE(c.ReadInt64(l)); EXPECT_EQ(l, std::numeric_limits<int64_t>::max()); break;
        case 5: EXPECT_TRUE(c.ReadFloat(f)); EXPECT_EQ(f, -0.1f); break;
        case 6: EXPECT_TRUE(c.ReadFloat(f)); EXPECT_TRUE(std::isinf(f)); break;
        case 7: EXPECT_TRUE(c.ReadString(s)); EXPECT_EQ(s, "Grüße"); break;
        case 8: EXPECT_TRUE(c.ReadString(s)); EXPECT_EQ(s, longText); break;
        case 9: EXPECT_TRUE(c.ReadString(s)); EXPECT_EQ(s, ""); EXPECT_EQ(c.Length(), 1); break;
        case 10: EXPECT_TRUE(c.ReadData(d)); EXPECT_EQ(d, blob); break;
        case 11: EXPECT_TRUE(c.ReadData(d)); EXPECT_TRUE(d.empty()); break;
        case 12: EXPECT_TRUE(c.ReadDate(l)); EXPECT_EQ(l, -86400); EXPECT_EQ(c.Type(), 9); break;
        default: ADD_FAILURE() << c.Id();
        }
    }
    EXPECT_EQ(seen, 12);
    EXPECT_TRUE(r.IsGood());
}

TEST(LSDFReader, FixedBufferStringIsCutAndTerminated) {
    const std::string longText(2000, 'z');
    const std::vector<uint8_t> file = MakeFile([&](LSDFWriter& w) {
        w.WriteString(1, longText);
        w.WriteInt(2, 42);
    });
    LInputStreamBuffer in(file);
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, kType));
    LSDFReaderChunkIterator it(r);
    ASSERT_TRUE(it.StartNextChunk());
    char buffer[1561];
    std::fill(std::begin(buffer), std::end(buffer), 'x');
    EXPECT_TRUE(it.Chunk().ReadString(buffer));
    EXPECT_EQ(std::string(buffer), longText.substr(0, 1560));
    // The stream stands at the chunk's end, where the next header starts.
    EXPECT_EQ(in.Position(), it.Chunk().Info().End());
    ASSERT_TRUE(it.StartNextChunk());
    int32_t v = 0;
    EXPECT_TRUE(it.Chunk().ReadInt(v));
    EXPECT_EQ(v, 42);

    char tiny[1];
    EXPECT_TRUE(it.Chunk().ReadString(tiny));  // an int read as a string into one byte
    EXPECT_EQ(tiny[0], '\0');
}

TEST(LSDFReader, ValueTooShortForItsTypeIsRefusedButHarmless) {
    const std::vector<uint8_t> file = MakeFile([](LSDFWriter& w) {
        w.WriteBool(1, true);
        w.WriteInt(2, 9);
    });
    LInputStreamBuffer in(file);
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, kType));
    LSDFReaderChunkIterator it(r);
    ASSERT_TRUE(it.StartNextChunk());
    int64_t l = 0;
    EXPECT_FALSE(it.Chunk().ReadInt64(l));
    EXPECT_TRUE(r.IsGood());
    ASSERT_TRUE(it.StartNextChunk());
    int32_t i = 0;
    EXPECT_TRUE(it.Chunk().ReadInt(i));
    EXPECT_EQ(i, 9);
}

TEST(LSDFReader, NestedIteratorsStopAtTheirContainersEnd) {
    const std::vector<uint8_t> file = MakeFile([](LSDFWriter& w) {
        w.StartContainer(1);
        w.WriteInt(10, 1);
        w.StartContainer(11);
        w.WriteInt(20, 2);
        w.WriteInt(21, 3);
        w.EndContainer(11);
        w.WriteInt(12, 4);
        w.EndContainer(1);
        w.StartContainer(2);  // empty
        w.EndContainer(2);
        w.WriteInt(3, 5);
    });
    LInputStreamBuffer in(file);
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, kType));
    std::vector<std::string> trace;
    auto tag = [](char level, int id) { return std::string(1, level).append(std::to_string(id)); };
    for (LSDFReaderChunkIterator a(r); a.StartNextChunk();) {
        trace.push_back(tag('a', a.Chunk().Id()));
        for (LSDFReaderChunkIterator b(r, a.Chunk()); b.StartNextChunk();) {
            trace.push_back(tag('b', b.Chunk().Id()));
            EXPECT_EQ(b.Depth(), 2);
            for (LSDFReaderChunkIterator c(r, b.Chunk()); c.StartNextChunk();) {
                trace.push_back(tag('c', c.Chunk().Id()));
                EXPECT_EQ(c.Depth(), 3);
                break;  // leaving early doesn't put the outer loops out of step
            }
        }
    }
    EXPECT_EQ(trace, (std::vector<std::string>{"a1", "b10", "b11", "c20", "b12", "a2", "a3"}));
    EXPECT_TRUE(r.IsGood());

    // A value chunk has no children.
    LSDFReader r2;
    LInputStreamBuffer in2(file);
    ASSERT_TRUE(r2.Open(in2, kType));
    LSDFReaderChunkIterator top(r2);
    while (top.StartNextChunk() && top.Chunk().Id() != 3) {}
    EXPECT_FALSE(LSDFReaderChunkIterator(r2, top.Chunk()).StartNextChunk());
}

TEST(LSDFReader, NestedIteratorStopsEvenIfTheFileGoesOn) {
    // The root's length covers only the first container, but more chunks follow.
    std::vector<uint8_t> file = MakeFile([](LSDFWriter& w) {
        w.StartContainer(1);
        w.WriteInt(10, 1);
        w.EndContainer(1);
        w.WriteInt(2, 2);
    });
    file[16] = 12 + 12 + 4;
    LInputStreamBuffer in(file);
    LSDFReader r;
    ASSERT_TRUE(r.Open(in, kType));
    int count = 0;
    for (LSDFReaderChunkIterator it(r); it.StartNextChunk();) ++count;
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(r.IsGood());
}

TEST(LSDFReader, TruncatedFilesGiveCleanErrors) {
    const std::vector<uint8_t> file = MakeFile([](LSDFWriter& w) {
        w.StartContainer(1);
        w.WriteString(10, "hello");
        w.EndContainer(1);
        w.WriteInt(2, 2);
    });
    // Without the end marker the file is still complete.
    for (size_t size = 0; size < file.size() - 4; ++size) {
        LInputStreamBuffer in(file.data(), size);
        LSDFReader r;
        EXPECT_FALSE(r.Open(in, kType)) << size;  // the root no longer fits
    }
    LInputStreamBuffer in(file.data(), file.size() - 4);
    LSDFReader r;
    EXPECT_TRUE(r.Open(in, kType));
}

TEST(LSDFReader, LyingLengthsGiveCleanErrors) {
    const std::vector<uint8_t> good = MakeFile([](LSDFWriter& w) {
        w.StartContainer(1);
        w.WriteString(10, "hello");
        w.EndContainer(1);
        w.WriteInt(2, 2);
    });
    // Offsets: root header 12, container 1 header 24, string header 36.
    struct Case {
        size_t offset;
        uint8_t value;
        const char* what;
    };
    for (const Case& c : {Case{28, 200, "container longer than the root"},
                          Case{40, 100, "string longer than its container"},
                          Case{47, 0x80, "length above 2^63"},
                          Case{28, 3, "container too short for its child's header"}}) {
        std::vector<uint8_t> bad = good;
        bad[c.offset] = c.value;
        LInputStreamBuffer in(bad);
        LSDFReader r;
        ASSERT_TRUE(r.Open(in, kType)) << c.what;
        for (LSDFReaderChunkIterator a(r); a.StartNextChunk();) {
            for (LSDFReaderChunkIterator b(r, a.Chunk()); b.StartNextChunk();) {
                std::string s;
                b.Chunk().ReadString(s);
            }
        }
        EXPECT_FALSE(r.IsGood()) << c.what;
    }
}

TEST(LSDFReader, ReadsFromFilesAndSharedDescriptors) {
    kvtest::TempDir dir;
    const std::string path = dir.File("a.audinfo");
    {
        LOutputStreamFile out;
        ASSERT_TRUE(out.Open(path));
        LSDFWriter w;
        ASSERT_TRUE(w.Open(out, kType, 3));
        for (int i = 0; i < 20000; ++i) w.WriteInt(static_cast<uint16_t>(i), i);  // well beyond one buffer
        ASSERT_TRUE(w.Close());
        ASSERT_TRUE(out.Commit());
    }
    auto check = [](LInputStream& in) {
        LSDFReader r;
        ASSERT_TRUE(r.Open(in, kType));
        EXPECT_EQ(r.UserVersion(), 3);
        int expected = 0;
        for (LSDFReaderChunkIterator it(r); it.StartNextChunk(); ++expected) {
            int32_t v = -1;
            ASSERT_TRUE(it.Chunk().ReadInt(v));
            ASSERT_EQ(v, expected);
        }
        EXPECT_EQ(expected, 20000);
        EXPECT_TRUE(r.IsGood());
    };
    LInputStreamFile file(path);
    ASSERT_TRUE(file.IsOpen());
    check(file);
    LInputStreamFileShared shared(file.Fd(), 100);  // a small buffer crosses headers
    check(shared);
    LReadWriteFile rw;
    ASSERT_TRUE(rw.Open(path));
    check(rw);
}

}  // namespace
