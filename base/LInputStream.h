#pragma once
// LInputStream: a seekable source of bytes. Every reader of outside data
// (sound files, tags, our own containers) reads one, so the same parser serves
// a file on disk, a descriptor someone else holds and bytes in memory.
//
// One thread at a time; the owner of the stream decides which.
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
    // Seeks to offset and reads there, as a positioned read of a file would:
    // the count read, 0 when the position can't be taken.
    int64_t ReadAt(void* buffer, size_t size, int64_t offset) { return Seek(offset) ? Read(buffer, size) : 0; }
};
