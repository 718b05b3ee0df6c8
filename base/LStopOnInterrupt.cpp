#include "base/LStopOnInterrupt.h"

#include <atomic>

namespace {

std::atomic<int> gInterruptStopFd{-1};

void OnInterrupt(int) { LSignalObjectRef(-1, gInterruptStopFd.load()).Signal(); }

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
