#include "app/LMainWindowPipeListenerThread.h"

#include <unistd.h>

#include <cerrno>

LMainWindowPipeListenerThread::LMainWindowPipeListenerThread(LDetachedThreadsOwner& owner, int fd,
                                                             Context deliver)
    : LDetachedThread(owner), fd_(fd), deliver_(std::move(deliver)) {
    SetDebugName("PIPW", "argument receiver");
}

LMainWindowPipeListenerThread::~LMainWindowPipeListenerThread() {
    if (fd_ >= 0)
        close(fd_);
}

bool LMainWindowPipeListenerThread::ReadRecord(CopyData* data) {
    auto* bytes = reinterpret_cast<char*>(data);
    std::size_t done = 0;
    while (done < CopyData::kWireSize) {
        const ssize_t got = read(fd_, bytes + done, CopyData::kWireSize - done);
        if (got > 0) {
            done += static_cast<std::size_t>(got);
            continue;
        }
        if (got == 0)
            return false;  // the sender ended before the record was whole
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            return false;
        // Waits for data or a stop request; 0 means the socket became readable.
        if (ProcessWaitSignal(LSignalObjectRef(fd_, -1), kIdleLimitMilliseconds) != 0)
            return false;
    }
    return true;
}

void LMainWindowPipeListenerThread::ThreadFunction() {
    auto data = std::make_unique<CopyData>();
    const bool complete = ReadRecord(data.get());
    close(fd_);
    fd_ = -1;
    if (complete && data->Sanitize() && deliver_)
        deliver_(std::move(data));
}
