#pragma once
// LInputStream: a seekable source of bytes, the reading side of every
// container file of our own (SDF and the files built on it).
#include <cstddef>
#include <cstdint>

class LInputStream {
public:
    virtual ~LInputStream() = default;

    // Reads up to size bytes at the position and advances it. Returns the count
    // read; fewer than size only at the end of the data or on an error.
    virtual int64_t Read(void* buffer, size_t size) = 0;
    // Moves the position; false for a negative position or a failure.
    // Positions past the end are allowed and then read nothing.
    virtual bool Seek(int64_t position) = 0;
    virtual int64_t Position() const = 0;
    // Total bytes of the data, or -1 when that can't be known.
    virtual int64_t Size() const = 0;

    // All of size bytes or false.
    bool ReadExact(void* buffer, size_t size) { return Read(buffer, size) == static_cast<int64_t>(size); }
};
