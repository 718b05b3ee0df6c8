#pragma once
// LInputStreamFile: a file opened for reading and owned by the stream,
// buffered as LInputStreamFileShared (or not at all, with kUnbuffered).
#include "base/LFile.h"
#include "base/LInputStreamFileShared.h"

#include <string>

class LInputStreamFile : public LInputStreamFileShared {
public:
    explicit LInputStreamFile(size_t bufferSize = kDefaultBufferSize) : LInputStreamFileShared(-1, bufferSize) {}
    explicit LInputStreamFile(const std::string& path, size_t bufferSize = kDefaultBufferSize)
        : LInputStreamFileShared(-1, bufferSize) {
        Open(path);
    }

    // False (errno set) if the file can't be opened; whatever was open is closed.
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return file_.IsOpen(); }

private:
    LFile file_;
};
