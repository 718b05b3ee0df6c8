#include "base/LOutputStreamFile.h"

#include <cstring>

bool LOutputStreamFile::Open(const std::string& path) {
    Discard();
    replace_.emplace(path);
    if (!replace_->IsOpen()) {
        replace_.reset();
        return false;
    }
    buffer_.reserve(kBufferSize);
    return true;
}

bool LOutputStreamFile::Commit() {
    if (!IsOpen()) return false;
    const bool ok = Flush() && !failed_ && replace_->Commit();
    replace_.reset();  // removes the temporary file if Commit didn't use it
    return ok;
}

void LOutputStreamFile::Discard() {
    replace_.reset();
    buffer_.clear();
    bufferStart_ = 0;
    position_ = 0;
    failed_ = false;
}

bool LOutputStreamFile::Flush() {
    if (buffer_.empty()) return true;
    if (!replace_->File().WriteAllAt(buffer_.data(), buffer_.size(), bufferStart_)) failed_ = true;
    buffer_.clear();
    return !failed_;
}

bool LOutputStreamFile::Write(const void* data, size_t size) {
    if (!IsOpen() || failed_) return false;
    if (size == 0) return true;
    const int64_t bufferEnd = bufferStart_ + static_cast<int64_t>(buffer_.size());
    const bool touchesBuffer = position_ >= bufferStart_ && position_ <= bufferEnd;
    if (touchesBuffer && static_cast<size_t>(position_ - bufferStart_) + size <= kBufferSize) {
        const size_t offset = static_cast<size_t>(position_ - bufferStart_);
        if (offset + size > buffer_.size()) buffer_.resize(offset + size);
        std::memcpy(buffer_.data() + offset, data, size);
        position_ += static_cast<int64_t>(size);
        return true;
    }
    if (!Flush()) return false;
    bufferStart_ = position_;
    if (size >= kBufferSize) {
        if (!replace_->File().WriteAllAt(data, size, position_)) {
            failed_ = true;
            return false;
        }
        position_ += static_cast<int64_t>(size);
        bufferStart_ = position_;
        return true;
    }
    buffer_.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
    position_ += static_cast<int64_t>(size);
    return true;
}

bool LOutputStreamFile::Seek(int64_t position) {
    if (!IsOpen() || position < 0) return false;
    position_ = position;
    return true;
}
