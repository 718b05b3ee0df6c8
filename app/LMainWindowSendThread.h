#pragma once
// Hands this start's arguments to the running instance: writes one CopyData
// record to the connected socket, resuming after partial writes and waiting
// for room in slices of 200 ms. It gives up when its budget (5000, less 2 per
// slice that timed out) falls below 3, on any other error, or when stopped.
#include "app/CopyData.h"
#include "base/LThread.h"

#include <atomic>
#include <memory>

class LMainWindowSendThread : public LThread {
public:
    static constexpr int kPriority = 20;
    static constexpr unsigned kSliceMilliseconds = 200;
    static constexpr int kBudget = 5000;
    static constexpr int kCostPerTimedOutSlice = 2;
    static constexpr int kMinimumBudget = 3;

    // `fd` is a connected non-blocking socket that stays the caller's.
    LMainWindowSendThread(int fd, int argc, const char* const* argv);
    ~LMainWindowSendThread() override;

    // True once all 33284 bytes went out.
    bool Sent() const { return sent_.load(); }

protected:
    void ThreadFunction() override;

private:
    int fd_;
    std::unique_ptr<CopyData> data_;
    std::atomic<bool> sent_{false};
};
