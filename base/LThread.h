#pragma once
// A thread with three pollable signals: stop (written by anyone who wants the
// thread to end), started and finished (written by the thread). The owner stops
// a thread by Stop() then Wait(); the thread itself looks at IsToStop() or
// waits through the LProcessInterface operations, which all end early on stop.
//
// Subclasses implement ThreadFunction(). A subclass whose ThreadFunction uses
// its own members must call StopAndWait() in its own destructor, because by
// the time ~LThread runs those members are gone.
#include "base/LProcessInterface.h"
#include "base/LSignalObject.h"

#include <pthread.h>

#include <atomic>
#include <mutex>

class LThread : public LProcessInterface {
public:
    // Priority 0 leaves the platform's default; kPriorityRealtime asks for
    // real-time treatment where the system grants it (silently not otherwise).
    static constexpr int kPriorityDefault = 0;
    static constexpr int kPriorityRealtime = 91;

    LThread() = default;
    ~LThread() override;
    LThread(const LThread&) = delete;
    LThread& operator=(const LThread&) = delete;

    // Starts the thread, or restarts it after it ended; does nothing while it
    // runs. Waits until the thread has begun, then applies the priority.
    // False only when the system could not create a thread.
    bool Start(int priority = kPriorityDefault);
    // Asks the thread to end (any thread, never blocks).
    void Stop() { stop_.Signal(); }
    // Waits without limit until a started thread has ended.
    void Wait();
    // Waits up to `milliseconds`; true when the thread is not running any more.
    bool WaitFor(unsigned int milliseconds);
    void StopAndWait() { Stop(); Wait(); }

    bool IsRunning() const { return running_.load(); }
    // The kernel thread id while running, else -1.
    int GetThreadId() const { return threadId_.load(); }
    int GetPriority() const { return priority_.load(); }
    // Applies a priority to the running thread; false when the system refused.
    bool SetPriority(int priority);

    LSignalObjectRef StopSignal() const { return stop_.Ref(); }
    LSignalObjectRef FinishedSignal() const { return finished_.Ref(); }
    LSignalObjectRef StartedSignal() const { return started_.Ref(); }

    // Names the thread in the debug thread table while it runs (name cut to 4
    // characters, description to 27). Call before Start().
    void SetDebugName(const char* name, const char* description);

    // LProcessInterface: the stop state is the stop signal.
    bool IsToStop() override { return stop_.IsSignaled(); }
    bool ProcessWait(unsigned int milliseconds) override { return stop_.Wait(milliseconds); }
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) override;
    // Appends the stop signal for the wait when the group has room.
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) override;

protected:
    virtual void ThreadFunction() = 0;
    // Runs on the thread after ThreadFunction has returned and the running
    // state is cleared. The default raises the finished signal; after that the
    // thread must not touch the object, which its owner may now destroy.
    virtual void ThreadEnded() { finished_.Signal(); }
    // True when called on this object's own thread.
    bool IsOwnThread() const;

private:
    static void* Entry(void* self);
    void JoinLocked();
    // True while a thread exists that has not been joined.
    bool HasThread();

    pthread_t handle_{};
    bool hasHandle_ = false;
    std::atomic<int> threadId_{-1};
    std::atomic<bool> running_{false};
    std::atomic<int> priority_{kPriorityDefault};
    LSignalObject stop_;
    LSignalObject finished_;
    LSignalObject started_;
    std::recursive_mutex mutex_;
    char debugName_[5] = {};
    char debugDescription_[28] = {};
};
