#pragma once
// Threads that own themselves. An LDetachedThread is created with new, linked
// into an LDetachedThreadsOwner and started; when its ThreadFunction returns it
// unlinks and deletes itself. The owner can ask all of them to stop
// (StopThreadsSoon) or stop, wait for and delete each (StopThreadsNow).
//
//     auto* worker = new MyWorker(owner);   // derives from LDetachedThread
//     worker->Start();                      // from here on it owns itself
#include "base/LThread.h"

#include <mutex>

class LDetachedThreadsOwner;

class LDetachedThread : public LThread {
public:
    // Links the thread into `owner`, which must outlive it.
    explicit LDetachedThread(LDetachedThreadsOwner& owner);
    ~LDetachedThread() override;

protected:
    void ThreadEnded() override;

private:
    friend class LDetachedThreadsOwner;
    LDetachedThreadsOwner& owner_;
    LDetachedThread* next_ = nullptr;  // guarded by the owner's mutex
};

class LDetachedThreadsOwner {
public:
    LDetachedThreadsOwner() = default;
    // Stops and deletes whatever still runs.
    ~LDetachedThreadsOwner() { StopThreadsNow(); }
    LDetachedThreadsOwner(const LDetachedThreadsOwner&) = delete;
    LDetachedThreadsOwner& operator=(const LDetachedThreadsOwner&) = delete;

    // Raises every listed thread's stop signal; does not wait.
    void StopThreadsSoon();
    // Takes each thread out of the list, stops it, waits for it and deletes it.
    // The mutex is never held while waiting.
    void StopThreadsNow();
    int Count();

private:
    friend class LDetachedThread;
    void Link(LDetachedThread* thread);
    // True when the thread was still listed (and so belongs to itself).
    bool Unlink(LDetachedThread* thread);

    std::mutex mutex_;
    LDetachedThread* head_ = nullptr;
};
