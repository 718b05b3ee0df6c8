#pragma once
// LFile: the scoped owner of one file descriptor, and the application's
// well-known folders.
//
// Every descriptor is opened close-on-exec so that the external encoders and
// tools we start never inherit our files, and files are created with mode
// 0666 so that the user's umask alone decides who may read them.
#include <sys/types.h>

#include <cstdio>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class LFile {
public:
    // Paths are handed around in 260-byte buffers, so no folder longer than
    // this is ever returned.
    static constexpr size_t kMaxPath = 259;

    LFile() = default;
    explicit LFile(int fd) : fd_(fd) {}
    ~LFile() { Close(); }
    LFile(LFile&& other) noexcept : fd_(other.Release()) {}
    LFile& operator=(LFile&& other) noexcept;
    LFile(const LFile&) = delete;
    LFile& operator=(const LFile&) = delete;

    // Opens with open(2) flags; O_CLOEXEC is always added, O_CREAT uses 0666.
    // Closes whatever was open before. False (errno set) on failure.
    bool Open(const char* path, int flags);
    bool OpenRead(const char* path);
    bool OpenReadWrite(const char* path);  // created if missing
    bool Create(const char* path);         // read-write, created or emptied

    void Close();
    bool IsOpen() const { return fd_ >= 0; }
    int Fd() const { return fd_; }
    // Gives up ownership; the caller closes the returned descriptor.
    int Release();

    // Reads until size bytes, end of file or an error; returns the count read,
    // or -1 on an error before anything was read.
    int64_t Read(void* buffer, size_t size);
    bool ReadExact(void* buffer, size_t size);
    // Appends everything from the current position to the end of the file;
    // false on a read error, with what was read before it still appended.
    bool ReadToEnd(std::string* out);
    bool WriteAll(const void* data, size_t size);
    bool WriteAll(std::string_view text) { return WriteAll(text.data(), text.size()); }
    // Positioned forms that leave the file offset alone.
    int64_t ReadAt(void* buffer, size_t size, int64_t offset) const;
    bool WriteAllAt(const void* data, size_t size, int64_t offset);

    // lseek; returns the new position or -1.
    int64_t Seek(int64_t offset, int whence = SEEK_SET);
    int64_t Position() const;
    int64_t Size() const;  // -1 on failure
    bool Truncate(int64_t size);
    bool Sync();

    // Whole-file helpers.
    static bool ReadWholeFile(const std::string& path, std::string* out);
    // Writes through LFileReplace: readers see the old or the new content,
    // never a part.
    static bool ReplaceWholeFile(const std::string& path, std::string_view content);

    // Whether another process holds a write lock on the file (flock
    // exclusive, or a POSIX write lock on any part): a writer is at work on it.
    static bool TestFileShareWriteBlocked(const std::string& path);

    // Creates a folder and any missing parents; existing folders are fine.
    // The mode applies to folders made here (before the umask, as mkdir(2)).
    static bool CreateFolder(const std::string& path, mode_t mode = 0777);

    // The user's home: $HOME, else the password database. Empty if unknown.
    static std::string GetHomeFolder();
    // $XDG_CACHE_HOME/kelvane (default ~/.cache/kelvane), made with mode 0777.
    static std::string GetTempFolder();
    // $XDG_DATA_HOME/kelvane (default ~/.local/share/kelvane), made if missing.
    static std::string GetUserDataFolderApp();
    // A subfolder of the user data folder, e.g. "Logs", made if missing.
    static std::string GetUserDataFolderAppSubFolder(const char* name);
    // $XDG_CONFIG_HOME/kelvane (default ~/.config/kelvane), made if missing.
    static std::string GetSettingsFolder();
    // `xdg-user-dir MUSIC`, else ~/Music. Not created.
    static std::string GetMusicFolder();
    // All of the folder functions return an empty string when the folder
    // can't be found or made, or when its path is longer than kMaxPath.

private:
    int fd_ = -1;
};

// Writes all `size` bytes to a descriptor the caller keeps (a pipe or socket
// not owned by an LFile), resuming after partial and interrupted writes.
// False when a write failed or the descriptor took nothing.
bool LWriteAll(int fd, const void* data, size_t size);
// Reads up to `size` bytes at `offset` of a descriptor the caller keeps,
// without moving its file position, resuming after partial and interrupted
// reads. The bytes read (short only at the end of the file, or after an
// error), or -1 when the first read failed.
int64_t LReadAt(int fd, void* buffer, size_t size, int64_t offset);

// flock(2) that gives up after `milliseconds`: it retries LOCK_NB until the
// time is up. Negative milliseconds wait without limit. Returns 0 or -1 with
// errno set (EWOULDBLOCK on time-out).
int flocktimed(int fd, int operation, int milliseconds);
