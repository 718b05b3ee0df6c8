#include "app/LMainWindowSendThread.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

LMainWindowSendThread::LMainWindowSendThread(int fd, int argc, const char* const* argv)
    : fd_(fd), data_(std::make_unique<CopyData>()) {
    data_->Fill(argc, argv);
    SetDebugName("SEND", "argument hand-over");
}

LMainWindowSendThread::~LMainWindowSendThread() { StopAndWait(); }

void LMainWindowSendThread::ThreadFunction() {
    const auto* bytes = reinterpret_cast<const char*>(data_.get());
    std::size_t done = 0;
    int budget = kBudget;
    while (done < CopyData::kWireSize) {
        if (IsToStop())
            return;
        const ssize_t written = send(fd_, bytes + done, CopyData::kWireSize - done, MSG_NOSIGNAL);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
            continue;
        }
        if (written < 0 && errno == EINTR)
            continue;
        if (written == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
            return;
        pollfd room{fd_, POLLOUT, 0};
        pollfd waits[2] = {room, {StopSignal().ReadFd(), POLLIN, 0}};
        const int ready = poll(waits, 2, kSliceMilliseconds);
        if (ready < 0 && errno != EINTR)
            return;
        if (waits[1].revents != 0)
            return;
        if (ready == 0) {
            budget -= kCostPerTimedOutSlice;
            if (budget < kMinimumBudget)
                return;
        }
    }
    sent_ = true;
}
