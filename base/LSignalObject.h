#pragma once
// Pollable signals: a pipe pair whose read end becomes readable when the signal
// is raised. Because a signal is a file descriptor it can be waited on with
// poll() next to sockets, standard input or other signals, and it may be raised
// from any thread or from a signal handler (write() is async-signal-safe).
#include <poll.h>

#include <cstddef>

// Waits given to the wait operations in milliseconds; this value means no limit.
constexpr unsigned int LWaitForever = 0xFFFFFFFFu;

// poll() that restarts after EINTR with the time that is left. LWaitForever
// waits without limit. Returns what poll() returns (0 on time-out, -1 on error).
int LPollRetrying(pollfd* fds, nfds_t count, unsigned int milliseconds);

// A non-owning copy of a signal's two descriptors.
class LSignalObjectRef {
public:
    LSignalObjectRef() = default;
    LSignalObjectRef(int readFd, int writeFd) : readFd_(readFd), writeFd_(writeFd) {}

    // Raises the signal: writes one byte. A full pipe is already raised.
    // Safe in a signal handler: errno is left as it was.
    void Signal() const;
    // Lowers the signal: reads the pipe empty.
    void Reset() const;
    // True when the signal is raised (poll without waiting).
    bool IsSignaled() const { return Wait(0); }
    // Waits up to `milliseconds` for the signal; true when it is raised.
    bool Wait(unsigned int milliseconds) const;

    int ReadFd() const { return readFd_; }
    int WriteFd() const { return writeFd_; }
    bool IsValid() const { return readFd_ >= 0 && writeFd_ >= 0; }

private:
    int readFd_ = -1;
    int writeFd_ = -1;
};

// Owns the pipe pair; both ends non-blocking and close-on-exec.
class LSignalObject {
public:
    LSignalObject();
    ~LSignalObject();
    LSignalObject(const LSignalObject&) = delete;
    LSignalObject& operator=(const LSignalObject&) = delete;

    LSignalObjectRef Ref() const { return ref_; }
    operator LSignalObjectRef() const { return ref_; }

    void Signal() const { ref_.Signal(); }
    void Reset() const { ref_.Reset(); }
    bool IsSignaled() const { return ref_.IsSignaled(); }
    bool Wait(unsigned int milliseconds) const { return ref_.Wait(milliseconds); }

private:
    LSignalObjectRef ref_;
};

// Up to 256 signals (or any pollable descriptors) waited on together.
class LSignalObjectGroup {
public:
    static constexpr int kMaxEntries = 256;

    // Appends a signal; false when the group is full.
    bool Add(LSignalObjectRef signal);
    // Appends any descriptor to be polled for input; false when full.
    bool AddFd(int fd);
    void Clear() { count_ = 0; }
    int Count() const { return count_; }

    // Waits for any member. Returns the index of the first raised member, or -1
    // on time-out or error. IsFired() tells about the others after a wait.
    int Wait(unsigned int milliseconds);
    bool IsFired(int index) const;

    // Raw access for waits that append their own entries for one poll.
    pollfd* Entries() { return entries_; }
    void SetCount(int count) { count_ = count; }

private:
    pollfd entries_[kMaxEntries] = {};
    int count_ = 0;
};
