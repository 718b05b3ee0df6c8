#pragma once
// KVCoreUtils: the steps around every change of a document: the check before
// it, the undo snapshot and the refresh at its start, the space check and
// refresh at its end, and undo and redo. All on the user-interface thread;
// the controller hears of everything through the view's
// KVControllerInterface.
#include "edit/KVFileViewInterface.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct LFileFilter;

class KVCoreUtils {
public:
    // The alert title of the space checks.
    static constexpr const char* kLowSpaceTitle = "Geringer Speicherplatz";

    // Begins an edit named `name`: snapshot for undo, dirty and modified set,
    // message 132, undo menu and commands refreshed. False (nothing done) when
    // the view has no document. The flag has no effect.
    static bool StartModifyFile(KVFileViewInterface* view, const char* name, bool flag = false);
    // Ends an edit: releases what the snapshot replaced, checks that the
    // working folder still has room for a copy of the document (the view's
    // low-space handling runs if not), refreshes the view and the menus, and
    // starts playback when "AutoPlaybackAfterEffects" is set. False when the
    // view has no document.
    static bool EndModifyFile(KVFileViewInterface* view);
    // Forgets the snapshot of an edit that changed nothing, leaving the undo
    // ring as it was before StartModifyFile.
    static void CancelModifyFile(KVFileViewInterface* view);
    // For an edit that failed or was stopped half-way: puts the document back
    // to its snapshot, then forgets the snapshot, and refreshes.
    static void RevertModifyFile(KVFileViewInterface* view);

    // Undo and redo with the messages and refreshes; false when there was
    // nothing to do.
    static bool CmUndo(KVFileViewInterface* view);
    static bool CmRedo(KVFileViewInterface* view);

    // True when there is no view, when `folder` is not a directory, or when
    // its volume has more free bytes than the document's frames * channels *
    // 4 (room for one more copy). Otherwise shows `format` (printf-style, with
    // the arguments that follow) in an alert titled "Geringer Speicherplatz"
    // and returns false.
    static bool CheckFreeSpace(KVFileViewInterface* view, const char* folder, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
    // Whether an edit may start: the view exists, isn't closing, has a
    // document, and the working folder has room (alert otherwise).
    static bool IsValidWindowToModify(KVFileViewInterface* view);

    // --- Saving ---------------------------------------------------------------
    // Saves the document where it came from (SaveAs), or asks where when it
    // has no folder yet (CmSaveAs); the recent list hears of a success.
    static bool CmSave(KVFileViewInterface* view, bool prompt);
    // Asks for a place and a format (starting in `folder`, or the last one
    // used, or the Music folder), then saves there.
    static bool CmSaveAs(KVFileViewInterface* view, const char* folder);
    // Saves the document as `path`, in the format its extension names,
    // through a save transaction: the old file stays whole until the new one
    // is complete. Every refusal says why; the document stays as it was,
    // still marked changed. `prompt` lets the format's options window open.
    static bool SaveAs(KVFileViewInterface* view, bool prompt, const char* path);
    // Asked before a changed document closes. With `several` documents open
    // the question offers to repeat the answer for all, which sets yesToAll
    // or noToAll. False when the document must stay open: the user cancelled
    // (`cancelled` set) or its save failed.
    static bool SaveChanges(KVFileViewInterface& view, bool several, int& yesToAll, int& noToAll, bool& cancelled);
    // The save formats as the save dialog lists them.
    static std::vector<LFileFilter> SaveFilters();
    // The channels a save as `extension` writes: `channels`, or the format's
    // most after the down-mix question (skipped when "DontAskToDownmix<ext>"
    // is set; nobody to ask means yes). 0 when the user declined.
    static int ChannelsToWrite(int channels, const std::string& extension);

    // Free bytes of a folder's volume (tests replace the measure below).
    static int64_t GetFreeBytes(const std::string& folder);

    // The folder whose space the edits check: the sound cache's folder, which
    // the controller points at the working folder.
    static std::string GetWorkingFolder();

    // For tests: how free bytes of a folder's volume are measured (nullptr:
    // statvfs, available blocks times fragment size; 0 when that fails).
    using FreeSpaceFunction = std::function<int64_t(const std::string& folder)>;
    static void SetFreeSpaceFunctionForTesting(FreeSpaceFunction function);

private:
    static void NotifyDirtyState(KVFileViewInterface& view);
    static void RefreshAfterChange(KVFileViewInterface& view);
};
