#pragma once
// LInputStreamFile: a file opened for reading and owned by the stream,
// buffered as LInputStreamFileShared.
#include "base/LFile.h"
#include "sdf/LInputStreamFileShared.h"

#include <string>

class LInputStreamFile : public LInputStreamFileShared {
public:
    LInputStreamFile() = default;
    explicit LInputStreamFile(const std::string& path) { Open(path); }

    // False (errno set) if the file can't be opened; whatever was open is closed.
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return file_.IsOpen(); }

private:
    LFile file_;
};
