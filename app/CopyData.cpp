#include "app/CopyData.h"

#include <algorithm>
#include <cstring>

void CopyData::Fill(int argc, const char* const* argv) {
    std::memset(this, 0, sizeof(*this));
    count = std::clamp(argc, 0, kMaxArguments);
    for (int i = 0; i < count; ++i) {
        const char* arg = argv[i] ? argv[i] : "";
        const std::size_t length = std::min<std::size_t>(std::strlen(arg), kSlotSize - 1);
        std::memcpy(slots[i], arg, length);
        slots[i][length] = '\0';
    }
}

bool CopyData::Sanitize() {
    if (count < 1 || count > kMaxArguments)
        return false;
    for (int i = 0; i < count; ++i)
        slots[i][kSlotSize - 1] = '\0';
    return true;
}

std::vector<const char*> CopyData::ArgumentPointers() const {
    std::vector<const char*> pointers;
    const int used = std::clamp<int>(count, 0, kMaxArguments);
    pointers.reserve(used);
    for (int i = 0; i < used; ++i)
        pointers.push_back(slots[i]);
    return pointers;
}
