#include "base/LProcessInterface.h"

#include <cstdarg>
#include <cstdio>
#include <thread>

void LProcessInterface::SetErrorF(char const* format, ...) {
    char buffer[kFormatBufferSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    SetError(buffer);
}

void LProcessInterface::SetStatusF(int line, char const* format, ...) {
    char buffer[kFormatBufferSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    SetStatus(buffer, line);
}

bool LProcessInterfaceVoid::ProcessWait(unsigned int milliseconds) {
    if (milliseconds == LWaitForever) {
        // Nothing can stop a silent job, so waiting for a stop waits for ever;
        // poll with no descriptors sleeps without burning a core.
        LPollRetrying(nullptr, 0, LWaitForever);
    } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
    return false;
}

int LProcessInterfaceVoid::ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) {
    return signal.Wait(milliseconds) ? 0 : 2;
}

int LProcessInterfaceVoid::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) {
    return group.Wait(milliseconds) >= 0 ? 0 : 2;
}
