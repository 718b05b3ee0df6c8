#pragma once
// LOutputStreamByteArray: writes into a growing array in memory, for the
// small container images that are embedded in other files.
#include "base/LOutputStream.h"

#include <cstdint>
#include <vector>

class LOutputStreamByteArray : public LOutputStream {
public:
    bool Write(const void* data, size_t size) override;
    // Seeking past the end is refused: there would be a hole of undefined bytes.
    bool Seek(int64_t position) override;
    int64_t Position() const override { return position_; }

    const std::vector<uint8_t>& Data() const { return data_; }
    std::vector<uint8_t> TakeData();
    void Clear();

private:
    std::vector<uint8_t> data_;
    int64_t position_ = 0;
};
