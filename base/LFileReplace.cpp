#include "base/LFileReplace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// The umask can be read without changing it only through /proc; setting and
// restoring it would briefly change it for every thread of the process.
mode_t CurrentUmask() {
    static const mode_t mask = [] {
        std::string status;
        if (LFile::ReadWholeFile("/proc/self/status", &status)) {
            size_t at = status.find("\nUmask:");
            if (at != std::string::npos) return static_cast<mode_t>(std::strtoul(status.c_str() + at + 7, nullptr, 8));
        }
        mode_t old = ::umask(022);
        ::umask(old);
        return old;
    }();
    return mask;
}

std::string FolderOf(const std::string& path) {
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

LFileReplace::LFileReplace(const std::string& targetPath) : targetPath_(targetPath) {
    std::string pattern = targetPath + ".tmp-XXXXXX";
    int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd < 0) return;
    file_ = LFile(fd);
    tempPath_ = pattern;
    struct stat old;
    mode_t mode = (::stat(targetPath.c_str(), &old) == 0) ? (old.st_mode & 07777) : (0666 & ~CurrentUmask());
    ::fchmod(fd, mode);
}

LFileReplace::~LFileReplace() { Discard(); }

bool LFileReplace::Commit() {
    if (!file_.IsOpen()) return false;
    bool synced = file_.Sync();
    file_.Close();
    if (!synced || ::rename(tempPath_.c_str(), targetPath_.c_str()) != 0) {
        ::unlink(tempPath_.c_str());
        tempPath_.clear();
        return false;
    }
    tempPath_.clear();
    // Make the rename itself durable; a failure here leaves a complete file either way.
    LFile folder;
    if (folder.Open(FolderOf(targetPath_).c_str(), O_RDONLY | O_DIRECTORY)) folder.Sync();
    return true;
}

void LFileReplace::Discard() {
    if (file_.IsOpen()) file_.Close();
    if (!tempPath_.empty()) {
        ::unlink(tempPath_.c_str());
        tempPath_.clear();
    }
}
