#include "edit/KVCoreUtils.h"

#include "base/LPlatform.h"
#include "base/LSettings.h"
#include "edit/KVControllerInterface.h"
#include "edit/KVFile.h"
#include "edit/LSoundCache.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>

namespace {

constexpr const char* kEditNotKeptMessage =
    "Die letzte von Ihnen durchgeführte Aktion der Datei \"%s\" kann aufgrund geringem Speicherplatz nicht "
    "gesichert werden. Bitte versuchen Sie die Datei an anderer Stelle zu speichern oder durch Entfernen "
    "unerwünschter Dateien Platz freizugeben und versuchen Sie es erneut.";
constexpr const char* kCannotStartMessage =
    "Der aktuelle Vorgang kann nicht durchgeführt werden, da Sie sehr wenig freien Speicherplatz haben. Bitte "
    "versuchen Sie, durch das Entfernen unerwünschter Dateien Platz freizugeben und versuchen Sie es erneut.";

KVCoreUtils::FreeSpaceFunction& FreeSpaceHook() {
    static KVCoreUtils::FreeSpaceFunction hook;
    return hook;
}

int64_t FreeBytes(const std::string& folder) {
    return FreeSpaceHook() ? FreeSpaceHook()(folder) : LSoundCacheFreeSpaceOfFolder(folder);
}

bool IsDirectory(const char* folder) {
    struct stat info {};
    return folder != nullptr && ::stat(folder, &info) == 0 && S_ISDIR(info.st_mode);
}

bool AutoPlaybackAfterEffects() {
    const std::string value = LUserSettingGetString("Settings", "AutoPlaybackAfterEffects", "");
    return !value.empty() && value != "0";
}

}  // namespace

void KVCoreUtils::SetFreeSpaceFunctionForTesting(FreeSpaceFunction function) { FreeSpaceHook() = std::move(function); }

int64_t KVCoreUtils::GetFreeBytes(const std::string& folder) { return FreeBytes(folder); }

std::string KVCoreUtils::GetWorkingFolder() { return LSoundCache::Instance().GetCacheFolder(); }

void KVCoreUtils::NotifyDirtyState(KVFileViewInterface& view) {
    KVFile* file = view.GetFile();
    view.GetController().kvcSendFileMessage(view, file && !file->dirty ? kKVMessageFileClean : kKVMessageFileDirty);
}

void KVCoreUtils::RefreshAfterChange(KVFileViewInterface& view) {
    KVControllerInterface& controller = view.GetController();
    controller.kvcFileApply(true);
    controller.kvcUpdateUndoMenuItem();
    controller.kvcEnableEditEffectsOptions();
}

bool KVCoreUtils::StartModifyFile(KVFileViewInterface* view, const char* name, bool /*flag*/) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    KVFile& file = *view->GetFile();
    file.BeginUndoableChange(name);
    file.dirty = true;
    file.modified = true;
    KVControllerInterface& controller = view->GetController();
    controller.kvcSendFileMessage(*view, kKVMessageFileDirty);
    controller.kvcUpdateUndoMenuItem();
    controller.kvcEnableEditEffectsOptions();
    return true;
}

bool KVCoreUtils::EndModifyFile(KVFileViewInterface* view) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    KVFile& file = *view->GetFile();
    // The edit stands: what its snapshot displaced in the ring goes now.
    file.CommitUndoableChange();
    const std::string folder = GetWorkingFolder();
    if (!CheckFreeSpace(view, folder.c_str(), kEditNotKeptMessage, file.GetFileName().c_str()))
        view->GetController().kvcHintWorkingDirectoryLowDiskSpace(*view);
    RefreshAfterChange(*view);
    if (AutoPlaybackAfterEffects()) view->GetController().kvcStartPlay();
    return true;
}

void KVCoreUtils::CancelModifyFile(KVFileViewInterface* view) {
    if (view == nullptr || view->GetFile() == nullptr) return;
    view->GetFile()->CancelUndoableChange(false);
    NotifyDirtyState(*view);
    view->GetController().kvcUpdateUndoMenuItem();
    view->GetController().kvcEnableEditEffectsOptions();
}

void KVCoreUtils::RevertModifyFile(KVFileViewInterface* view) {
    if (view == nullptr || view->GetFile() == nullptr) return;
    view->GetFile()->CancelUndoableChange(true);
    NotifyDirtyState(*view);
    RefreshAfterChange(*view);
}

bool KVCoreUtils::CmUndo(KVFileViewInterface* view) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    if (!view->GetFile()->Undo()) return false;
    NotifyDirtyState(*view);
    RefreshAfterChange(*view);
    return true;
}

bool KVCoreUtils::CmRedo(KVFileViewInterface* view) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    if (!view->GetFile()->Redo()) return false;
    NotifyDirtyState(*view);
    RefreshAfterChange(*view);
    return true;
}

bool KVCoreUtils::CheckFreeSpace(KVFileViewInterface* view, const char* folder, const char* format, ...) {
    if (view == nullptr || !IsDirectory(folder)) return true;
    const KVFile* file = view->GetFile();
    const int64_t needed = file ? file->cutList.GetLength() * file->cutList.GetChannels() * 4 : 0;
    if (FreeBytes(folder) > needed) return true;

    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    LAlert(kLowSpaceTitle, text, {"OK"});
    return false;
}

bool KVCoreUtils::IsValidWindowToModify(KVFileViewInterface* view) {
    if (view == nullptr || view->IsClosing() || view->GetFile() == nullptr) return false;
    const std::string folder = GetWorkingFolder();
    return CheckFreeSpace(view, folder.c_str(), "%s", kCannotStartMessage);
}
