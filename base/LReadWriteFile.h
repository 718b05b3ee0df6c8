#pragma once
// LReadWriteFile: one file read and written in place, for the small files
// that several instances share under an advisory lock on the file itself
// (where replacing the file by rename would slip past the lock).
//
// Unbuffered: every Read and Write is a pread/pwrite at the stream position.
#include "base/LFile.h"
#include "base/LInputStream.h"
#include "base/LOutputStream.h"

#include <string>

class LReadWriteFile : public LInputStream, public LOutputStream {
public:
    LReadWriteFile() = default;

    // Opens read-write, creating the file if it is missing. False (errno set)
    // on failure. The position starts at 0.
    bool Open(const std::string& path);
    void Close() { file_.Close(); position_ = 0; }
    bool IsOpen() const { return file_.IsOpen(); }
    // The descriptor, for locking with LFileLock or flocktimed.
    int Fd() const { return file_.Fd(); }
    // Cuts or extends the file; the position is left alone.
    bool Truncate(int64_t size) { return file_.Truncate(size); }

    int64_t Read(void* buffer, size_t size) override;
    bool Write(const void* data, size_t size) override;
    bool Seek(int64_t position) override;
    int64_t Position() const override { return position_; }
    int64_t Size() const override { return file_.Size(); }

private:
    LFile file_;
    int64_t position_ = 0;
};
