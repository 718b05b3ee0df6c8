#include "base/LLogError.h"

#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LPlatform.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string_view>

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

std::string FormatTime(const std::tm& local) {
    char time[16];
    std::snprintf(time, sizeof time, "%.2d:%.2d:%.2d", local.tm_hour, local.tm_min, local.tm_sec);
    return time;
}

std::string ComposeLine(const std::string& timeText, std::string_view text) {
    std::string line = timeText;
    line += ' ';
    line += text.substr(0, kMaxLogText);
    line += "\r\n";
    return line;
}

}  // namespace

std::string LLogFileName(const std::tm& local) {
    char name[96];
    std::snprintf(name, sizeof name, "%.4d-%.2d-%.2d Kelvane Audio-Editor-Protokoll.txt", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday);
    return name;
}

std::string LLogFormatLine(const std::tm& local, const char* text) {
    return ComposeLine(FormatTime(local), text ? text : "");
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
            state.timeText = FormatTime(local);
            const std::string folder = LFile::GetUserDataFolderAppSubFolder("Logs");
            state.path = folder.empty() ? std::string() : folder + "/" + LLogFileName(local);
            state.cachedSecond = now;
        }
        line = ComposeLine(state.timeText, text);
        path = state.path;
        if (state.windowAttached) {
            LLogAppendToWindowBuffer(state.windowText, line);
            if (state.wake)
                LPostToMainThread(state.wake);
        }
    }
    if (path.empty())
        return;
    LFile file;
    if (!file.Open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND))
        return;
    // Without the lock the line may interleave with another instance's; losing
    // it would be worse.
    LFileLock lock(file.Fd(), LOCK_EX, kLockMs);
    file.WriteAll(line);
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
