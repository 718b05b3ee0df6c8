#include "base/LOutputStreamByteArray.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

bool LOutputStreamByteArray::Write(const void* data, size_t size) {
    if (size == 0) return true;
    const size_t offset = static_cast<size_t>(position_);
    if (size > data_.max_size() - offset) return false;
    const size_t needed = offset + size;
    try {
        if (needed > data_.capacity()) {
            // Grow by half again, so that many small chunks cost amortised time.
            data_.reserve(std::max(needed, data_.capacity() + data_.capacity() / 2));
        }
        if (needed > data_.size()) data_.resize(needed);
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    std::memcpy(data_.data() + offset, data, size);
    position_ = static_cast<int64_t>(needed);
    return true;
}

bool LOutputStreamByteArray::Seek(int64_t position) {
    if (position < 0 || position > static_cast<int64_t>(data_.size())) return false;
    position_ = position;
    return true;
}

std::vector<uint8_t> LOutputStreamByteArray::TakeData() {
    std::vector<uint8_t> taken;
    taken.swap(data_);
    position_ = 0;
    return taken;
}

void LOutputStreamByteArray::Clear() {
    data_.clear();
    position_ = 0;
}
