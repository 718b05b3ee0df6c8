#pragma once
// Running a job on a worker thread while the main thread stays free.
//
//     MyJob job{...};
//     LProcessThread<MyJob> worker(&ownerInterface, job);
//     worker.Start();          // Process(iface, job) runs on the worker
//     ... wait on worker.JobDoneSignal() or run a modal loop until IsJobDone()
//     LProcessResult r = worker.Result();
//
// The job's reports (error, status, progress) travel as queued notifications
// to the owner interface on the main thread, in order, through the current
// platform's posted closures. Notifications that arrive after a stop request
// are dropped. Destroy the worker on the main thread: its destructor stops
// and waits for the job and cuts off notifications still in the queue.
#include "base/LProcessInterfaceNested.h"
#include "base/LThread.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

// Codes of the queued notifications from a worker to its owner.
enum LQueuedNotifyCode : int {
    LNotifyError = 0,                  // NUL-terminated text
    LNotifyStatus = 1,                 // 260 bytes of text, then a 32-bit line
    LNotifyProgress = 2,               // a double
    LNotifyIndeterminateOn = 3,        // nothing
    LNotifyIndeterminateOff = 4,       // nothing
};
constexpr size_t kNotifyStatusTextBytes = 260;

// What a worker's Process sees: stop and wait calls go to the thread, reports
// go to the thread and, copied, onto the queue to the main thread.
class LProcessThreadInterface : public LProcessInterfaceNested {
public:
    using Sender = std::function<void(int code, const void* data, size_t size)>;
    LProcessThreadInterface(LProcessInterface& thread, Sender sender)
        : LProcessInterfaceNested(thread), sender_(std::move(sender)) {}

    void SetError(char const* text) override;
    void SetStatus(char const* text, int line) override;
    void SetProgress(double fraction) override;
    void SetProgressIndeterminateOn() override;
    void SetProgressIndeterminateOff() override;

private:
    Sender sender_;
};

// The job-independent part of LProcessThread<T>.
class LProcessThreadBase : public LThread {
public:
    // `owner` receives the reports on the main thread; null drops them.
    explicit LProcessThreadBase(LProcessInterface* owner);
    ~LProcessThreadBase() override;

    // Raised when Process has returned (before the thread has quite ended).
    LSignalObjectRef JobDoneSignal() const { return jobDone_.Ref(); }
    bool IsJobDone() const { return jobDone_.IsSignaled(); }
    // The job's result; LProcessFailed until the job is done.
    LProcessResult Result() const { return result_.load(); }

    // Called on the main thread once the job is done, after every report.
    void SetOnDone(std::function<void()> onDone) { onDone_ = std::move(onDone); }
    // Runs the job on the calling thread with the given interface instead
    // (for callers without an event loop). Returns and stores the result.
    LProcessResult RunJobHere(LProcessInterface& iface);

    // Main thread: one queued notification. Dropped after a stop request;
    // codes above 4 are ignored.
    void EvQueuedNotifyData(int code, const std::vector<uint8_t>& data);

protected:
    virtual LProcessResult RunJob(LProcessInterface& iface) = 0;
    void ThreadFunction() final;

private:
    // Shared with the closures in flight, so that a closure that runs after
    // the worker object is gone finds no receiver instead of a dangling one.
    struct Channel {
        std::atomic<LProcessThreadBase*> receiver;
    };
    void PostNotify(int code, const void* data, size_t size);

    LProcessInterface* owner_;
    std::shared_ptr<Channel> channel_;
    std::atomic<LProcessResult> result_{LProcessFailed};
    LSignalObject jobDone_;
    std::function<void()> onDone_;
};

template <class T>
class LProcessThread : public LProcessThreadBase {
public:
    LProcessThread(LProcessInterface* owner, T& job) : LProcessThreadBase(owner), job_(job) {}
    ~LProcessThread() override { StopAndWait(); }

protected:
    LProcessResult RunJob(LProcessInterface& iface) override { return Process(iface, job_); }

private:
    T& job_;
};
