#pragma once
// LOutputStreamFile: writes a whole new file and swaps it in at the end.
//
// The bytes go to a temporary file beside the target (see LFileReplace), so a
// save that fails half-way, or is never committed, leaves the old file as it
// was. Writes are buffered; seeking back to patch a few bytes that are still
// in the buffer costs no system call.
#include "base/LFileReplace.h"
#include "base/LOutputStream.h"

#include <optional>
#include <string>
#include <vector>

class LOutputStreamFile : public LOutputStream {
public:
    static constexpr size_t kBufferSize = 64 * 1024;

    LOutputStreamFile() = default;
    ~LOutputStreamFile() override = default;  // uncommitted content is discarded

    // Starts a new content for path; false if the temporary file can't be made.
    bool Open(const std::string& path);
    bool IsOpen() const { return replace_.has_value() && replace_->IsOpen(); }
    // Flushes and replaces the target. False if anything failed since Open,
    // and then the target is unchanged.
    bool Commit();
    // Drops the new content.
    void Discard();

    bool Write(const void* data, size_t size) override;
    bool Seek(int64_t position) override;
    int64_t Position() const override { return position_; }

private:
    bool Flush();

    std::optional<LFileReplace> replace_;
    std::vector<uint8_t> buffer_;
    int64_t bufferStart_ = 0;  // file offset of buffer_[0]
    int64_t position_ = 0;
    bool failed_ = false;
};
