#include "base/LThread.h"

#include "base/LDebugThreads.h"

#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

LThread::~LThread() {
    if (IsOwnThread()) {
        // A self-owning thread deletes itself at its very end: nobody will join
        // it. Taking the mutex first lets a Start() still in progress finish.
        std::lock_guard<std::recursive_mutex> lock(mutex_);
        if (hasHandle_)
            pthread_detach(handle_);
        hasHandle_ = false;
        return;
    }
    Stop();
    if (started_.IsSignaled())
        finished_.Wait(LWaitForever);
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    JoinLocked();
}

bool LThread::Start(int priority) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (hasHandle_) {
        if (running_.load())
            return true;
        JoinLocked();
    }
    stop_.Reset();
    finished_.Reset();
    started_.Reset();
    running_ = true;
    priority_ = priority;
    if (pthread_create(&handle_, nullptr, &LThread::Entry, this) != 0) {
        running_ = false;
        finished_.Signal();
        return false;
    }
    hasHandle_ = true;

    pollfd waits[2] = {{started_.Ref().ReadFd(), POLLIN, 0}, {stop_.Ref().ReadFd(), POLLIN, 0}};
    LPollRetrying(waits, 2, LWaitForever);
    if (!finished_.IsSignaled() && priority != kPriorityDefault)
        SetPriority(priority);
    return true;
}

bool LThread::HasThread() {
    // Start() holds the mutex until its thread has started, so a wait that
    // overlaps a start sees the new thread here instead of returning early.
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    return hasHandle_;
}

void LThread::Wait() {
    if (IsOwnThread())
        return;
    if (!HasThread())
        return;
    finished_.Wait(LWaitForever);
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    JoinLocked();
}

bool LThread::WaitFor(unsigned int milliseconds) {
    if (!HasThread())
        return !running_.load();
    if (!finished_.Wait(milliseconds))
        return false;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    JoinLocked();
    return true;
}

void LThread::JoinLocked() {
    // Joining (rather than letting the thread detach itself) also gives the
    // owner a clean happens-before on everything the thread wrote.
    if (hasHandle_ && !IsOwnThread()) {
        pthread_join(handle_, nullptr);
        hasHandle_ = false;
    }
}

namespace {
thread_local const LThread* tCurrentThread = nullptr;
}

bool LThread::IsOwnThread() const { return tCurrentThread == this; }

void LThread::SetDebugName(const char* name, const char* description) {
    std::snprintf(debugName_, sizeof debugName_, "%s", name ? name : "");
    std::snprintf(debugDescription_, sizeof debugDescription_, "%s", description ? description : "");
}

void* LThread::Entry(void* arg) {
    auto* self = static_cast<LThread*>(arg);
    tCurrentThread = self;
    self->threadId_ = static_cast<int>(LDebugCurrentThreadId());
    const bool registered = self->debugName_[0] != 0 && LDebugRegisterThread(self->debugName_, self->debugDescription_);
    self->started_.Signal();
    self->ThreadFunction();
    if (registered)
        LDebugUnregisterThread();
    self->running_ = false;
    self->threadId_ = -1;
    self->ThreadEnded();
    return nullptr;
}

namespace {

bool TrySchedule(pthread_t thread, int policy, int priority) {
    sched_param param{};
    param.sched_priority = std::clamp(priority, sched_get_priority_min(policy), sched_get_priority_max(policy));
    return pthread_setschedparam(thread, policy, &param) == 0;
}

}  // namespace

bool LThread::SetPriority(int priority) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (!hasHandle_ || !running_.load())
        return false;
    priority_ = priority;
    if (priority == kPriorityDefault)
        return true;
    if (priority == kPriorityRealtime) {
        // Real-time request: a first-in-first-out slot in the middle of the
        // range keeps clear of the kernel's own top-priority threads. Systems
        // without the right refuse; the value then falls through below.
        const int middle = (sched_get_priority_min(SCHED_FIFO) + sched_get_priority_max(SCHED_FIFO)) / 2;
        if (TrySchedule(handle_, SCHED_FIFO, middle))
            return true;
    }
    return TrySchedule(handle_, SCHED_RR, priority);
}

int LThread::ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) {
    pollfd waits[2] = {{stop_.Ref().ReadFd(), POLLIN, 0}, {signal.ReadFd(), POLLIN, 0}};
    if (LPollRetrying(waits, 2, milliseconds) <= 0)
        return 2;
    return waits[0].revents != 0 ? 1 : 0;
}

int LThread::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) {
    const int count = group.Count();
    const bool withStop = group.AddFd(stop_.Ref().ReadFd());
    const int fired = group.Wait(milliseconds);
    const bool stopped = withStop && group.IsFired(count);
    group.SetCount(count);
    if (fired < 0)
        return 2;
    return stopped ? 1 : 0;
}
