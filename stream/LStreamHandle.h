#pragma once
// Counted handle shared by sources and sinks. A handle never holds a null
// pointer: a default handle, and a handle after Close(), hold a fresh error
// stream instead. The count is a plain 16-bit field of the stream, not atomic:
// a chain is used by one thread at a time and handed over under its owner's lock.
#include "base/LAssert.h"

#include <limits>

template <class Base, class ErrorStream>
class LStreamHandle {
public:
    LStreamHandle() : stream_(Retain(new ErrorStream())) {}

    // Adopts a newly made stream (or shares one that other handles hold).
    // Code makes streams through MakeSource / MakeSink, which use this.
    explicit LStreamHandle(Base* stream) : stream_(Retain(stream ? stream : new ErrorStream())) {}

    LStreamHandle(const LStreamHandle& other) : stream_(Retain(other.stream_)) {}

    LStreamHandle& operator=(const LStreamHandle& other) {
        if (other.stream_ == nullptr) return *this;
        Base* old = stream_;
        stream_ = Retain(other.stream_);  // raise first: other may be the last holder of old
        Release(old);
        return *this;
    }

    ~LStreamHandle() { Release(stream_); }

    // Puts a new stream in place of the current one.
    void Reset(Base* stream) { *this = LStreamHandle(stream); }

    // Releases the stream and leaves a working error stream in its place.
    void Close() { Reset(nullptr); }

    Base* operator->() const { return stream_; }
    Base& operator*() const { return *stream_; }
    Base* Get() const { return stream_; }

private:
    static Base* Retain(Base* stream) {
        KV_ASSERT(stream != nullptr);
        KV_ASSERT(stream->refCount_ < std::numeric_limits<decltype(stream->refCount_)>::max());
        ++stream->refCount_;
        return stream;
    }
    static void Release(Base* stream) {
        KV_ASSERT(stream == nullptr || stream->refCount_ > 0);
        if (stream && --stream->refCount_ == 0) delete stream;
    }

    Base* stream_;
};
