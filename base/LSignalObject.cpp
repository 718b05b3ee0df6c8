#include "base/LSignalObject.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

int LPollRetrying(pollfd* fds, nfds_t count, unsigned int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const bool forever = milliseconds == LWaitForever;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        int timeout = -1;
        if (!forever) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            timeout = left <= 0 ? 0 : (left > INT_MAX ? INT_MAX : static_cast<int>(left));
        }
        int n = ::poll(fds, count, timeout);
        if (n >= 0 || errno != EINTR)
            return n;
    }
}

void LSignalObjectRef::Signal() const {
    if (writeFd_ < 0)
        return;
    // Signal handlers raise signals too, and a handler must leave errno as the
    // interrupted code had it; a full pipe makes write() fail with EAGAIN.
    const int savedErrno = errno;
    const char byte = 1;
    while (::write(writeFd_, &byte, 1) < 0 && errno == EINTR) {
    }
    errno = savedErrno;
}

void LSignalObjectRef::Reset() const {
    if (readFd_ < 0)
        return;
    char buffer[64];
    for (;;) {
        ssize_t n = ::read(readFd_, buffer, sizeof buffer);
        if (n > 0)
            continue;
        if (n < 0 && errno == EINTR)
            continue;
        return;
    }
}

bool LSignalObjectRef::Wait(unsigned int milliseconds) const {
    if (readFd_ < 0)
        return false;
    pollfd entry{readFd_, POLLIN, 0};
    return LPollRetrying(&entry, 1, milliseconds) > 0;
}

LSignalObject::LSignalObject() {
    int fds[2];
    if (::pipe2(fds, O_NONBLOCK | O_CLOEXEC) == 0)
        ref_ = LSignalObjectRef(fds[0], fds[1]);
}

LSignalObject::~LSignalObject() {
    if (ref_.ReadFd() >= 0)
        ::close(ref_.ReadFd());
    if (ref_.WriteFd() >= 0)
        ::close(ref_.WriteFd());
}

bool LSignalObjectGroup::Add(LSignalObjectRef signal) { return AddFd(signal.ReadFd()); }

bool LSignalObjectGroup::AddFd(int fd) {
    if (count_ >= kMaxEntries)
        return false;
    entries_[count_++] = pollfd{fd, POLLIN, 0};
    return true;
}

int LSignalObjectGroup::Wait(unsigned int milliseconds) {
    for (int i = 0; i < count_; ++i)
        entries_[i].revents = 0;
    if (LPollRetrying(entries_, static_cast<nfds_t>(count_), milliseconds) <= 0)
        return -1;
    for (int i = 0; i < count_; ++i)
        if (IsFired(i))
            return i;
    return -1;
}

bool LSignalObjectGroup::IsFired(int index) const {
    return index >= 0 && index < count_ && (entries_[index].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}
