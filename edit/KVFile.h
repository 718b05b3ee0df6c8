#pragma once
// KVFile: one open document. It holds the sound as a cut list, the selection
// and cursor, the dirty state, the bookmarks, and a ring of 32 undo records.
// It holds no audio: an undo record is a copy of the cut list (with its
// references on cache items), so a snapshot costs a few segment copies and
// no disk space. The audio that an edit replaced stays on disk until the
// last record naming it falls out of the ring.
//
// The ring. SaveForUndo writes the record after the index and moves the index
// on; it then clears the two records ahead of it, so there is always one
// record free for the redo state and one that ends the redo chain. At most 30
// undo steps stand behind the index. Records are fixed members of the
// document (32 of them, plus 3 kept aside during an edit, see
// BeginUndoableChange): editing never allocates a record, and a record reuses
// the storage of its lists.
//
// The dirty mark follows the saved state through the ring: SetFileClean marks
// every record dirty except the one that leads back to the present state.
//
// All of this belongs to the user-interface thread. The document's own
// reference count lets background jobs keep it alive (KVFileRef).
#include "edit/KVFileUndo.h"
#include "edit/LMP3LosslessContext.h"
#include "formats/tags/LFileTagDataAudio.h"
#include "sdf/LSDFUnknownChunk.h"

#include <array>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

class KVFile : public KVFileBase {
public:
    static constexpr int kUndoRecords = 32;
    static constexpr size_t kPathSize = 520;
    static constexpr size_t kNameSize = 260;

    // Both start dirty and modified. The second names the document from the
    // "FileNameFormat" pattern with the settings' auto number, and raises it.
    KVFile(const char* path, const LCutListAudio& list);
    explicit KVFile(const LCutListAudio& list);
    // Releases the undo records and the lists, deletes the document's
    // temporary folder (if set), and last releases the cut list.
    ~KVFile() override;
    KVFile(const KVFile&) = delete;
    KVFile& operator=(const KVFile&) = delete;

    // dirty = false; every record dirty, except the one after the index,
    // which is what redo or the next snapshot leads back to.
    void SetFileClean() override;

    // --- Undo ring -----------------------------------------------------------
    // Takes a snapshot named `name` in the record after the index, moves the
    // index there and clears the two records ahead. An empty selection is
    // stored as the cursor.
    void SaveForUndo(const char* name);
    // Restores the state before the last edit; false when there is none. The
    // first undo after an edit first keeps the present state for redo.
    bool Undo();
    // Restores the state after the edit last undone; false when there is none.
    bool Redo();

    bool CanUndo() const;
    bool CanRedo() const;
    // "Rückgängig <name of the record at the index>".
    std::string GetUndoMenuText() const;
    // "Wiederholen <name of the record after the index>" when redo is
    // possible, "Wiederholen " otherwise.
    std::string GetRedoMenuText() const;

    // The modify bracket (KVCoreUtils). Begin takes the snapshot like
    // SaveForUndo, but keeps the records it overwrites or clears aside, so
    // that Cancel can put the ring back exactly as it was; Commit releases
    // them (that is when the disk space of the oldest edit returns).
    void BeginUndoableChange(const char* name);
    void CommitUndoableChange();
    // Forgets the snapshot of the edit begun last. With restoreDocument the
    // document first gets the snapshot's state back (an edit that failed
    // half-way). Without a pending Begin, the snapshot at the index and the
    // record after it are cleared and the index steps back.
    void CancelUndoableChange(bool restoreDocument);
    bool IsChangePending() const { return changePending_; }

    // For inspection (tests, the undo history): record i of the ring.
    int GetUndoIndex() const { return index_; }
    const KVFileUndo& GetUndoRecord(int i) const { return ring_[i & (kUndoRecords - 1)]; }

    // --- Document -------------------------------------------------------------
    const std::string& GetPath() const { return path_; }
    // Cut to 519 bytes.
    void SetPath(const char* path);
    // The path's last component.
    std::string GetFileName() const;

    // A folder of this document's own (embedded attachments); removed with
    // everything in it when the document is destroyed.
    const std::string& GetTempFolder() const { return tempFolder_; }
    void SetTempFolder(const std::string& folder) { tempFolder_ = folder; }

    // The region manager's list of this file's regions, which snapshots copy
    // and undo writes back. Until one is set, the document's own `regions`
    // stands in. The list must outlive the document or be unset (nullptr).
    void SetLiveRegionList(std::vector<KVRegion>* regions) { liveRegions_ = regions ? regions : &this->regions; }
    std::vector<KVRegion>& LiveRegions() { return *liveRegions_; }

    LMP3LosslessContextRoot& MP3LosslessRoot() { return losslessRoot_; }

    // The tags read from the document's file, written back when it is saved.
    LFileTagDataAudio tags;

    // Chunks of a project file that this version didn't understand, kept for
    // writing back: those of the document's container and those of its view.
    LSDFUnknownChunkList unknownDocumentChunks;
    LSDFUnknownChunkList unknownViewChunks;

    // A name from a pattern: `format`, or the setting "FileNameFormat" of
    // "Settings" (default "Unbenannt_%autonumber%"). "%autonumber%" becomes
    // `number`; "%YYYY%", "%MM%", "%DD%", "%HH%", "%MIN%", "%SS%" the local
    // time; any other "%" stays as it is. At most 259 bytes are written to
    // `out` (a 260-byte buffer). With `increment` the settings' auto number
    // rises by one.
    static void GetNewFileName(char* out, bool increment, const char* format, int number);
    // The settings' auto number ("AutoNumber" of "Settings", default 1).
    static int GetAutoNumber();

    // --- Document reference count ----------------------------------------------
    // For a document made with new: the last DecRef deletes it.
    void IncRef() { ++refCount_; }
    void DecRef() {
        if (--refCount_ == 0) delete this;
    }

private:
    static int Next(int index, int step = 1) { return (index + step) & (kUndoRecords - 1); }
    static int Previous(int index) { return (index + kUndoRecords - 1) & (kUndoRecords - 1); }

    void WriteSnapshot(KVFileUndo& record, const char* name);
    void RestoreFrom(const KVFileUndo& record);
    void StepForwardAndClearAhead();
    void ReleaseAside();

    LMP3LosslessContextRoot losslessRoot_;
    std::string path_;
    std::atomic<int> refCount_{0};
    std::string tempFolder_;
    std::array<KVFileUndo, kUndoRecords> ring_;
    int index_ = 0;
    // During an edit: the records at index, index + 1 and index + 2 as they
    // were before BeginUndoableChange.
    std::array<KVFileUndo, 3> aside_;
    bool changePending_ = false;
    std::vector<KVRegion>* liveRegions_ = &regions;
};

// A counted handle on a heap document (nullptr allowed).
class KVFileRef {
public:
    KVFileRef() = default;
    explicit KVFileRef(KVFile* file) : file_(file) {
        if (file_) file_->IncRef();
    }
    KVFileRef(const KVFileRef& other) : KVFileRef(other.file_) {}
    KVFileRef& operator=(KVFileRef other) {
        std::swap(file_, other.file_);
        return *this;
    }
    ~KVFileRef() {
        if (file_) file_->DecRef();
    }
    KVFile* get() const { return file_; }
    KVFile* operator->() const { return file_; }
    KVFile& operator*() const { return *file_; }
    explicit operator bool() const { return file_ != nullptr; }

private:
    KVFile* file_ = nullptr;
};
