#pragma once
// LInputStreamBuffer: reads from bytes in memory that the caller keeps alive.
#include "base/LInputStream.h"

#include <cstdint>
#include <span>

class LInputStreamBuffer : public LInputStream {
public:
    LInputStreamBuffer(const void* data, size_t size)
        : data_(static_cast<const uint8_t*>(data)), size_(static_cast<int64_t>(size)) {}
    explicit LInputStreamBuffer(std::span<const uint8_t> bytes) : LInputStreamBuffer(bytes.data(), bytes.size()) {}

    int64_t Read(void* buffer, size_t size) override;
    bool Seek(int64_t position) override;
    int64_t Position() const override { return position_; }
    int64_t Size() const override { return size_; }

private:
    const uint8_t* data_;
    int64_t size_;
    int64_t position_ = 0;
};
