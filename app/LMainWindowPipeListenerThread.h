#pragma once
// Serves one connection to the single-instance socket: reads exactly one
// CopyData record and passes it on. A record that ends early, or one that
// can't be true (its count out of range), is dropped without a word.
#include "app/CopyData.h"
#include "base/LDetachedThread.h"

#include <functional>
#include <memory>

class LMainWindowPipeListenerThread : public LDetachedThread {
public:
    static constexpr int kPriority = 20;
    // A client that sends nothing for this long is given up on.
    static constexpr unsigned kIdleLimitMilliseconds = 10000;

    // Receives a complete record, on this worker's thread; it must not block.
    using Context = std::function<void(std::unique_ptr<CopyData>)>;

    // Owns `fd`.
    LMainWindowPipeListenerThread(LDetachedThreadsOwner& owner, int fd, Context deliver);
    ~LMainWindowPipeListenerThread() override;

protected:
    void ThreadFunction() override;

private:
    bool ReadRecord(CopyData* data);

    int fd_;
    Context deliver_;
};
