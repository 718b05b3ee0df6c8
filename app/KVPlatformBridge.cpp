#include "app/KVPlatformBridge.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>

namespace KVPlatformBridge {
namespace {

struct Loop {
    std::mutex mutex;
    std::deque<std::function<void()>> queue;
    int wake[2] = {-1, -1};
    std::atomic<bool> running{false};
    std::atomic<bool> endRequested{false};

    Loop() {
        if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0)
            wake[0] = wake[1] = -1;
    }
    void Wake() {
        if (wake[1] >= 0) {
            const char byte = 1;
            [[maybe_unused]] ssize_t n = write(wake[1], &byte, 1);
        }
    }
    void Drain() {
        char bytes[64];
        while (read(wake[0], bytes, sizeof(bytes)) > 0) {}
    }
    bool RunOne() {
        std::function<void()> closure;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (queue.empty())
                return false;
            closure = std::move(queue.front());
            queue.pop_front();
        }
        closure();
        return true;
    }
};

Loop& TheLoop() {
    static Loop* loop = new Loop;  // outlives every static destructor
    return *loop;
}

std::mutex gSettingsMutex;
std::map<std::string, std::string> gSettings;

}  // namespace

void RunMainLoop() {
    Loop& loop = TheLoop();
    loop.running = true;
    while (!loop.endRequested) {
        if (loop.RunOne())
            continue;
        pollfd wait{loop.wake[0], POLLIN, 0};
        if (poll(&wait, 1, -1) < 0 && errno != EINTR)
            break;
        loop.Drain();
    }
    loop.running = false;
    loop.endRequested = false;
}

void EndMainLoop() {
    TheLoop().endRequested = true;
    TheLoop().Wake();
}

bool IsMainLoopRunning() { return TheLoop().running; }

void PostToMainThread(std::function<void()> closure) {
    Loop& loop = TheLoop();
    {
        std::lock_guard<std::mutex> lock(loop.mutex);
        loop.queue.push_back(std::move(closure));
    }
    loop.Wake();
}

void DispatchWaitingEvents() {
    Loop& loop = TheLoop();
    std::size_t waiting;
    {
        std::lock_guard<std::mutex> lock(loop.mutex);
        waiting = loop.queue.size();
    }
    while (waiting-- > 0 && loop.RunOne()) {}
}

int ModalDepth() { return 0; }

void RequestEndFromSignalHandler() {
    Loop& loop = TheLoop();
    loop.endRequested = true;
    loop.Wake();
}

int Alert(const char* title, const char* text, std::initializer_list<const char*> buttons) {
    std::fprintf(stderr, "kelvane: %s: %s", title, text);
    const char* separator = " [";
    for (const char* button : buttons) {
        std::fprintf(stderr, "%s%s", separator, button);
        separator = "|";
    }
    std::fprintf(stderr, "%s\n", buttons.size() ? "]" : "");
    return 0;
}

std::string GetSetting(const char* section, const char* key, const char* defaultValue) {
    std::lock_guard<std::mutex> lock(gSettingsMutex);
    const auto found = gSettings.find(std::string(section) + "/" + key);
    return found != gSettings.end() ? found->second : defaultValue;
}

void SetSetting(const char* section, const char* key, const char* value) {
    std::lock_guard<std::mutex> lock(gSettingsMutex);
    gSettings[std::string(section) + "/" + key] = value;
}

}  // namespace KVPlatformBridge
