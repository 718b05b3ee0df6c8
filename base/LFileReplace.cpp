#include "base/LFileReplace.h"

#include "base/LPathName.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

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



// The template of the temporary name and the length of its fixed suffix.
std::pair<std::string, int> TempPattern(const std::string& target, LFileReplace::TempName naming) {
    if (naming == LFileReplace::TempName::Suffix) return {target + ".tmp-XXXXXX", 0};
    const size_t slash = target.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    const std::string name = target.substr(folder.size());
    const size_t dot = name.find_last_of('.');
    const std::string extension = dot == std::string::npos || dot == 0 ? "" : name.substr(dot);
    const std::string stem = name.substr(0, name.size() - extension.size());
    return {folder + "." + stem + "-XXXXXX" + extension, static_cast<int>(extension.size())};
}

}  // namespace

LFileReplace::LFileReplace(const std::string& targetPath, TempName naming) : targetPath_(targetPath) {
    auto [pattern, suffixLength] = TempPattern(targetPath, naming);
    int fd = ::mkostemps(pattern.data(), suffixLength, O_CLOEXEC);
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
    if (folder.Open(LPathFolder(targetPath_).c_str(), O_RDONLY | O_DIRECTORY)) folder.Sync();
    return true;
}

void LFileReplace::Discard() {
    if (file_.IsOpen()) file_.Close();
    if (!tempPath_.empty()) {
        ::unlink(tempPath_.c_str());
        tempPath_.clear();
    }
}
