#include "base/LLogError.h"

#include "base/LFile.h"
#include "base/LPlatform.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

constexpr size_t kMaxLogText = 511;
constexpr size_t kWindowMinFree = 260;
constexpr size_t kWindowDrop = 2048;
constexpr int kLockMs = 500;

struct LogState {
    std::mutex mutex;
    time_t cachedSecond = -1;
    std::string timeText;  // "HH:MM:SS"
    std::string path;      // the day's file
    bool windowAttached = false;
    std::function<void()> wake;
    std::string windowText;
};

LogState& State() {
    static LogState state;
    return state;
}

void WriteAll(int fd, const std::string& data) {
    const char* bytes = data.data();
    size_t left = data.size();
    while (left > 0) {
        ssize_t n = ::write(fd, bytes, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        bytes += n;
        left -= static_cast<size_t>(n);
    }
}

}  // namespace

std::string LLogFileName(const std::tm& local) {
    char name[96];
    std::snprintf(name, sizeof name, "%.4d-%.2d-%.2d Kelvane Audio-Editor-Protokoll.txt", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday);
    return name;
}

std::string LLogFormatLine(const std::tm& local, const char* text) {
    char time[16];
    std::snprintf(time, sizeof time, "%.2d:%.2d:%.2d", local.tm_hour, local.tm_min, local.tm_sec);
    std::string cut(text ? text : "");
    if (cut.size() > kMaxLogText)
        cut.resize(kMaxLogText);
    char line[16 + kMaxLogText + 4];
    std::snprintf(line, sizeof line, "%s %s\r\n", time, cut.c_str());
    return line;
}

void LLogAppendToWindowBuffer(std::string& buffer, const std::string& line) {
    // One byte stays for the terminating NUL of the window's text. A line
    // longer than the free space also forces the drop, so nothing overflows.
    const size_t needed = std::max(kWindowMinFree, line.size() + 1);
    while (!buffer.empty() && kLogWindowBufferBytes - std::min(buffer.size(), kLogWindowBufferBytes) < needed)
        buffer.erase(0, std::min(kWindowDrop, buffer.size()));
    buffer += line.substr(0, kLogWindowBufferBytes - 1);
}

void LOGERRORF(const char* format, ...) {
    char text[kMaxLogText + 1];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);

    LogState& state = State();
    std::string line, path;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        const time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        if (now != state.cachedSecond || state.path.empty()) {
            // Folder, day and time text change at most once a second.
            char time[16];
            std::snprintf(time, sizeof time, "%.2d:%.2d:%.2d", local.tm_hour, local.tm_min, local.tm_sec);
            state.timeText = time;
            const std::string folder = LFile::GetUserDataFolderAppSubFolder("Logs");
            state.path = folder.empty() ? std::string() : folder + "/" + LLogFileName(local);
            state.cachedSecond = now;
        }
        line = state.timeText + " " + text + "\r\n";
        path = state.path;
        if (state.windowAttached) {
            LLogAppendToWindowBuffer(state.windowText, line);
            if (state.wake)
                LPostToMainThread(state.wake);
        }
    }
    if (path.empty())
        return;
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0)
        return;
    // Without the lock the line may interleave with another instance's; losing
    // it would be worse.
    const bool locked = flocktimed(fd, LOCK_EX, kLockMs) == 0;
    WriteAll(fd, line);
    if (locked)
        ::flock(fd, LOCK_UN);
    ::close(fd);
}

void LLogAttachWindow(std::function<void()> wake) {
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.windowAttached = true;
    state.wake = std::move(wake);
}

void LLogDetachWindow() {
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.windowAttached = false;
    state.wake = nullptr;
    state.windowText.clear();
}

std::string LLogWindowText() {
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.windowText;
}

void LLogForgetCachedNames() {
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.cachedSecond = -1;
    state.path.clear();
}
