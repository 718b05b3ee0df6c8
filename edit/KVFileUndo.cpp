#include "edit/KVFileUndo.h"

void KVFileUndo::SetName(const char* name) {
    if (name == nullptr) name = "";
    const size_t length = strnlen(name, kNameSize - 1);
    std::memcpy(name_, name, length);
    name_[length] = '\0';
}

void KVFileUndo::Clear() {
    name_[0] = '\0';
    // clear() keeps the capacity, so the next snapshot into this record
    // reuses the storage.
    cutList.ClearSegments();
    cutList.UnknownChunks().clear();
    bookmarks.clear();
    regions.clear();
}
