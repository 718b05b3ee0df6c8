#include "app/LPipeListener.h"

#include "app/LNamedPipeRef.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

LPipeListener::LPipeListener(std::string path) : path_(std::move(path)) {
    SetDebugName("PIPE", "single-instance listener");
}

LPipeListener::~LPipeListener() { StopAndWait(); }

bool LPipeListener::Bind(int sock) {
    sockaddr_un address{};
    unsigned length = 0;
    if (!LNamedPipeRef::MakeAddress(path_, &address, &length))
        return false;
    unlink(path_.c_str());
    if (bind(sock, reinterpret_cast<sockaddr*>(&address), length) != 0)
        return false;
    // Remembered so that the end removes this file and never a successor's.
    struct stat info{};
    if (stat(path_.c_str(), &info) == 0) {
        device_ = info.st_dev;
        inode_ = info.st_ino;
    }
    chmod(path_.c_str(), 0777);
    return listen(sock, kBacklog) == 0;
}

void LPipeListener::RemoveOwnFile() {
    struct stat info{};
    if (inode_ != 0 && stat(path_.c_str(), &info) == 0 && info.st_dev == device_ &&
        info.st_ino == inode_)
        unlink(path_.c_str());
    inode_ = 0;
}

void LPipeListener::ThreadFunction() {
    const int sock = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (sock < 0)
        return;
    if (!Bind(sock)) {
        RemoveOwnFile();
        close(sock);
        return;
    }
    listening_ = true;
    for (;;) {
        pollfd waits[2] = {{sock, POLLIN, 0}, {StopSignal().ReadFd(), POLLIN, 0}};
        if (LPollRetrying(waits, 2, LWaitForever) < 0 || waits[1].revents != 0)
            break;
        if (waits[0].revents & (POLLERR | POLLNVAL))
            break;
        if (!(waits[0].revents & POLLIN))
            continue;
        const int connection = accept4(sock, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection >= 0) {
            NewConnection(connection);
            continue;
        }
        // A client that gave up between poll and accept is no reason to stop
        // listening; anything else is.
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK && errno != ECONNABORTED)
            break;
    }
    listening_ = false;
    RemoveOwnFile();
    close(sock);
}
