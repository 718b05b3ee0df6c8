#include "base/LInputStreamFileShared.h"

#include "base/LFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

LInputStreamFileShared::LInputStreamFileShared(int fd, size_t bufferSize)
    : fd_(fd), bufferCapacity_(bufferSize) {}

void LInputStreamFileShared::Attach(int fd) {
    fd_ = fd;
    position_ = 0;
    bufferStart_ = 0;
    bufferLength_ = 0;
}

int64_t LInputStreamFileShared::ReadDirect(void* buffer, size_t size) {
    // An error reads as the end of the data: the caller sees a short read.
    const int64_t got = LReadAt(fd_, buffer, size, position_);
    return got < 0 ? 0 : got;
}

bool LInputStreamFileShared::Refill() {
    buffer_.resize(bufferCapacity_);
    bufferStart_ = position_;
    bufferLength_ = static_cast<size_t>(ReadDirect(buffer_.data(), bufferCapacity_));
    return bufferLength_ > 0;
}

int64_t LInputStreamFileShared::Read(void* buffer, size_t size) {
    if (fd_ < 0) return 0;
    auto* out = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < size) {
        const bool inBuffer = position_ >= bufferStart_ && position_ < bufferStart_ + static_cast<int64_t>(bufferLength_);
        if (inBuffer) {
            const size_t offset = static_cast<size_t>(position_ - bufferStart_);
            const size_t count = std::min(size - done, bufferLength_ - offset);
            std::memcpy(out + done, buffer_.data() + offset, count);
            done += count;
            position_ += static_cast<int64_t>(count);
        } else if (size - done >= bufferCapacity_) {
            // Large payloads (audio blobs), and every read of an unbuffered
            // stream, go straight to the caller.
            const int64_t n = ReadDirect(out + done, size - done);
            done += static_cast<size_t>(n);
            position_ += n;
            break;
        } else if (!Refill()) {
            break;
        }
    }
    return static_cast<int64_t>(done);
}

bool LInputStreamFileShared::Seek(int64_t position) {
    if (position < 0) return false;
    position_ = position;
    return true;
}

int64_t LInputStreamFileShared::Size() const {
    struct stat st;
    if (fd_ < 0 || fstat(fd_, &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}
