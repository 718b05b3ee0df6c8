#pragma once
// LInputStreamFileShared: buffered reading of a descriptor that someone else
// owns and keeps open (typically one that also holds a lock on the file).
//
// Reads go through pread, so the owner's file offset is never moved and the
// owner may keep using the descriptor. The stream starts at position 0.
#include "base/LInputStream.h"

#include <vector>

class LInputStreamFileShared : public LInputStream {
public:
    static constexpr size_t kDefaultBufferSize = 64 * 1024;
    // Every read goes to the file: for files that another process may still
    // be writing, where a buffered window would show stale bytes.
    static constexpr size_t kUnbuffered = 0;

    explicit LInputStreamFileShared(int fd = -1, size_t bufferSize = kDefaultBufferSize);

    // Reads another descriptor from position 0; the buffer is dropped.
    void Attach(int fd);
    int Fd() const { return fd_; }

    int64_t Read(void* buffer, size_t size) override;
    // Within the buffered window a seek costs nothing; elsewhere the buffer is
    // refilled lazily on the next read.
    bool Seek(int64_t position) override;
    int64_t Position() const override { return position_; }
    int64_t Size() const override;

private:
    bool Refill();
    int64_t ReadDirect(void* buffer, size_t size);

    int fd_;
    int64_t position_ = 0;
    std::vector<uint8_t> buffer_;
    int64_t bufferStart_ = 0;
    size_t bufferLength_ = 0;
    size_t bufferCapacity_;
};
