#include "base/LFile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "base/LFileReplace.h"

LFile& LFile::operator=(LFile&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.Release();
    }
    return *this;
}

bool LFile::Open(const char* path, int flags) {
    Close();
    do {
        fd_ = ::open(path, flags | O_CLOEXEC, 0666);
    } while (fd_ < 0 && errno == EINTR);
    return fd_ >= 0;
}

bool LFile::OpenRead(const char* path) { return Open(path, O_RDONLY); }
bool LFile::OpenReadWrite(const char* path) { return Open(path, O_RDWR | O_CREAT); }
bool LFile::Create(const char* path) { return Open(path, O_RDWR | O_CREAT | O_TRUNC); }

void LFile::Close() {
    if (fd_ >= 0) {
        // close(2) must not be retried on EINTR on Linux: the descriptor is gone.
        ::close(fd_);
        fd_ = -1;
    }
}

int LFile::Release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
}

namespace {

// Calls io(bytes, count, done) until size bytes have moved, the file ends (0)
// or it fails; interrupted calls are repeated. Returns the bytes moved, or -1
// when the first call failed.
template <class Io>
int64_t TransferFully(size_t size, Io io) {
    size_t done = 0;
    while (done < size) {
        ssize_t moved = io(size - done, done);
        if (moved < 0) {
            if (errno == EINTR) continue;
            return done > 0 ? static_cast<int64_t>(done) : -1;
        }
        if (moved == 0) break;
        done += static_cast<size_t>(moved);
    }
    return static_cast<int64_t>(done);
}

}  // namespace

int64_t LFile::Read(void* buffer, size_t size) {
    auto* bytes = static_cast<char*>(buffer);
    return TransferFully(size, [&](size_t count, size_t done) { return ::read(fd_, bytes + done, count); });
}

bool LFile::ReadExact(void* buffer, size_t size) {
    return Read(buffer, size) == static_cast<int64_t>(size);
}

bool LWriteAll(int fd, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    return TransferFully(size, [&](size_t count, size_t done) { return ::write(fd, bytes + done, count); }) ==
           static_cast<int64_t>(size);
}

bool LFile::WriteAll(const void* data, size_t size) { return LWriteAll(fd_, data, size); }

int64_t LReadAt(int fd, void* buffer, size_t size, int64_t offset) {
    auto* bytes = static_cast<char*>(buffer);
    return TransferFully(size, [&](size_t count, size_t done) {
        return ::pread(fd, bytes + done, count, static_cast<off_t>(offset + done));
    });
}

int64_t LFile::ReadAt(void* buffer, size_t size, int64_t offset) const { return LReadAt(fd_, buffer, size, offset); }

bool LFile::WriteAllAt(const void* data, size_t size, int64_t offset) {
    const auto* bytes = static_cast<const char*>(data);
    return TransferFully(size, [&](size_t count, size_t done) {
               return ::pwrite(fd_, bytes + done, count, static_cast<off_t>(offset + done));
           }) == static_cast<int64_t>(size);
}

int64_t LFile::Seek(int64_t offset, int whence) {
    return static_cast<int64_t>(::lseek(fd_, static_cast<off_t>(offset), whence));
}

int64_t LFile::Position() const { return static_cast<int64_t>(::lseek(fd_, 0, SEEK_CUR)); }

int64_t LFile::Size() const {
    struct stat info;
    if (::fstat(fd_, &info) != 0) return -1;
    return static_cast<int64_t>(info.st_size);
}

bool LFile::Truncate(int64_t size) {
    int result;
    do {
        result = ::ftruncate(fd_, static_cast<off_t>(size));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool LFile::Sync() { return ::fsync(fd_) == 0; }

bool LFile::ReadToEnd(std::string* out) {
    char block[65536];
    for (;;) {
        int64_t got = Read(block, sizeof block);
        if (got < 0) return false;
        out->append(block, static_cast<size_t>(got));
        if (got < static_cast<int64_t>(sizeof block)) return true;
    }
}

bool LFile::ReadWholeFile(const std::string& path, std::string* out) {
    out->clear();
    LFile file;
    return file.OpenRead(path.c_str()) && file.ReadToEnd(out);
}

bool LFile::ReplaceWholeFile(const std::string& path, std::string_view content) {
    LFileReplace replace(path);
    return replace.IsOpen() && replace.File().WriteAll(content) && replace.Commit();
}

bool LFile::CreateFolder(const std::string& path, mode_t mode) {
    if (path.empty()) return false;
    struct stat info;
    if (::stat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
    size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) {
        if (!CreateFolder(path.substr(0, slash), 0777)) return false;
    }
    if (::mkdir(path.c_str(), mode) == 0) return true;
    // Another process may have made it between our stat and mkdir.
    return errno == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

namespace {

const char kAppFolderName[] = "kelvane";

std::string FitsPathBuffer(std::string path) {
    return path.size() <= LFile::kMaxPath ? path : std::string();
}

// An XDG base folder: the variable when it holds an absolute path (the XDG
// rules say to ignore relative ones), else the default under the home.
std::string XdgBase(const char* variable, const char* homeRelativeDefault) {
    const char* value = getenv(variable);
    if (value && value[0] == '/') return value;
    std::string home = LFile::GetHomeFolder();
    if (home.empty()) return std::string();
    return home + "/" + homeRelativeDefault;
}

std::string AppFolder(const char* variable, const char* homeRelativeDefault, mode_t mode) {
    std::string base = XdgBase(variable, homeRelativeDefault);
    if (base.empty()) return std::string();
    std::string folder = FitsPathBuffer(base + "/" + kAppFolderName);
    if (folder.empty() || !LFile::CreateFolder(folder, mode)) return std::string();
    return folder;
}

void TrimLineEnd(std::string& text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
}

}  // namespace

std::string LFile::GetHomeFolder() {
    const char* home = getenv("HOME");
    if (home && home[0] == '/') return home;
    struct passwd entry;
    struct passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return std::string();
}

std::string LFile::GetTempFolder() {
    // Open to all like a cache folder; the cache items and sockets in it are
    // per user because the folder itself is per user.
    return AppFolder("XDG_CACHE_HOME", ".cache", 0777);
}

std::string LFile::GetUserDataFolderApp() {
    return AppFolder("XDG_DATA_HOME", ".local/share", 0777);
}

std::string LFile::GetUserDataFolderAppSubFolder(const char* name) {
    if (!name || !name[0]) return std::string();
    std::string base = GetUserDataFolderApp();
    if (base.empty()) return std::string();
    std::string folder = FitsPathBuffer(base + "/" + name);
    if (folder.empty() || !CreateFolder(folder, 0777)) return std::string();
    return folder;
}

std::string LFile::GetSettingsFolder() {
    return AppFolder("XDG_CONFIG_HOME", ".config", 0777);
}

std::string LFile::GetMusicFolder() {
    std::string home = GetHomeFolder();
    std::string answer;
    if (FILE* pipe = popen("xdg-user-dir MUSIC 2>/dev/null", "r")) {
        char line[4096];
        if (fgets(line, sizeof line, pipe)) answer = line;
        pclose(pipe);
    }
    TrimLineEnd(answer);
    // xdg-user-dir answers with the home itself when no Music folder is set.
    if (answer.empty() || answer[0] != '/' || answer == home || answer == home + "/") {
        if (home.empty()) return std::string();
        answer = home + "/Music";
    }
    return FitsPathBuffer(answer);
}

int flocktimed(int fd, int operation, int milliseconds) {
    operation &= ~LOCK_NB;
    if (milliseconds < 0) {
        int result;
        do {
            result = ::flock(fd, operation);
        } while (result != 0 && errno == EINTR);
        return result;
    }
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    // Short waits first so an uncontended hand-over is quick, then back off.
    auto pause = std::chrono::microseconds(200);
    for (;;) {
        if (::flock(fd, operation | LOCK_NB) == 0) return 0;
        if (errno != EWOULDBLOCK && errno != EINTR) return -1;
        auto now = Clock::now();
        if (now >= deadline) {
            errno = EWOULDBLOCK;
            return -1;
        }
        auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - now);
        std::this_thread::sleep_for(std::min(pause, left));
        pause = std::min(pause * 2, std::chrono::microseconds(10000));
    }
}

bool LFile::TestFileShareWriteBlocked(const std::string& path) {
    LFile file;
    if (!file.OpenRead(path.c_str())) return false;
    struct flock probe {};
    probe.l_type = F_RDLCK;  // conflicts only with a write lock
    probe.l_whence = SEEK_SET;
    if (::fcntl(file.Fd(), F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK) return true;
    if (::flock(file.Fd(), LOCK_SH | LOCK_NB) != 0) return errno == EWOULDBLOCK;
    ::flock(file.Fd(), LOCK_UN);
    return false;
}
