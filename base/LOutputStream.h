#pragma once
// LOutputStream: a seekable sink of bytes. Writers of our container files
// patch lengths after the payload, so every output stream can seek back.
#include <cstddef>
#include <cstdint>

class LOutputStream {
public:
    virtual ~LOutputStream() = default;

    // Writes all of size bytes at the position and advances it; false if any
    // byte could not be written.
    virtual bool Write(const void* data, size_t size) = 0;
    // Moves the position; false for a negative position or a failure.
    virtual bool Seek(int64_t position) = 0;
    virtual int64_t Position() const = 0;
};
