#pragma once
// KVFileUndo: one record of a document's undo ring: the document's state at
// one moment, with the name of the edit that followed it. A record with an
// empty name is unused.
//
// Records are reused in place: a cleared record keeps the storage of its
// lists, so that copying a document into it again allocates nothing when the
// sizes fit.
#include "edit/KVFileBase.h"

#include <cstring>

class KVFileUndo : public KVFileBase {
public:
    static constexpr size_t kNameSize = 260;

    void SetFileClean() override { dirty = false; }

    bool IsUsed() const { return name_[0] != '\0'; }
    const char* GetName() const { return name_; }
    // Cut to 259 bytes; nullptr counts as "".
    void SetName(const char* name);

    // Unused again: the name goes, the segments and their references are
    // released, and so are the unknown chunks and the lists.
    void Clear();

private:
    char name_[kNameSize] = {};
};
