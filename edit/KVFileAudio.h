#pragma once
// KVFileAudio: the audio state of a document, the part that every undo
// record copies: the cut list, the dirty and modified marks, the selection
// and the cursor.
#include "edit/KVSelection.h"
#include "edit/LCutListAudio.h"

class KVFileAudio {
public:
    KVFileAudio() = default;
    explicit KVFileAudio(const LCutListAudio& list) : cutList(list) {}
    KVFileAudio(const KVFileAudio&) = default;
    KVFileAudio& operator=(const KVFileAudio&) = default;
    // Moves let the undo ring swap records without copying their lists.
    KVFileAudio(KVFileAudio&&) noexcept = default;
    KVFileAudio& operator=(KVFileAudio&&) noexcept = default;
    virtual ~KVFileAudio() = default;

    // Marks the present state as saved. The document overrides this to keep
    // the undo records' marks in step.
    virtual void SetFileClean() { dirty = false; }

    // The selection end when something is selected; otherwise the length of
    // the sound.
    long long GetEnd() const { return selection.IsEmpty() ? cutList.GetLength() : selection.end; }

    LCutListAudio cutList;
    bool dirty = false;     // differs from the saved state
    bool modified = false;  // changed since it was loaded (project save clears it)
    KVSelection selection;
    long long cursor = 0;   // the insert position, frames
};
