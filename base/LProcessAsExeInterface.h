#pragma once
// Child mode: a job run in a child process ("kelvane -exe <name>") reports to
// its parent over a byte protocol on standard output and is stopped by a byte
// (or end of file) on standard input. Multi-byte values are little-endian.
//
//   19                      alive; sent by IsToStop at most once per 1000 ms
//   16 + double             progress; at most once per 250 ms unless >= 1.0
//   17 / 18                 indeterminate progress on / off
//   128 + u16 len + text    error
//   129+line + u16 + text   status, lines 0..2 (other lines are dropped)
//   1 + result data         finished, result 0
//   2                       finished, stopped (result 1)
//   0 + result data         finished, any other result
// Texts are cut at 65535 bytes.
//
// Jobs register by defining a static LProcessAsExeBase object; the program's
// entry calls LProcessAsExeRun(name) for "-exe <name>".
#include "base/LProcessInterface.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>

class LProcessAsExeInterface : public LProcessInterface {
public:
    static constexpr uint8_t kFailed = 0, kSucceeded = 1, kStopped = 2;
    static constexpr uint8_t kProgress = 16, kIndeterminateOn = 17, kIndeterminateOff = 18, kHeartbeat = 19;
    static constexpr uint8_t kError = 128, kStatusLine0 = 129;
    static constexpr uint32_t kHeartbeatMs = 1000, kProgressMs = 250, kWaitSliceMs = 300;
    static constexpr size_t kMaxText = 65535;

    // `outFd` goes to the parent, `inFd` comes from it.
    explicit LProcessAsExeInterface(int outFd = STDOUT_FILENO, int inFd = STDIN_FILENO);

    bool IsToStop() override;
    bool ProcessWait(unsigned int milliseconds) override;
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) override;
    void SetError(char const* text) override;
    void SetStatus(char const* text, int line) override;
    void SetProgress(double fraction) override;
    void SetProgressIndeterminateOn() override { SendByte(kIndeterminateOn); }
    void SetProgressIndeterminateOff() override { SendByte(kIndeterminateOff); }

    // Sends the end of the job: type 2 alone when stopped, else type 1 (OK) or
    // 0 followed by the job's result bytes.
    void SetResultCode(LProcessResult result, const void* data = nullptr, size_t size = 0);
    // Reads job input from the parent; returns the bytes read (short at end).
    size_t ReadData(void* buffer, size_t size);

protected:
    // 32-bit milliseconds of a steady clock; tests replace it.
    virtual uint32_t NowMilliseconds() const;

private:
    void Send(const void* data, size_t size);
    void SendByte(uint8_t type) { Send(&type, 1); }
    void SendText(uint8_t type, const char* text);
    // Polls the parent's pipe (and a group) in slices, with heartbeats.
    int WaitSliced(LSignalObjectGroup* group, unsigned int milliseconds);

    const int outFd_;
    const int inFd_;
    bool heartbeatSent_ = false;
    uint32_t lastHeartbeat_ = 0;
    bool progressSent_ = false;
    uint32_t lastProgress_ = 0;
};

// A job that can run in a child process. Define one static object per job;
// the registry is a singly linked list made on first use.
class LProcessAsExeBase {
public:
    explicit LProcessAsExeBase(const char* name);
    virtual ~LProcessAsExeBase();
    LProcessAsExeBase(const LProcessAsExeBase&) = delete;
    LProcessAsExeBase& operator=(const LProcessAsExeBase&) = delete;

    const char* Name() const { return name_; }
    // Runs the job; a non-zero return makes the exit status 1. The job should
    // end by calling iface.SetResultCode.
    virtual int Run(LProcessAsExeInterface& iface) = 0;

    // The registered job of that (exact) name, or null.
    static LProcessAsExeBase* Find(const char* name);

private:
    const char* name_;
    LProcessAsExeBase* next_ = nullptr;
};

// Carries out "-exe <name>": 1 for an unknown name, otherwise 1 when the job
// returned non-zero and 0 when it returned 0. Standard output is switched to
// unbuffered first so that nothing printed by the job reorders the wire.
int LProcessAsExeRun(const char* name, int outFd = STDOUT_FILENO, int inFd = STDIN_FILENO);
