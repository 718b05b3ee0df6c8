#include "app/LDebugSignalHandler.h"

#include "app/KVDelivery.h"
#include "base/LDebugThreads.h"
#include "base/LPlatform.h"
#include "base/LSignalObject.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

const char* const kDebugSignalAlertTitle = "Abnormaler Signalabsturz";

namespace {

std::atomic<bool> bLLibExceptionAlreadyTrapped{false};
std::atomic<bool> gMainLoopRunning{false};

// Made before any handler can run, and never destroyed: a signal may come
// during static destruction.
LSignalObject& InterruptSignal() {
    static LSignalObject* signal = new LSignalObject;
    return *signal;
}

const char* kAlertFormat =
    "Kelvane Audio-Editor ist mit abnormaler Ausnahme abgestürzt.\r\n\r\nMöchten Sie einen Orvel Software "
    "Fehlerbericht ausfüllen, damit unsere Programmierer das Problem beheben können? Wenn ja, klicken Sie "
    "bitte auf Melden und füllen Sie die Felder aus, um uns genau mitzuteilen, was Sie getan haben und das "
    "Sie eine \"%s\" Fehlermeldung erhalten haben.";

std::string SignalName(int signalNumber) { return "SIGNAL" + std::to_string(signalNumber); }

}  // namespace

std::string LDebugSignalAlertText(int signalNumber) {
    char text[1024];
    std::snprintf(text, sizeof(text), kAlertFormat, SignalName(signalNumber).c_str());
    return text;
}

std::string LDebugCrashCode(int signalNumber) {
    std::string name, description;
    if (!LDebugFindThread(LDebugCurrentThreadId(), &name, &description))
        name = "????";
    const std::string where = name + " " + description + " " +
                              LDebugRenderCurrentCommand(gwDebugCurrentCommand.load(), LDebugLastCommand());
    return SignalName(signalNumber) + "-Linux-UnknownModule-" + where;
}

bool LDebugSignalIsFatal(int signalNumber) {
    // Returning from SIGILL would run the same instruction again, for ever, so
    // it ends the process like the others.
    switch (signalNumber) {
    case SIGABRT: case SIGFPE: case SIGKILL: case SIGBUS: case SIGSEGV: case SIGILL:
        return true;
    default:
        return false;
    }
}

void LDebugSignalHandler(int signalNumber, siginfo_t*, void*) {
    if (!bLLibExceptionAlreadyTrapped.exchange(true)) {
        const std::string text = LDebugSignalAlertText(signalNumber);
        if (LAlert(kDebugSignalAlertTitle, text.c_str(), {"Melden", "Nicht melden"}) == 0)
            DeliveryOpenBugReportPage(LDebugCrashCode(signalNumber).c_str());
    }
    if (LDebugSignalIsFatal(signalNumber))
        std::exit(666);
}

void LIntTermSignalHandler(int) {
    if (gMainLoopRunning.load())
        InterruptSignal().Signal();
    else
        std::exit(0);
}

void LSetMainLoopRunning(bool running) { gMainLoopRunning = running; }

LInterruptWatcher::LInterruptWatcher() { SetDebugName("INTR", "SIGINT/SIGTERM watcher"); }

LInterruptWatcher::~LInterruptWatcher() { StopAndWait(); }

void LInterruptWatcher::ThreadFunction() {
    if (ProcessWaitSignal(InterruptSignal().Ref(), LWaitForever) != 0)
        return;  // stopped
    InterruptSignal().Reset();
    if (LPlatform* platform = LPlatform::Current())
        platform->QuitMainLoop(0);
}

void LInstallSignalHandlers() {
    InterruptSignal();
    std::signal(SIGPIPE, SIG_IGN);

    struct sigaction crash{};
    crash.sa_sigaction = LDebugSignalHandler;
    crash.sa_flags = SA_SIGINFO;
    sigfillset(&crash.sa_mask);
    for (int signalNumber : {SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS})
        sigaction(signalNumber, &crash, nullptr);

    struct sigaction stop{};
    stop.sa_handler = LIntTermSignalHandler;
    sigemptyset(&stop.sa_mask);
    for (int signalNumber : {SIGINT, SIGTERM})
        sigaction(signalNumber, &stop, nullptr);
}
