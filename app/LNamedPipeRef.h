#pragma once
// The single-instance socket: a Unix stream socket in the per-user temporary
// folder, so instances of different users never see each other.
#include <string>

class LNamedPipeRef {
public:
    enum class ConnectResult {
        kNoFile,     // nothing at the path: this is the first instance
        kStale,      // a file nobody listens on: this is the first instance
        kConnected   // another instance listens: *fd is connected to it
    };

    // "<temporary folder>/.spipe.<name>"; empty when the folder is unknown.
    static std::string MakeFilePath(const char* name);
    // The application's socket, MakeFilePath("Kelvane").
    static std::string ApplicationPath();

    // Connects to a listener at `path`. On kConnected, *fd is a socket made
    // non-blocking and close-on-exec, which the caller closes.
    static ConnectResult Connect(const std::string& path, int* fd);

    // Fills a Unix socket address; false when the path doesn't fit.
    static bool MakeAddress(const std::string& path, void* sockaddrUn, unsigned* length);
};
