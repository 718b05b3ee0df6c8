#include "base/LDetachedThread.h"
#include "base/LThread.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

// Runs until asked to stop, counting its rounds.
class WaitingThread : public LThread {
public:
    ~WaitingThread() override { StopAndWait(); }
    std::atomic<int> runs{0};

protected:
    void ThreadFunction() override {
        ++runs;
        ProcessWaitUntilStopped();
    }
};

TEST(LSignalObject, SignalResetAndGroup) {
    LSignalObject a, b;
    EXPECT_FALSE(a.IsSignaled());
    a.Signal();
    a.Signal();
    EXPECT_TRUE(a.IsSignaled());
    a.Reset();
    EXPECT_FALSE(a.IsSignaled());

    LSignalObjectGroup group;
    ASSERT_TRUE(group.Add(a));
    ASSERT_TRUE(group.Add(b));
    EXPECT_EQ(group.Wait(0), -1);
    b.Signal();
    EXPECT_EQ(group.Wait(LWaitForever), 1);
    EXPECT_FALSE(group.IsFired(0));
    EXPECT_TRUE(group.IsFired(1));

    LSignalObjectGroup full;
    for (int i = 0; i < LSignalObjectGroup::kMaxEntries; ++i)
        ASSERT_TRUE(full.Add(a));
    EXPECT_FALSE(full.Add(a));
}

// Signal() runs inside signal handlers, which must leave errno as they found
// it; raising a signal whose pipe is already full is where write() fails.
TEST(LSignalObject, SignalLeavesErrnoAlone) {
    LSignalObject signal;
    const char byte = 1;
    while (::write(signal.Ref().WriteFd(), &byte, 1) == 1) {
    }
    ASSERT_EQ(errno, EAGAIN);
    errno = EDOM;
    signal.Signal();
    EXPECT_EQ(errno, EDOM);
    EXPECT_TRUE(signal.IsSignaled());
}

TEST(LThread, StopWaitAndRestart) {
    WaitingThread thread;
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.GetThreadId(), -1);
    ASSERT_TRUE(thread.Start());
    EXPECT_TRUE(thread.StartedSignal().IsSignaled());
    EXPECT_FALSE(thread.WaitFor(0));
    thread.StopAndWait();
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.FinishedSignal().IsSignaled());
    EXPECT_EQ(thread.GetThreadId(), -1);

    // A second Start while running does nothing; after the end it restarts.
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.FinishedSignal().IsSignaled());
    EXPECT_GT(thread.GetThreadId(), 0);
    thread.StopAndWait();
    EXPECT_EQ(thread.runs.load(), 2);
}

TEST(LThread, RealtimePriorityIsBestEffort) {
    WaitingThread thread;
    ASSERT_TRUE(thread.Start(LThread::kPriorityRealtime));
    EXPECT_EQ(thread.GetPriority(), LThread::kPriorityRealtime);
    thread.StopAndWait();
}

TEST(LThread, ProcessWaitSignalResults) {
    WaitingThread thread;  // never started: only its signals are used here
    LSignalObject signal;
    EXPECT_EQ(thread.ProcessWaitSignal(signal, 0), 2);
    signal.Signal();
    EXPECT_EQ(thread.ProcessWaitSignal(signal, LWaitForever), 0);
    thread.Stop();
    EXPECT_EQ(thread.ProcessWaitSignal(signal, LWaitForever), 1);
    EXPECT_TRUE(thread.IsToStop());
    EXPECT_TRUE(thread.ProcessWait(LWaitForever));

    LSignalObjectGroup group;
    LSignalObject other;
    group.Add(other);
    EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 0), 1);
    EXPECT_EQ(group.Count(), 1);  // the stop entry is removed again
    thread.StopSignal().Reset();
    EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 0), 2);
    other.Signal();
    EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, LWaitForever), 0);
    EXPECT_TRUE(group.IsFired(0));
}

// Ends on stop, or at once when told to.
class Worker : public LDetachedThread {
public:
    Worker(LDetachedThreadsOwner& owner, std::atomic<int>& alive, bool quick)
        : LDetachedThread(owner), alive_(alive), quick_(quick) {
        ++alive_;
    }
    ~Worker() override { --alive_; }

protected:
    void ThreadFunction() override {
        if (!quick_)
            ProcessWaitUntilStopped();
    }

private:
    std::atomic<int>& alive_;
    bool quick_;
};

TEST(LDetachedThread, DeletesItselfWhenDone) {
    LDetachedThreadsOwner owner;
    std::atomic<int> alive{0};
    for (int i = 0; i < 8; ++i)
        (new Worker(owner, alive, true))->Start();
    while (owner.Count() > 0)
        LPollRetrying(nullptr, 0, 1);
    // The last step of a self-deleting thread follows its unlinking closely.
    while (alive.load() > 0)
        LPollRetrying(nullptr, 0, 1);
    EXPECT_EQ(alive.load(), 0);
}

TEST(LDetachedThread, StopThreadsSoonThenNow) {
    LDetachedThreadsOwner owner;
    std::atomic<int> alive{0};
    for (int i = 0; i < 6; ++i)
        (new Worker(owner, alive, false))->Start();
    EXPECT_EQ(alive.load(), 6);
    owner.StopThreadsSoon();  // they end and delete themselves
    while (alive.load() > 0)
        LPollRetrying(nullptr, 0, 1);
    EXPECT_EQ(owner.Count(), 0);

    for (int i = 0; i < 6; ++i)
        (new Worker(owner, alive, false))->Start();
    owner.StopThreadsNow();
    EXPECT_EQ(alive.load(), 0);
    EXPECT_EQ(owner.Count(), 0);
}

}  // namespace
