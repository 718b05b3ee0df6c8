#include "base/LInputStreamBuffer.h"

#include <algorithm>
#include <cstring>

int64_t LInputStreamBuffer::Read(void* buffer, size_t size) {
    if (position_ >= size_ || size == 0) return 0;  // a zero-length read may pass no buffer at all
    const int64_t count = std::min<int64_t>(static_cast<int64_t>(size), size_ - position_);
    std::memcpy(buffer, data_ + position_, static_cast<size_t>(count));
    position_ += count;
    return count;
}

bool LInputStreamBuffer::Seek(int64_t position) {
    if (position < 0) return false;
    position_ = position;
    return true;
}
