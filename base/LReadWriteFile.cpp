#include "base/LReadWriteFile.h"

bool LReadWriteFile::Open(const std::string& path) {
    position_ = 0;
    return file_.OpenReadWrite(path.c_str());
}

int64_t LReadWriteFile::Read(void* buffer, size_t size) {
    if (!file_.IsOpen()) return 0;
    const int64_t n = file_.ReadAt(buffer, size, position_);
    if (n <= 0) return 0;
    position_ += n;
    return n;
}

bool LReadWriteFile::Write(const void* data, size_t size) {
    if (!file_.IsOpen() || !file_.WriteAllAt(data, size, position_)) return false;
    position_ += static_cast<int64_t>(size);
    return true;
}

bool LReadWriteFile::Seek(int64_t position) {
    if (position < 0) return false;
    position_ = position;
    return true;
}
