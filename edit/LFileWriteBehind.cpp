#include "edit/LFileWriteBehind.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

LFileWriteBehind::LFileWriteBehind(int fd) : fd_(fd) { current_.reserve(kBufferBytes); }

void LFileWriteBehind::Write(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (size > 0) {
        const size_t n = std::min(size, kBufferBytes - current_.size());
        current_.insert(current_.end(), bytes, bytes + n);
        bytes += n;
        size -= n;
        if (current_.size() == kBufferBytes) Submit();
    }
}

void LFileWriteBehind::Submit() {
    std::unique_lock lock(mutex_);
    if (!worker_.joinable()) worker_ = std::thread([this] { Run(); });
    changed_.wait(lock, [&] { return queue_.size() < kMaxQueued; });
    queue_.push_back(std::move(current_));
    if (!spare_.empty()) {
        current_ = std::move(spare_.back());
        spare_.pop_back();
    } else {
        current_ = {};
        current_.reserve(kBufferBytes);
    }
    current_.clear();
    changed_.notify_all();
}

void LFileWriteBehind::Run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return !queue_.empty() || finishing_; });
        if (queue_.empty()) return;
        std::vector<uint8_t> buffer = std::move(queue_.front());
        queue_.pop_front();
        lock.unlock();
        const bool ok = WriteOut(buffer);
        lock.lock();
        failed_ = failed_ || !ok;
        buffer.clear();
        spare_.push_back(std::move(buffer));
        changed_.notify_all();
    }
}

bool LFileWriteBehind::WriteOut(const std::vector<uint8_t>& buffer) {
    size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t n = ::write(fd_, buffer.data() + done, buffer.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool LFileWriteBehind::Finish() {
    if (worker_.joinable()) {
        {
            std::lock_guard lock(mutex_);
            finishing_ = true;
        }
        changed_.notify_all();
        worker_.join();
    }
    // The worker has written everything queued before; the rest goes last.
    if (!current_.empty()) {
        failed_ = failed_ || !WriteOut(current_);
        current_.clear();
    }
    return !failed_;
}
