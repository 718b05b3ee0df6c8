#include "base/LDebugThreads.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

std::mutex loDebugThreads;
int gnDebugThreads = 0;
LDebugThreadEntry gDebugThreadData[kDebugThreadsMax];
std::atomic<uint32_t> gwDebugCurrentCommand{kDebugCommandGlobalInit};

namespace {
std::atomic<uint32_t> gLastCommand{0};
}

uint32_t LDebugCurrentThreadId() { return static_cast<uint32_t>(::syscall(SYS_gettid)); }

bool LDebugRegisterThread(const char* name, const char* description) {
    std::lock_guard<std::mutex> lock(loDebugThreads);
    int index = -1;
    for (int i = 0; i < gnDebugThreads; ++i) {
        if (gDebugThreadData[i].threadId.load() == kDebugThreadFree) {
            index = i;
            break;
        }
    }
    if (index < 0) {
        if (gnDebugThreads >= kDebugThreadsMax)
            return false;
        index = gnDebugThreads++;
    }
    LDebugThreadEntry& entry = gDebugThreadData[index];
    // A crash handler may read the table without the lock; the filling mark
    // tells it to skip an entry whose texts are half written.
    entry.threadId = kDebugThreadFilling;
    std::snprintf(entry.description, sizeof entry.description, "%s", description ? description : "");
    std::snprintf(entry.name, sizeof entry.name, "%s", name ? name : "");
    entry.threadId = LDebugCurrentThreadId();
    return true;
}

void LDebugUnregisterThread() {
    const uint32_t self = LDebugCurrentThreadId();
    std::lock_guard<std::mutex> lock(loDebugThreads);
    for (int i = 0; i < gnDebugThreads; ++i) {
        if (gDebugThreadData[i].threadId.load() == self) {
            gDebugThreadData[i].threadId = kDebugThreadFree;
            return;
        }
    }
}

bool LDebugFindThread(uint32_t threadId, std::string* name, std::string* description) {
    std::lock_guard<std::mutex> lock(loDebugThreads);
    for (int i = 0; i < gnDebugThreads; ++i) {
        const LDebugThreadEntry& entry = gDebugThreadData[i];
        if (entry.threadId.load() == threadId) {
            if (name)
                *name = entry.name;
            if (description)
                *description = entry.description;
            return true;
        }
    }
    return false;
}

std::string LDebugRenderCurrentCommand(uint32_t value, uint32_t lastCommand) {
    switch (value) {
    case kDebugCommandGlobalInit: return "GloIni1";
    case kDebugCommandGuiInit: return "GuiIni2";
    case kDebugCommandGuiDestroy: return "GuiDes3";
    case kDebugCommandGlobalDestroy: return "GloDes4";
    default: break;
    }
    char text[48];
    if (value == kDebugCommandIdle)
        std::snprintf(text, sizeof text, "Ukn0(LstCmd%d)", static_cast<int>(lastCommand));
    else
        std::snprintf(text, sizeof text, "(Cmd%d)", static_cast<int>(value));
    return text;
}

void LDebugSetCurrentCommand(uint32_t command) {
    gwDebugCurrentCommand = command;
    if (command > kDebugCommandGlobalDestroy)
        gLastCommand = command;
}

uint32_t LDebugLastCommand() { return gLastCommand.load(); }
