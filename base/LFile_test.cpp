#include "base/LFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "base/LFileLock.h"
#include "base/LFileReplace.h"
#include "base/testing/TestSupport.h"

namespace {

bool IsFolder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A child process that holds an exclusive flock on `path` until told to stop.
class LockHoldingChild {
public:
    explicit LockHoldingChild(const std::string& path) {
        int ready[2], release[2];
        EXPECT_EQ(pipe(ready), 0);
        EXPECT_EQ(pipe(release), 0);
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            close(release[1]);  // else the child never sees the release pipe close
            LFile file;
            char byte = 0;
            if (!file.OpenReadWrite(path.c_str()) || flock(file.Fd(), LOCK_EX) != 0) _exit(2);
            if (write(ready[1], "r", 1) != 1) _exit(3);
            if (read(release[0], &byte, 1) < 0) _exit(4);
            _exit(0);
        }
        close(ready[1]);
        close(release[0]);
        releaseFd_ = release[1];
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
    }
    ~LockHoldingChild() {
        close(releaseFd_);
        int status = 0;
        waitpid(pid_, &status, 0);
    }

private:
    pid_t pid_ = -1;
    int releaseFd_ = -1;
};

}  // namespace

TEST(LFile, OpensCloseOnExecAndCreatesWithMode0666) {
    kvtest::TempDir dir;
    mode_t old = umask(0);
    LFile file;
    bool created = file.Create(dir.File("a").c_str());
    umask(old);
    ASSERT_TRUE(created);
    EXPECT_TRUE(fcntl(file.Fd(), F_GETFD) & FD_CLOEXEC);
    struct stat info;
    ASSERT_EQ(fstat(file.Fd(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u);
}

TEST(LFile, ReadWriteSeekTruncateAndMove) {
    kvtest::TempDir dir;
    LFile file;
    ASSERT_TRUE(file.Create(dir.File("data").c_str()));
    ASSERT_TRUE(file.WriteAll("hello world"));
    EXPECT_EQ(file.Size(), 11);
    EXPECT_EQ(file.Seek(6), 6);
    char word[5];
    ASSERT_TRUE(file.ReadExact(word, 5));
    EXPECT_EQ(std::string(word, 5), "world");
    EXPECT_FALSE(file.ReadExact(word, 1));  // at the end
    ASSERT_TRUE(file.WriteAllAt("J", 1, 0));
    EXPECT_EQ(file.ReadAt(word, 5, 0), 5);
    EXPECT_EQ(std::string(word, 5), "Jello");
    ASSERT_TRUE(file.Truncate(5));
    EXPECT_EQ(file.Size(), 5);

    LFile moved(std::move(file));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(moved.IsOpen());
    LFile missing;
    EXPECT_FALSE(missing.OpenRead(dir.File("nothing").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST(LFileFolders, FollowXdgAndAreCreated) {
    kvtest::IsolatedHome home;
    EXPECT_EQ(LFile::GetTempFolder(), home.Path() + "/.cache/kelvane");
    EXPECT_EQ(LFile::GetUserDataFolderApp(), home.Path() + "/.local/share/kelvane");
    EXPECT_EQ(LFile::GetSettingsFolder(), home.Path() + "/.config/kelvane");
    EXPECT_EQ(LFile::GetUserDataFolderAppSubFolder("Logs"), home.Path() + "/.local/share/kelvane/Logs");
    EXPECT_TRUE(IsFolder(home.Path() + "/.cache/kelvane"));
    EXPECT_TRUE(IsFolder(home.Path() + "/.local/share/kelvane/Logs"));
    EXPECT_TRUE(IsFolder(home.Path() + "/.config/kelvane"));
}

TEST(LFileFolders, DefaultsUnderHomeAndRelativeXdgIgnored) {
    kvtest::IsolatedHome home;
    kvtest::ScopedEnv relative("XDG_CACHE_HOME", "relative/cache");
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(LFile::GetTempFolder(), home.Path() + "/.cache/kelvane");
    EXPECT_EQ(LFile::GetUserDataFolderApp(), home.Path() + "/.local/share/kelvane");
}

TEST(LFileFolders, PathsBeyond259CharactersFail) {
    kvtest::IsolatedHome home;
    std::string deep = home.Path() + "/" + std::string(240, 'd');
    kvtest::ScopedEnv cache("XDG_CACHE_HOME", deep);  // + "/kelvane" passes 259
    EXPECT_EQ(LFile::GetTempFolder(), "");
    EXPECT_EQ(LFile::GetUserDataFolderAppSubFolder(std::string(260, 's').c_str()), "");
}

TEST(LFileFolders, MusicFallsBackToHomeMusic) {
    kvtest::IsolatedHome home;
    // No user-dirs.dirs in the isolated home: xdg-user-dir answers the home.
    EXPECT_EQ(LFile::GetMusicFolder(), home.Path() + "/Music");
    std::filesystem::create_directories(home.Path() + "/.config");
    kvtest::WriteFileBytes(home.Path() + "/.config/user-dirs.dirs",
                           {'X', 'D', 'G', '_', 'M', 'U', 'S', 'I', 'C', '_', 'D', 'I', 'R', '=', '"', '$', 'H', 'O',
                            'M', 'E', '/', 'T', 'o', 'n', '"', '\n'});
    KV_REQUIRE_TOOL("xdg-user-dir");
    EXPECT_EQ(LFile::GetMusicFolder(), home.Path() + "/Ton");
}

TEST(Flocktimed, TimesOutAgainstALockHeldByAnotherProcess) {
    kvtest::TempDir dir;
    std::string path = dir.File("lock");
    {
        LockHoldingChild child(path);
        LFile file;
        ASSERT_TRUE(file.OpenReadWrite(path.c_str()));
        errno = 0;
        EXPECT_EQ(flocktimed(file.Fd(), LOCK_EX, 50), -1);
        EXPECT_EQ(errno, EWOULDBLOCK);
        EXPECT_EQ(flocktimed(file.Fd(), LOCK_SH, 0), -1);
        LFileLock scoped(path, LOCK_EX, 20);
        EXPECT_FALSE(scoped.IsLocked());
    }
    // The child has gone, and its lock with it.
    LFileLock scoped(path, LOCK_EX, 1000);
    EXPECT_TRUE(scoped.IsLocked());
    LFile other;
    ASSERT_TRUE(other.OpenReadWrite(path.c_str()));
    EXPECT_EQ(flocktimed(other.Fd(), LOCK_EX, 0), -1);
    scoped.Unlock();
    EXPECT_EQ(flocktimed(other.Fd(), LOCK_EX, 0), 0);
}

TEST(LFileReplace, DiscardKeepsOldContentAndLeavesNoTemporary) {
    kvtest::TempDir dir;
    std::string path = dir.File("doc");
    ASSERT_TRUE(LFile::ReplaceWholeFile(path, "old"));
    {
        LFileReplace replace(path);
        ASSERT_TRUE(replace.IsOpen());
        ASSERT_TRUE(replace.File().WriteAll("new but unfinished"));
    }
    std::string content;
    ASSERT_TRUE(LFile::ReadWholeFile(path, &content));
    EXPECT_EQ(content, "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}

TEST(LFileReplace, KeepsPermissionsOfTheReplacedFile) {
    kvtest::TempDir dir;
    std::string path = dir.File("doc");
    ASSERT_TRUE(LFile::ReplaceWholeFile(path, "one"));
    mode_t mask = umask(0);
    umask(mask);
    struct stat fresh;
    ASSERT_EQ(stat(path.c_str(), &fresh), 0);
    EXPECT_EQ(fresh.st_mode & 0777, 0666u & ~mask);  // like a file opened with 0666
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    ASSERT_TRUE(LFile::ReplaceWholeFile(path, "two"));
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST(LFileReplace, AReaderNeverSeesAPartialFile) {
    kvtest::TempDir dir;
    std::string path = dir.File("big");
    const std::string first(1 << 18, 'a');
    const std::string second(3 << 17, 'b');
    ASSERT_TRUE(LFile::ReplaceWholeFile(path, first));
    pid_t writer = fork();
    if (writer == 0) {
        for (int i = 0; i < 30; ++i) {
            if (!LFile::ReplaceWholeFile(path, i % 2 ? first : second)) _exit(1);
        }
        _exit(0);
    }
    int bad = 0, status = 0;
    for (;;) {
        std::string seen;
        if (!LFile::ReadWholeFile(path, &seen) || (seen != first && seen != second)) ++bad;
        if (waitpid(writer, &status, WNOHANG) == writer) break;
    }
    EXPECT_EQ(bad, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
