#pragma once
// While an object of this class lives, Ctrl-C (SIGINT) raises the given stop
// signal instead of ending the program, so a running job ends cleanly with
// "stopped". The handler only write()s one byte to the signal's pipe, which is
// async-signal-safe. Scopes nest: the innermost one gets the interrupt, and
// each restores the handler and target it found.
#include "base/LSignalObject.h"

#include <signal.h>

class LStopOnInterrupt {
public:
    explicit LStopOnInterrupt(LSignalObjectRef stop);
    ~LStopOnInterrupt();
    LStopOnInterrupt(const LStopOnInterrupt&) = delete;
    LStopOnInterrupt& operator=(const LStopOnInterrupt&) = delete;

private:
    int previousFd_;
    struct sigaction previousAction_ {};
    bool installed_ = false;
};
