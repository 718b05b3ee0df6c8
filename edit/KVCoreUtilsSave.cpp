// KVCoreUtils, the save flows: from a save command to a file on disk, with
// every question and refusal on the way. Main thread.
#include "base/LFile.h"
#include "base/LFormatText.h"
#include "base/LPathName.h"
#include "base/LPlatform.h"
#include "base/LProcessDialog.h"
#include "base/LSaveTransaction.h"
#include "base/LSettings.h"
#include "edit/KVControllerInterface.h"
#include "edit/KVCoreUtils.h"
#include "edit/KVFile.h"
#include "edit/LKVSaveToSink.h"
#include "formats/LGenSink.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>

namespace {

constexpr const char* kEmptyTitle = "Kann keine leeren Dateien speichern";
constexpr const char* kEmptyText = "Diese Datei enthält keine Audiodaten und kann nicht gespeichert werden.";
constexpr const char* kLowDiskTitle = "Speichern aufgrund von ungenügend freiem Speicherplatz fehlgeschlagen.";
constexpr const char* kReadOnlyTitle = "Schreibgeschützte Datei";
constexpr const char* kReadOnlyText =
    "Die Datei %s ist eine schreibgeschützte Datei. Sie können diese Datei nicht überschreiben. Bitte unter anderem "
    "Namen speichern";
constexpr const char* kInUseTitle = "Datei in Benutzung";
constexpr const char* kInUseText =
    "Die Datei %s wird von einer anderen Anwendung benutzt. Bitte unter anderem Namen speichern.";
constexpr const char* kRealAudioText =
    "Im Real Audiodatei-Format speichern wird nicht unterstützt. Möchten Sie in einem anderen Format speichern "
    "(WAV, MP3, GSM, VOX)?";
constexpr const char* kCannotCreate = "Kann Datei \"%s\" nicht zum Speichern erstellen.";
constexpr const char* kDownmixTitle = "Downmix in %s erstellen?";
constexpr const char* kDownmixText =
    "Ihr Audio hat %s, aber Kelvane kann nur bis zu %s im Format %s speichern. Um in diesem Format zu speichern, "
    "muss das Audio ein Downmix sein.";
constexpr const char* kSaveChangesText = "Änderungen in \"%s\" speichern?";


// A path the user gave a folder to (not just a document's name).
bool HasFolder(const std::string& path) { return path.find('/') != std::string::npos; }

bool Exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

bool IsDirectory(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int64_t BytesNeeded(const KVFile& file) { return file.cutList.GetLength() * file.cutList.GetChannels() * 4; }

// The low-disk window: give up (0), look again, or save elsewhere (3).
int LowDiskSpaceAnswer(const std::string& path) {
    LAlertRequest request;
    request.title = "Geringer Festplattenspeicher";
    request.text = std::string(kLowDiskTitle) + "\r\n\r\n" + LFormatText(kKVSaveNoSpaceText, path.c_str());
    request.buttons = {"Abbrechen", "Erneut prüfen", "Anderen Ort wählen"};
    request.unattendedButton = 0;
    static constexpr int kAnswers[] = {0, 1, 3};
    return kAnswers[LAlert(request)];
}

// Format names in questions: the extension in capitals.
std::string FormatName(const std::string& extension) {
    std::string name = extension.substr(extension.empty() ? 0 : 1);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    return name;
}


// Runs the save job into a transaction and commits it. False leaves the
// target as it was.
bool WriteThroughTransaction(KVFile& file, const std::string& path, int channels) {
    LSaveTransaction transaction(path);
    if (!transaction.IsOpen()) {
        LAlert("Kelvane", LFormatText(kCannotCreate, path.c_str()).c_str());
        return false;
    }
    LKVSaveToSink job;
    job.cutList = file.cutList;
    job.target = path;
    job.writePath = transaction.WritePath();
    job.channels = channels;
    job.tags = &file.tags;
    LProcessDialog<LKVSaveToSink> dialog("Speichern...", job);
    if (dialog.Open() != LProcessOK) return false;
    // The written file has the target's extension, so the tags go by its format.
    if (!file.tags.SaveTags(transaction.WritePath()) || !transaction.Commit()) {
        LAlert("Kelvane", LFormatText(kCannotCreate, path.c_str()).c_str());
        return false;
    }
    return true;
}

}  // namespace

std::vector<LFileFilter> KVCoreUtils::SaveFilters() {
    std::vector<LFileFilter> filters;
    for (const LGenSinkFormat& format : LGenSinkFormats()) {
        if (format.playlist) continue;
        filters.push_back({FormatName(format.extension), {format.extension}});
    }
    return filters;
}

int KVCoreUtils::ChannelsToWrite(int channels, const std::string& extension) {
    const int maximum = LKVSaveChannelMaximum(extension);
    if (maximum <= 0 || channels <= maximum) return channels;
    const std::string key = "DontAskToDownmix" + extension.substr(1);
    if (LUserSettingGetBool("Settings", key.c_str(), false)) return maximum;
    const std::string format = FormatName(extension);
    LAlertRequest request;
    request.title = LFormatText(kDownmixTitle, format.c_str());
    request.text = LFormatText(kDownmixText, KVGetChannelString(channels).c_str(), KVGetChannelString(maximum).c_str(), format.c_str());
    request.buttons = {"Zum Speichern Downmix erstellen", "Abbrechen"};
    request.unattendedButton = 0;  // a script wants its file: the format's limit it is
    if (maximum > 1) request.checkBox = "Für dieses Format nicht mehr anzeigen";
    bool dontAskAgain = false;
    if (LAlertWithCheckBox(request, &dontAskAgain) != 0) return 0;
    if (dontAskAgain) LUserSettingSetString("Settings", key.c_str(), "1");
    return maximum;
}

bool KVCoreUtils::CmSave(KVFileViewInterface* view, bool prompt) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    const std::string path = view->GetFile()->GetPath();
    const bool saved = !HasFolder(path) ? CmSaveAs(view, nullptr) : SaveAs(view, prompt, path.c_str());
    if (saved) view->GetController().kvcAddToRecentFileList(view->GetFile()->GetPath().c_str());
    view->GetController().kvcFileApply(saved);
    return saved;
}

bool KVCoreUtils::CmSaveAs(KVFileViewInterface* view, const char* folder) {
    if (view == nullptr || view->GetFile() == nullptr) return false;
    if (!view->GetController().kvcStopPlay(true)) return false;
    KVFile& file = *view->GetFile();
    if (file.cutList.IsEmpty()) {
        LAlert(kEmptyTitle, kEmptyText);
        return false;
    }
    std::string extension = LPathExtension(file.GetPath());
    if (extension.empty()) extension = "." + LUserSettingGetString("Settings", "SaveAsFormat", "wav");
    const std::vector<LFileFilter> filters = SaveFilters();
    int filter = 0;
    for (size_t i = 0; i < filters.size(); ++i) {
        if (filters[i].extensions.front() == extension) filter = static_cast<int>(i);
    }
    std::string start = folder && *folder ? folder : LUserSettingGetString("Settings", "SaveAsDir", "");
    if (start.empty()) start = LFile::GetMusicFolder();
    std::string name = file.GetFileName();
    if (name.empty()) name = file.cutList.GetName();

    LPlatform* platform = LPlatform::Current();
    std::string path =
        platform ? platform->BrowseSaveFile("Audiodatei speichern als", start, name, filters, &filter) : "";
    if (path.empty()) return false;
    filter = std::clamp(filter, 0, static_cast<int>(filters.size()) - 1);
    const std::vector<std::string>& wanted = filters[static_cast<size_t>(filter)].extensions;
    if (std::find(wanted.begin(), wanted.end(), LPathExtension(path)) == wanted.end()) path += wanted.front();
    LUserSettingSetString("Settings", "SaveAsDir", LPathFolder(path).c_str());
    LUserSettingSetString("Settings", "SaveAsFormat", wanted.front().substr(1).c_str());
    return SaveAs(view, true, path.c_str());
}

bool KVCoreUtils::SaveAs(KVFileViewInterface* view, bool prompt, const char* pathText) {
    if (view == nullptr || view->GetFile() == nullptr || pathText == nullptr) return false;
    KVFile& file = *view->GetFile();
    const std::string path = pathText;
    if (file.cutList.IsEmpty()) {
        LAlert(kEmptyTitle, kEmptyText);
        return false;
    }
    const std::string folder = LPathFolder(path);
    while (IsDirectory(folder) && GetFreeBytes(folder) <= BytesNeeded(file)) {
        const int answer = LowDiskSpaceAnswer(path);
        if (answer == 0) return false;
        if (answer == 3) return CmSaveAs(view, nullptr);
    }
    if (Exists(path) && ::access(path.c_str(), W_OK) != 0) {
        LAlert(kReadOnlyTitle, LFormatText(kReadOnlyText, path.c_str()).c_str());
        return CmSaveAs(view, folder.c_str());
    }
    if (LFile::TestFileShareWriteBlocked(path)) {
        LAlert(kInUseTitle, LFormatText(kInUseText, path.c_str()).c_str());
        return CmSaveAs(view, folder.c_str());
    }
    const std::string extension = LPathExtension(path);
    if (extension == ".ra" || extension == ".ram" || extension == ".rm") {
        LAlertRequest request;
        request.title = "Kelvane";
        request.text = kRealAudioText;
        request.buttons = {"Format ändern", "Abbrechen"};
        request.unattendedButton = 1;
        return LAlert(request) == 0 ? CmSaveAs(view, folder.c_str()) : false;
    }
    if (extension == ".kvp") return view->GetController().kvcSaveProject(path.c_str());
    if (!LGenSinkIsAvailable(extension)) {
        LAlert("Kelvane", LFormatText(kCannotCreate, path.c_str()).c_str());
        return CmSaveAs(view, folder.c_str());
    }
    const std::string existing = Exists(path) ? path : file.GetPath();
    if (!LGenSinkCheckSettings(extension, existing, file.cutList.GetSampleRate(), file.cutList.GetChannels(),
                               prompt)) {
        return false;
    }
    const int channels = ChannelsToWrite(file.cutList.GetChannels(), extension);
    if (channels == 0) return false;
    if (!WriteThroughTransaction(file, path, channels)) return false;

    file.SetPath(path.c_str());
    file.SetFileClean();
    KVControllerInterface& controller = view->GetController();
    controller.kvcSendFileMessage(*view, kKVMessageFileClean);
    controller.kvcFileApply(false);
    return true;
}

bool KVCoreUtils::SaveChanges(KVFileViewInterface& view, bool several, int& yesToAll, int& noToAll,
                              bool& cancelled) {
    KVFile* file = view.GetFile();
    if (file == nullptr || !file->dirty) return true;
    bool save = yesToAll != 0;
    if (!save && noToAll != 0) return true;
    if (!save) {
        LAlertRequest request;
        request.title = "Kelvane";
        request.text = LFormatText(kSaveChangesText, (file->GetFileName().empty() ? file->cutList.GetName()
                                                                          : file->GetFileName()).c_str());
        request.buttons = {"Speichern", "Nicht speichern", "Abbrechen"};
        request.unattendedButton = 1;  // nobody to ask: keep the file on disk as it is
        if (several) request.checkBox = "Vorgang für alle geöffneten Dateien wiederholen";
        bool forAll = false;
        switch (LAlertWithCheckBox(request, &forAll)) {
            case 0:
                if (forAll) yesToAll = 1;
                save = true;
                break;
            case 1:
                if (forAll) noToAll = 1;
                return true;
            default:
                cancelled = true;
                return false;
        }
    }
    const bool prompt = !LUserSettingGetBool("Settings", "SuppressSaveFormatPrompt", false);
    return !HasFolder(file->GetPath()) ? CmSaveAs(&view, nullptr) : CmSave(&view, prompt);
}
