#pragma once
// The job interface. A long operation is written once as a free function
//     LProcessResult Process(LProcessInterface& iface, T& job);
// and knows nothing of how it is run: under a progress window, on a worker
// thread, as a step of a larger job, silently or in a child process. It asks
// IsToStop() often, reports status/progress/errors, and returns a result.
// No exception crosses this interface.
#include "base/LSignalObject.h"

enum LProcessResult : int {
    LProcessOK = 0,       // the job ran to its end
    LProcessStopped = 1,  // the job saw the stop request and gave up
    LProcessFailed = 2,   // the job failed (it has called SetError unless silent)
};

class LProcessInterface {
public:
    virtual ~LProcessInterface() = default;

    virtual bool IsToStop() = 0;
    // Waits; true when a stop request ended the wait.
    virtual bool ProcessWait(unsigned int milliseconds) = 0;
    // 0 = the signal fired, 1 = stop request, 2 = time-out.
    virtual int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) = 0;
    // Same results for a group; after 0 the group's IsFired() tells which member.
    virtual int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) = 0;
    virtual bool ProcessWaitUntilStopped() { return ProcessWait(LWaitForever); }
    virtual int ProcessWaitSignalForever(LSignalObjectRef signal) { return ProcessWaitSignal(signal, LWaitForever); }
    virtual int ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& group) {
        return ProcessWaitSignalObjectGroup(group, LWaitForever);
    }
    virtual void SetError(char const* /*text*/) {}
    // Line 0 is the main line, 1 the detail line, 2 a third line few show.
    virtual void SetStatus(char const* /*text*/, int /*line*/) {}
    // 0.0 to 1.0.
    virtual void SetProgress(double /*fraction*/) {}
    virtual void SetProgressIndeterminateOn() {}
    virtual void SetProgressIndeterminateOff() {}

    // printf-style conveniences (formatted into 8192 bytes).
    void SetErrorF(char const* format, ...) __attribute__((format(printf, 2, 3)));
    void SetStatusF(int line, char const* format, ...) __attribute__((format(printf, 3, 4)));

    static constexpr int kFormatBufferSize = 8192;
};

// Never stops; waits sleep; reports go nowhere. For jobs run silently.
class LProcessInterfaceVoid : public LProcessInterface {
public:
    bool IsToStop() override { return false; }
    bool ProcessWait(unsigned int milliseconds) override;
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) override;
};
