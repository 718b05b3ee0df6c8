#pragma once
// Listens on a Unix stream socket in a thread of its own and hands every
// accepted connection to NewConnection. The socket file is replaced at start
// (an old one is a leftover) and removed at the end. A failed bind ends the
// thread silently: the instance then simply runs without hand-overs.
#include "base/LThread.h"

#include <sys/types.h>

#include <atomic>
#include <string>

class LPipeListener : public LThread {
public:
    static constexpr int kPriority = 20;
    static constexpr int kBacklog = 5;

    explicit LPipeListener(std::string path);
    ~LPipeListener() override;

    const std::string& Path() const { return path_; }
    // True while the socket is bound and listened on.
    bool IsListening() const { return listening_.load(); }

protected:
    // Owns `fd`, an accepted socket made non-blocking and close-on-exec.
    // Runs on the listener's thread: keep it short.
    virtual void NewConnection(int fd) = 0;
    void ThreadFunction() override;

private:
    bool Bind(int sock);
    void RemoveOwnFile();

    std::string path_;
    std::atomic<bool> listening_{false};
    dev_t device_ = 0;
    ino_t inode_ = 0;
};
