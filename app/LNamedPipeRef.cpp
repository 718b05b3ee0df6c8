#include "app/LNamedPipeRef.h"

#include "base/LFile.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

std::string LNamedPipeRef::MakeFilePath(const char* name) {
    const std::string folder = LFile::GetTempFolder();
    if (folder.empty())
        return {};
    return folder + "/.spipe." + name;
}

std::string LNamedPipeRef::ApplicationPath() { return MakeFilePath("Kelvane"); }

bool LNamedPipeRef::MakeAddress(const std::string& path, void* sockaddrUn, unsigned* length) {
    auto* address = static_cast<sockaddr_un*>(sockaddrUn);
    std::memset(address, 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address->sun_path))
        return false;
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    *length = static_cast<unsigned>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    return true;
}

LNamedPipeRef::ConnectResult LNamedPipeRef::Connect(const std::string& path, int* fd) {
    *fd = -1;
    struct stat info{};
    if (path.empty() || lstat(path.c_str(), &info) != 0)
        return ConnectResult::kNoFile;
    sockaddr_un address{};
    unsigned length = 0;
    if (!MakeAddress(path, &address, &length))
        return ConnectResult::kStale;  // no listener can have bound it either
    const int sock = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sock < 0)
        return ConnectResult::kStale;
    int result;
    do {
        result = connect(sock, reinterpret_cast<sockaddr*>(&address), length);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        // Refused, or not a socket at all: a leftover the listener replaces.
        close(sock);
        return ConnectResult::kStale;
    }
    fcntl(sock, F_SETFL, fcntl(sock, F_GETFL) | O_NONBLOCK);
    *fd = sock;
    return ConnectResult::kConnected;
}
