#include "base/LOutputStreamFile.h"

#include "base/LInputStreamFileShared.h"
#include "base/LOutputStreamByteArray.h"
#include "base/LReadWriteFile.h"
#include "base/testing/TestSupport.h"

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
