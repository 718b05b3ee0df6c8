#include "base/LSaveTransaction.h"

#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> Bytes(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

int FilesIn(const kvtest::TempDir& dir) {
    std::string out;
    kvtest::RunCommand("ls -A " + kvtest::ShellQuote(dir.Path()) + " | wc -l", &out);
    return std::stoi(out);
}

TEST(LSaveTransaction, WritesBesideTheTargetAsAHiddenFileOfItsTypeAndReplacesItOnCommit) {
    kvtest::TempDir dir;
    const std::string target = dir.File("song.wav");
    kvtest::WriteFileBytes(target, Bytes("old"));
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    {
        LSaveTransaction save(target);
        ASSERT_TRUE(save.IsOpen());
        const std::string written = save.WritePath();
        EXPECT_EQ(written.rfind(dir.Path() + "/.song-", 0), 0u) << written;
        EXPECT_EQ(written.substr(written.size() - 4), ".wav");
        kvtest::WriteFileBytes(written, Bytes("new"));
        EXPECT_EQ(kvtest::ReadFileBytes(target), Bytes("old"));
        ASSERT_TRUE(save.Commit());
    }
    EXPECT_EQ(kvtest::ReadFileBytes(target), Bytes("new"));
    struct stat st;
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(FilesIn(dir), 1);
}

TEST(LSaveTransaction, WithoutCommitTheOldFileStaysAndNothingIsLeft) {
    kvtest::TempDir dir;
    const std::string target = dir.File("keep.flac");
    kvtest::WriteFileBytes(target, Bytes("precious"));
    {
        LSaveTransaction save(target);
        kvtest::WriteFileBytes(save.WritePath(), Bytes("half"));
    }
    EXPECT_EQ(kvtest::ReadFileBytes(target), Bytes("precious"));
    EXPECT_EQ(FilesIn(dir), 1);

    LSaveTransaction nowhere(dir.File("missing/x.wav"));
    EXPECT_FALSE(nowhere.IsOpen());
    EXPECT_FALSE(nowhere.Commit());
}

TEST(LSaveTransaction, AKillHalfWayLeavesTheOldFile) {
    kvtest::TempDir dir;
    const std::string target = dir.File("a.wav");
    kvtest::WriteFileBytes(target, Bytes("old content"));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        LSaveTransaction save(target);
        kvtest::WriteFileBytes(save.WritePath(), Bytes("partial"));
        std::raise(SIGKILL);  // dies before Commit, as a crash or kill -9 would
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(kvtest::ReadFileBytes(target), Bytes("old content"));
}

TEST(LSaveTransaction, ALinkIsFollowedAndStaysALink) {
    kvtest::TempDir dir;
    ASSERT_EQ(mkdir(dir.File("real").c_str(), 0777), 0);
    const std::string file = dir.File("real/take.wav");
    const std::string link = dir.File("link.wav");
    kvtest::WriteFileBytes(file, Bytes("old"));
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    {
        LSaveTransaction save(link);
        EXPECT_EQ(save.Target(), file);
        kvtest::WriteFileBytes(save.WritePath(), Bytes("new"));
        ASSERT_TRUE(save.Commit());
    }
    struct stat st;
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(kvtest::ReadFileBytes(file), Bytes("new"));
}

}  // namespace
