#include "sdf/LOutputStreamFile.h"

#include "base/testing/TestSupport.h"
#include "sdf/LInputStreamFileShared.h"
#include "sdf/LOutputStreamByteArray.h"
#include "sdf/LReadWriteFile.h"
#include "sdf/LSDFReader.h"
#include "sdf/LSDFReaderChunkIterator.h"
#include "sdf/LSDFWriter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <numeric>

namespace {

TEST(LOutputStreamFile, PatchesInsideAndOutsideTheBufferLandInTheFile) {
    kvtest::TempDir dir;
    const std::string path = dir.File("out.bin");
    std::vector<uint8_t> big(LOutputStreamFile::kBufferSize * 2 + 17);
    std::iota(big.begin(), big.end(), 0);
    LOutputStreamFile out;
    ASSERT_TRUE(out.Open(path));
    ASSERT_TRUE(out.Write("abcd", 4));
    ASSERT_TRUE(out.Write(big.data(), big.size()));  // bypasses the buffer
    ASSERT_TRUE(out.Write("tail", 4));
    ASSERT_TRUE(out.Seek(1));
    ASSERT_TRUE(out.Write("XY", 2));                  // long flushed
    ASSERT_TRUE(out.Seek(out.Position() + 4 + static_cast<int64_t>(big.size()) + 1 - 3));
    ASSERT_TRUE(out.Write("A", 1));                   // still buffered
    ASSERT_TRUE(out.Seek(static_cast<int64_t>(8 + big.size())));
    ASSERT_TRUE(out.Write("!", 1));
    ASSERT_TRUE(out.Commit());

    std::vector<uint8_t> expected = {'a', 'X', 'Y', 'd'};
    expected.insert(expected.end(), big.begin(), big.end());
    expected.insert(expected.end(), {'t', 'A', 'i', 'l', '!'});
    EXPECT_EQ(kvtest::ReadFileBytes(path), expected);
}

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

TEST(LOutputStreamByteArray, SeeksOnlyWithinWhatWasWritten) {
    LOutputStreamByteArray out;
    ASSERT_TRUE(out.Write("hello", 5));
    EXPECT_FALSE(out.Seek(6));
    EXPECT_FALSE(out.Seek(-1));
    ASSERT_TRUE(out.Seek(1));
    ASSERT_TRUE(out.Write("EL", 2));
    EXPECT_EQ(std::string(out.Data().begin(), out.Data().end()), "hELlo");
    ASSERT_TRUE(out.Seek(5));
    ASSERT_TRUE(out.Write("!", 1));
    EXPECT_EQ(out.Data().size(), 6u);
}

TEST(LInputStreamFileShared, LeavesTheOwnersOffsetAlone) {
    kvtest::TempDir dir;
    const std::string path = dir.File("f");
    kvtest::WriteFileBytes(path, {10, 11, 12, 13, 14, 15, 16});
    LReadWriteFile owner;
    ASSERT_TRUE(owner.Open(path));
    ASSERT_EQ(lseek(owner.Fd(), 2, SEEK_SET), 2);
    LInputStreamFileShared in(owner.Fd(), 3);
    uint8_t b[5];
    ASSERT_TRUE(in.Seek(1));
    ASSERT_EQ(in.Read(b, 5), 5);
    EXPECT_EQ(b[0], 11);
    EXPECT_EQ(b[4], 15);
    EXPECT_EQ(in.Read(b, 5), 1);  // short only at the end
    EXPECT_EQ(in.Read(b, 5), 0);
    EXPECT_EQ(in.Size(), 7);
    EXPECT_EQ(lseek(owner.Fd(), 0, SEEK_CUR), 2);
}

}  // namespace

namespace {

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
