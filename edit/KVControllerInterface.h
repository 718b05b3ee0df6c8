#pragma once
// KVControllerInterface: the calls from the document layer up to the
// application controller (the kvc... group). The edit code knows the
// controller only through this interface; the controller implements it, and
// tests implement it with a recorder.
class KVFileViewInterface;

// Messages to a document's window: the document changed (now dirty), or it
// is in its saved state (clean).
inline constexpr int kKVMessageFileDirty = 132;
inline constexpr int kKVMessageFileClean = 133;

class KVControllerInterface {
public:
    virtual ~KVControllerInterface() = default;

    // Delivers kKVMessageFileDirty or kKVMessageFileClean to the view's window.
    virtual void kvcSendFileMessage(KVFileViewInterface& view, int message) = 0;
    // Re-reads the view's buffers, re-applies the selection and enables the
    // controls; `changed` is false when only the saved state changed.
    virtual void kvcFileApply(bool changed) = 0;
    // Re-reads the undo and redo menu items (KVFile::GetUndoMenuText and
    // friends).
    virtual void kvcUpdateUndoMenuItem() = 0;
    virtual void kvcEnableEditEffectsOptions() = 0;
    // Starts playback (after an effect, when the user asked for that).
    virtual void kvcStartPlay() = 0;
    // The last edit couldn't be kept for lack of disk space in the working
    // folder: the view's low-space handling.
    virtual void kvcHintWorkingDirectoryLowDiskSpace(KVFileViewInterface& view) = 0;

    // The save flows' calls. Stops playback before a save; false when the
    // user refused. A controller without a player has nothing to stop.
    virtual bool kvcStopPlay(bool /*askUser*/) { return true; }
    // A document was saved to `path`.
    virtual void kvcAddToRecentFileList(const char* /*path*/) {}
    // Saves the open project as `path`; false when that isn't possible.
    virtual bool kvcSaveProject(const char* /*path*/) { return false; }
};
