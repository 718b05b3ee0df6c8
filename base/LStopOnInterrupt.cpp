#include "base/LStopOnInterrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> gInterruptStopFd{-1};

void OnInterrupt(int) {
    const int savedErrno = errno;
    const int fd = gInterruptStopFd.load();
    if (fd >= 0) {
        const char byte = 1;
        [[maybe_unused]] ssize_t n = ::write(fd, &byte, 1);
    }
    errno = savedErrno;
}

}  // namespace

LStopOnInterrupt::LStopOnInterrupt(LSignalObjectRef stop) : previousFd_(gInterruptStopFd.exchange(stop.WriteFd())) {
    struct sigaction action {};
    action.sa_handler = &OnInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    installed_ = ::sigaction(SIGINT, &action, &previousAction_) == 0;
}

LStopOnInterrupt::~LStopOnInterrupt() {
    if (installed_)
        ::sigaction(SIGINT, &previousAction_, nullptr);
    gInterruptStopFd = previousFd_;
}
