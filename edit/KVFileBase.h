#pragma once
// KVFileBase: the state of a document that an undo record takes along
// besides the audio: bookmarks, a copy of the file's regions and the
// position of its view.
#include "edit/KVFileAudio.h"
#include "edit/KVRegion.h"
#include "edit/LKVBookmark.h"

#include <array>
#include <cstdint>
#include <vector>

// Where the view stood (scroll and zoom), kept opaque: the view writes and
// reads it; undo only carries it.
using KVViewPosition = std::array<uint8_t, 16>;

class KVFileBase : public KVFileAudio {
public:
    KVFileBase() = default;
    explicit KVFileBase(const LCutListAudio& list) : KVFileAudio(list) {}

    std::vector<LKVBookmark> bookmarks;  // sorted by position
    // In an undo record: the regions of the file when the record was taken.
    // In a document it is only the stand-in for a region manager (see
    // KVFile::SetLiveRegionList).
    std::vector<KVRegion> regions;
    KVViewPosition viewPosition{};
};
