#pragma once
// LFileWriteBehind: appends to a file on a worker thread.
//
// An import is a read-convert loop and a stream of large writes; on their
// own thread the writes (the kernel's copy into the page cache, and the
// throttling when the disk falls behind) overlap the decoding instead of
// following it. Data is gathered into 1 MiB buffers; only full buffers go to
// the worker, which is started with the first of them, so a small item is
// written at Finish() on the caller's thread without any thread at all.
//
// Write errors are counted, not reported at once: the caller decides at the
// end what a short file means.
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

class LFileWriteBehind {
public:
    static constexpr size_t kBufferBytes = 1 << 20;
    static constexpr size_t kMaxQueued = 3;

    // fd stays owned by the caller and must stay open until Finish() returns.
    explicit LFileWriteBehind(int fd);
    ~LFileWriteBehind() { Finish(); }
    LFileWriteBehind(const LFileWriteBehind&) = delete;
    LFileWriteBehind& operator=(const LFileWriteBehind&) = delete;

    void Write(const void* data, size_t size);
    // Writes what is left and waits until everything is in the file.
    // Returns false if any write failed or came up short.
    bool Finish();

private:
    void Submit();
    void Run();
    bool WriteOut(const std::vector<uint8_t>& buffer);

    int fd_;
    std::vector<uint8_t> current_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::vector<uint8_t>> queue_;
    std::vector<std::vector<uint8_t>> spare_;
    bool finishing_ = false;
    bool failed_ = false;
    std::thread worker_;
};
