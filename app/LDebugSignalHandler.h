#pragma once
// Process-wide signal handling, installed before main runs:
//  - SIGPIPE is ignored (a peer that went away is an error return, not death);
//  - SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS go to LDebugSignalHandler, which
//    offers a bug report once and ends the process for fatal signals;
//  - SIGINT and SIGTERM go to LIntTermSignalHandler, which ends the main loop
//    so that the normal shutdown removes the socket and the run lock.
#include "base/LThread.h"

#include <csignal>
#include <string>

void LInstallSignalHandlers();

void LDebugSignalHandler(int signalNumber, siginfo_t* info, void* context);
void LIntTermSignalHandler(int signalNumber);

// The crash alert's text for a signal ("SIGNAL%d" in its place).
std::string LDebugSignalAlertText(int signalNumber);
// The report code: signal, system tag, module, and where the crash happened
// (thread name and description, and what the main thread was doing).
std::string LDebugCrashCode(int signalNumber);
// Signals after which the process must not go on.
bool LDebugSignalIsFatal(int signalNumber);

extern const char* const kDebugSignalAlertTitle;

// Tells the SIGINT/SIGTERM handler whether the main loop runs (it ends the
// loop) or not (it ends the process).
void LSetMainLoopRunning(bool running);

// Ends the current platform's main loop when SIGINT or SIGTERM arrived. The
// handler itself only writes a byte to a pipe (async-signal-safe); this
// thread turns that into a call the loop can take. Run one while the main
// loop runs.
class LInterruptWatcher : public LThread {
public:
    LInterruptWatcher();
    ~LInterruptWatcher() override;

protected:
    void ThreadFunction() override;
};
