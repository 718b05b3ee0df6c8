#pragma once
// LKVBookmark: a named position in a document, in frames. The document keeps
// its bookmarks sorted by position, and every undo record keeps a copy of
// them, so that an undo brings back the bookmarks of the state it restores.
//
// Only what the undo needs is here: the name and the position. The bookmark
// list code adds the rest (file name, kind, number, time stamp, ...).
#include <string>

struct LKVBookmark {
    static constexpr size_t kMaxName = 259;  // names live in 260-byte buffers

    std::string name;
    long long position = 0;  // frames

    bool operator==(const LKVBookmark&) const = default;
};
