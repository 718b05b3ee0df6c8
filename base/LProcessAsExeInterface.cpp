#include "base/LProcessAsExeInterface.h"

#include "base/LFile.h"
#include "base/LSteadyClock.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>

LProcessAsExeInterface::LProcessAsExeInterface(int outFd, int inFd) : outFd_(outFd), inFd_(inFd) {}

uint32_t LProcessAsExeInterface::NowMilliseconds() const {
    return LSteadyMilliseconds();
}

void LProcessAsExeInterface::Send(const void* data, size_t size) {
    LWriteAll(outFd_, data, size);  // a failure means the parent has gone: nothing left to tell
}

void LProcessAsExeInterface::SendText(uint8_t type, const char* text) {
    const size_t length = std::min(std::strlen(text ? text : ""), kMaxText);
    uint8_t header[3] = {type, static_cast<uint8_t>(length & 0xFF), static_cast<uint8_t>(length >> 8)};
    Send(header, sizeof header);
    Send(text, length);
}

bool LProcessAsExeInterface::IsToStop() {
    const uint32_t now = NowMilliseconds();
    if (!heartbeatSent_ || now - lastHeartbeat_ >= kHeartbeatMs) {
        SendByte(kHeartbeat);
        heartbeatSent_ = true;
        lastHeartbeat_ = now;
    }
    pollfd entry{inFd_, POLLIN, 0};
    return LPollRetrying(&entry, 1, 0) > 0;  // a byte, end of file or error
}

int LProcessAsExeInterface::WaitSliced(LSignalObjectGroup* group, unsigned int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    LSignalObjectGroup own;
    LSignalObjectGroup& waits = group ? *group : own;
    const int count = waits.Count();
    waits.AddFd(inFd_);
    int result = 2;
    for (;;) {
        if (IsToStop()) {
            result = 1;
            break;
        }
        unsigned int slice = kWaitSliceMs;
        if (milliseconds != LWaitForever) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0)
                break;
            slice = static_cast<unsigned int>(std::min<long long>(left, kWaitSliceMs));
        }
        const int fired = waits.Wait(slice);
        if (fired >= 0 && fired < count) {
            result = 0;
            break;
        }
    }
    waits.SetCount(count);
    return result;
}

bool LProcessAsExeInterface::ProcessWait(unsigned int milliseconds) { return WaitSliced(nullptr, milliseconds) == 1; }

int LProcessAsExeInterface::ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) {
    LSignalObjectGroup group;
    group.Add(signal);
    return WaitSliced(&group, milliseconds);
}

int LProcessAsExeInterface::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) {
    return WaitSliced(&group, milliseconds);
}

void LProcessAsExeInterface::SetError(char const* text) { SendText(kError, text); }

void LProcessAsExeInterface::SetStatus(char const* text, int line) {
    if (line < 0 || line > 2)
        return;
    SendText(static_cast<uint8_t>(kStatusLine0 + line), text);
}

void LProcessAsExeInterface::SetProgress(double fraction) {
    const uint32_t now = NowMilliseconds();
    if (fraction < 1.0 && progressSent_ && now - lastProgress_ < kProgressMs)
        return;
    progressSent_ = true;
    lastProgress_ = now;
    uint8_t message[1 + sizeof(double)] = {kProgress};
    std::memcpy(message + 1, &fraction, sizeof fraction);
    Send(message, sizeof message);
}

void LProcessAsExeInterface::SetResultCode(LProcessResult result, const void* data, size_t size) {
    if (result == LProcessStopped) {
        SendByte(kStopped);
        return;
    }
    SendByte(result == LProcessOK ? kSucceeded : kFailed);
    if (data && size > 0)
        Send(data, size);
}

size_t LProcessAsExeInterface::ReadData(void* buffer, size_t size) {
    auto* bytes = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < size) {
        ssize_t n = ::read(inFd_, bytes + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            pollfd entry{inFd_, POLLIN, 0};
            LPollRetrying(&entry, 1, LWaitForever);
            continue;
        }
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    return done;
}

namespace {

struct Registry {
    std::mutex mutex;
    LProcessAsExeBase* head = nullptr;
};

Registry& TheRegistry() {
    static Registry registry;  // made on first use, so static jobs may register in any order
    return registry;
}

}  // namespace

LProcessAsExeBase::LProcessAsExeBase(const char* name) : name_(name ? name : "") {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    next_ = registry.head;
    registry.head = this;
}

LProcessAsExeBase::~LProcessAsExeBase() {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    for (LProcessAsExeBase** link = &registry.head; *link; link = &(*link)->next_) {
        if (*link == this) {
            *link = next_;
            break;
        }
    }
}

LProcessAsExeBase* LProcessAsExeBase::Find(const char* name) {
    if (!name)
        return nullptr;
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    for (LProcessAsExeBase* job = registry.head; job; job = job->next_)
        if (std::strcmp(job->name_, name) == 0)
            return job;
    return nullptr;
}

int LProcessAsExeRun(const char* name, int outFd, int inFd) {
    LProcessAsExeBase* job = LProcessAsExeBase::Find(name);
    if (!job)
        return 1;
    if (outFd == STDOUT_FILENO) {
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
    LProcessAsExeInterface iface(outFd, inFd);
    return job->Run(iface) != 0 ? 1 : 0;
}
