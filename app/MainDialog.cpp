#include "app/MainDialog.h"

#include "app/LKVSettings.h"
#include "app/LRecentFileList.h"
#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LFormatText.h"
#include "base/LPathName.h"
#include "base/LProcessDialog.h"
#include "base/LSettings.h"
#include "edit/KVCoreUtils.h"
#include "edit/LAudFileSource.h"
#include "edit/LKVLoadFile.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheCleanup.h"
#include "formats/LGenSourceOpen.h"

#include <dirent.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool Is(const char* argument, const char* option) { return strcasecmp(argument, option) == 0; }

std::string Cut(const char* text) { return std::string(text).substr(0, LFile::kMaxPath); }


// `extension` with its point, lower case.
bool HasExtension(const char* path, const char* extension) { return LPathExtension(path) == extension; }

std::string MakeAbsolute(const char* path) {
    if (path[0] == '/')
        return Cut(path);
    char folder[4096];
    if (!getcwd(folder, sizeof(folder)))
        return Cut(path);
    return Cut((std::string(folder) + "/" + path).c_str());
}

// Room a loaded document wants in the working folder beyond its own frames.
constexpr int64_t kLoadSpareBytes = 104857600;



bool FileExists(const char* path) {
    struct stat st;
    return ::stat(path, &st) == 0;
}

// Why a file couldn't be loaded, by its extension.
std::string LoadFailureText(const std::string& path) {
    const std::string extension = LPathExtension(path);
    if (extension == ".dvf" || extension == ".msv") {
        return LFormatText("Die Datei \"%s\" kann nicht geöffnet werden. Möglicherweise haben Sie das Sony Plug-in nicht "
                      "installiert oder Ihr Rekorder wird nicht unterstützt.", path.c_str());
    }
    if (extension == ".cda") {
        return LFormatText("Kelvane konnte Datei \"%s\" nicht zur Bearbeitung öffnen. Zum Öffnen von CDA-Dateien "
                      "verwenden Sie im Dateimenü bitte die Option \"Audio-CD-Titel laden\".", path.c_str());
    }
    return LFormatText("Kelvane konnte Datei \"%s\" nicht zur Bearbeitung öffnen.", path.c_str());
}

const char* kTitleNoInputFolder = "Keinen Eingabeordnernamen bereitgestellt";
const char* kTextNoInputFolder =
    "Keinen Eingabeordnernamen für Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, "
    "aber Befehl '-inpdir' wurde verwendet.";
const char* kTitleNoOutputFolder = "Keinen Ausgabeordnernamen bereitgestellt";
const char* kTextNoOutputFolder =
    "Keinen Ausgabeordnernamen für Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, "
    "aber Befehl '-destdir' wurde verwendet.";
const char* kTitleNoOutputFormat = "Keine Ausgabeformat-Art bereitgestellt";
const char* kTextNoOutputFormat =
    "Keine Ausgabeformat-Art für Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, "
    "aber Befehl '-output' wurde verwendet.";

}  // namespace

MainDialog::MainDialog() {
    char working[260] = "";
    if (LKVSettings::GetWorkingFolder(working, sizeof working)) {
        workingFolder_ = working;
        autoSaveFolder_ = workingFolder_ + "/autosave";
        // The default working folder is the user data folder, whose cache is
        // its "soundcache" subfolder; a working folder the user chose holds
        // the cache items directly.
        if (workingFolder_ != LFile::GetUserDataFolderApp()) LSoundCache::Instance().SetCacheFolder(workingFolder_);
    }
    SetSetting("Settings", "RegionsWarnUserWhenClosing", "1");
    // Cache files open by path through the opener like any sound file.
    LGenSourceRegisterReader(".aud", [](const std::string& path, LGenSourceOpenInterfaceProcess&) {
        return LAudFileSource::Open(path);
    });
}
MainDialog::~MainDialog() = default;

void MainDialog::EvRunArguments(const char* const* argv, int argc) {
    if (!argumentsSeen_) {
        argumentsSeen_ = true;
        RecoveryPrompt();
    }
    for (int i = 1; i < argc; ++i) {
        const char* argument = argv[i];
        if (Is(argument, "-block") || Is(argument, "-runedit") || Is(argument, "-minimize") ||
            Is(argument, "-maximize") || Is(argument, "-restore")) {
            continue;
        } else if (Is(argument, "-save")) {
            CmOpen();
            CmSave(SaveFormatPromptWanted());
        } else if (Is(argument, "-saveas")) {
            CmOpen();
            if (i + 1 < argc) {
                const char* target = argv[++i];
                if (HasCurrentDocument())
                    SaveAs(target);
            }
        } else if (Is(argument, "-close")) {
            ShowWindow(false);
        } else if (Is(argument, "-exit")) {
            CmExit();
        } else if (Is(argument, "-play")) {
            CmPlay(-1, false);
        } else if (Is(argument, "-record")) {
            CmRecord(kForcedRecordFromCommandLine);
        } else if (Is(argument, "-stop")) {
            Stop(false);
        } else if (Is(argument, "-restart")) {
            CmStart();
        } else if (Is(argument, "-window")) {
            CmOpen();
            const int operands = std::min(2, argc - 1 - i);
            if (operands == 2)
                SetClientSize(static_cast<int>(std::strtol(argv[i + 1], nullptr, 10)),
                              static_cast<int>(std::strtol(argv[i + 2], nullptr, 10)));
            i += operands;
        } else if (Is(argument, "-batch")) {
            RunBatchArguments(argv, i + 1, argc);
            return;
        } else if (Is(argument, "-list")) {
            CmOpen();
            if (i + 1 >= argc)
                return;
            const char* list = argv[++i];
            if (list[0] == '-')
                continue;
            if (RunListFile(list))
                continue;
            return;  // a list that was read ends the scan
        } else {
            OpenArgumentFile(argument);
        }
    }
}

bool MainDialog::RunListFile(const char* path) {
    std::string content;
    {
        LFile file;
        if (!file.OpenRead(path))
            return true;
        LFileLock lock(file.Fd(), LOCK_SH, 500);
        if (!lock.IsLocked())
            return true;
        file.ReadToEnd(&content);  // a read error keeps the names read before it
    }

    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        if (end == std::string::npos)
            end = content.size();
        std::string line = content.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();  // lists written on other systems end lines with CR LF
        if (line.empty())
            continue;
        if (!CheckMaxFiles())
            break;
        LoadFile(Cut(line.c_str()).c_str(), true, false);
    }
    return false;
}

void MainDialog::OpenArgumentFile(const char* path) {
    CmOpen();
    if (LPathExtension(path).empty())
        return;  // unknown options land here too, and are ignored
    if (HasExtension(path, ".kvp")) {
        LoadProject(path);
        return;
    }
    if (CheckMaxFiles())
        LoadFile(path, true, false);
}

bool MainDialog::TakeBatchOperand(const char* const* argv, int* index, int argc, std::string* out,
                                  const char* title, const char* text) {
    if (*index + 1 >= argc) {
        NoteFailure();
        Alert(title, text, {"OK"});
        return false;
    }
    *out = Cut(argv[++*index]);
    return true;
}

void MainDialog::RunBatchArguments(const char* const* argv, int first, int argc) {
    CmOpen();
    // Each "-batch" describes one whole batch; nothing is kept from an earlier one.
    batch_ = BatchArguments{};
    for (int i = first; i < argc; ++i) {
        const char* argument = argv[i];
        if (HasExtension(argument, ".kvb")) {
            batch_.scriptPath = MakeAbsolute(argument);
        } else if (Is(argument, "-run")) {
            batch_.run = true;
        } else if (Is(argument, "-quit")) {
            batch_.run = true;
            batch_.quitWhenDone = true;
        } else if (Is(argument, "-inpdir")) {
            if (TakeBatchOperand(argv, &i, argc, &batch_.inputFolder, kTitleNoInputFolder,
                                 kTextNoInputFolder))
                batch_.fromCommandLine = true;
        } else if (Is(argument, "-destdir")) {
            TakeBatchOperand(argv, &i, argc, &batch_.outputFolder, kTitleNoOutputFolder,
                             kTextNoOutputFolder);
        } else if (Is(argument, "-output")) {
            TakeBatchOperand(argv, &i, argc, &batch_.outputFormat, kTitleNoOutputFormat,
                             kTextNoOutputFormat);
        } else if (*argument == '\0') {
            continue;
        } else {
            batch_.inputFiles.push_back(Cut(argument));
            batch_.fromCommandLine = true;
        }
    }
    CmBatchConverter();
}

// --- Operations whose features come with later parts of the application ----

bool MainDialog::ReportUnavailable(const char* what, const char* subject) {
    NoteFailure();
    std::string text = std::string(what) + " is not available in this build";
    if (subject && *subject)
        text += ": " + std::string(subject);
    Alert("Kelvane", text.c_str(), {"OK"});
    return false;
}

void MainDialog::RecoveryPrompt() {}

bool MainDialog::SaveFormatPromptWanted() { return !LUserSettingGetBool("Settings", "SuppressSaveFormatPrompt", false); }

bool MainDialog::CmSave(bool prompt) {
    KVFileGUI* view = GetCurrentFileGUI();
    if (view == nullptr) return false;
    if (KVCoreUtils::CmSave(view, prompt)) return true;
    NoteFailure();
    return false;
}

bool MainDialog::HasCurrentDocument() { return GetCurrentFileGUI() != nullptr && GetCurrentFileGUI()->GetFile(); }

bool MainDialog::SaveAs(const char* path) {
    KVFileGUI* view = GetCurrentFileGUI();
    if (view == nullptr) return false;
    if (KVCoreUtils::SaveAs(view, SaveFormatPromptWanted(), MakeAbsolute(path).c_str())) {
        kvcAddToRecentFileList(view->GetFile()->GetPath().c_str());
        return true;
    }
    NoteFailure();
    return false;
}
bool MainDialog::CmPlay(int64_t, bool) { return ReportUnavailable("Playback"); }
bool MainDialog::CmRecord(int) { return ReportUnavailable("Recording"); }
// Nothing can play or record yet, so there is nothing to stop and nothing failed.
bool MainDialog::Stop(bool) { return true; }
bool MainDialog::CmStart() { return ReportUnavailable("Moving the play position"); }
bool MainDialog::CmBatchConverter() { return ReportUnavailable("Batch processing"); }
bool MainDialog::CheckMaxFiles() {
    if (KVWindowManager::CheckMaxFiles()) return true;
    NoteFailure();
    return false;
}

bool MainDialog::LoadFile(const char* pathText, bool addToRecent, bool quiet) {
    if (!FileExists(pathText)) {
        NoteFailure();
        Alert("Datei nicht gefunden.", LFormatText("Datei nicht gefunden: \"%s\".", pathText).c_str(), {"OK"});
        return false;
    }
    // Documents keep absolute paths: the working folder of a later hand-over
    // may be another.
    const std::string path = MakeAbsolute(pathText);
    if (HasExtension(path.c_str(), ".cda")) {
        NoteFailure();
        Alert("Fehler beim Laden der Datei",
              "Zum Öffnen von CDA-Dateien verwenden Sie im Dateimenü bitte die Option \"Audio-CD-Titel laden\".",
              {"OK"});
        return false;
    }
    if (KVFileGUI* open = FindFileWindow(path)) {
        SetCurrentFileWindow(*open);
        return true;
    }
    // Every road to a new document passes here: the limit holds for all.
    if (!CheckMaxFiles()) return false;
    if (!AddFileToList(path.c_str(), addToRecent, quiet)) return false;
    if (addToRecent) LRecentFileList::RecentFileListAdd(path.c_str());
    return true;
}

bool MainDialog::AddFileToList(const char* path, bool /*addToRecent*/, bool quiet) {
    if (HasExtension(path, ".audiocutlistlink")) {
        NoteFailure();
        Alert("Nicht kompatible Trackloom Version",
              "Es tut uns leid, aber Kelvane kann Clips von Trackloom nicht direkt bearbeiten. Um Ihren Trackloom Clip "
              "in Kelvane zu bearbeiten, speichern Sie diesen als WAV-Datei, bearbeiten und speichern ihn in Kelvane "
              "und laden den Clip dann erneut in Trackloom. Alternativ können Sie auf die neueste Version von "
              "Trackloom aktualisieren, um diesen Ablauf zu beschleunigen.",
              {"OK"});
        return false;
    }
    // The document lives on the heap: views and jobs share it by reference.
    KVFileRef file(new KVFile(path, LCutListAudio()));
    LKVLoadFile job;
    job.path = path;
    job.cutList = &file->cutList;
    job.bGuiSettingsDialog = !quiet;
    LProcessDialog<LKVLoadFile> dialog("Laden der Ursprungsaudiodatei", job);
    const LProcessResult result = dialog.Open();
    CheckWorkingFolderSpace(*file);
    if (result != LProcessOK) {
        if (result != LProcessStopped) {
            NoteFailure();
            Alert("Fehler beim Laden der Datei", LoadFailureText(path).c_str(), {"OK"});
        }
        return false;
    }
    file->tags.ReadTags(path);
    // Freshly loaded: nothing to save, nothing changed.
    file->SetFileClean();
    file->modified = false;
    ShowDocument(std::move(file));
    FileApply(false);
    if (LUserSettingGetBool("Settings", "PlayWhenOpen", false)) CmPlay(-1, false);
    return true;
}

std::vector<LFileFilter> MainDialog::OpenFilters() {
    LFileFilter all{"Alle Audiodateien", {}};
    for (const std::string& extension : LGenSourceOpenExtensions()) {
        if (std::find(all.extensions.begin(), all.extensions.end(), extension) == all.extensions.end())
            all.extensions.push_back(extension);
    }
    return {all, {"Kelvane-Projekt", {".kvp"}}};
}

bool MainDialog::CmOpenFile(const char* folder) {
    if (!Stop(true)) return false;
    std::string start = folder && *folder ? folder : LUserSettingGetString("Settings", "OpenFileDir", "");
    if (start.empty()) start = LFile::GetMusicFolder();
    LPlatform* platform = LPlatform::Current();
    const std::vector<std::string> chosen =
        platform ? platform->BrowseOpenFiles("Audiodatei öffnen", start, OpenFilters()) : std::vector<std::string>{};
    if (chosen.empty()) return false;
    bool loaded = false;
    for (const std::string& path : chosen) {
        if (HasExtension(path.c_str(), ".kvp")) {
            LUserSettingSetString("Settings", "OpenProjectDir", LPathFolder(path).c_str());
            loaded = LoadProject(path.c_str()) || loaded;
            continue;
        }
        LUserSettingSetString("Settings", "OpenFileDir", LPathFolder(path).c_str());
        if (!CheckMaxFiles()) break;
        loaded = LoadFile(path.c_str(), true, false) || loaded;
    }
    FileApply(false);
    return loaded;
}

void MainDialog::EvDropFiles(const std::vector<std::string>& paths) {
    Stop(false);
    for (const std::string& path : paths) {
        if (!CheckMaxFiles()) break;
        struct stat st;
        if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            LoadFolderRecursively(path.c_str());
        } else if (HasExtension(path.c_str(), ".kvp")) {
            LoadProject(path.c_str());
        } else {
            LoadFile(path.c_str(), true, false);
        }
    }
    FileApply(false);
}

void MainDialog::LoadFolderRecursively(const char* folder) {
    DIR* dir = ::opendir(folder);
    if (dir == nullptr) return;
    std::vector<std::string> entries;
    while (dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] == '.' || std::strcmp(entry->d_name, "__MACOSX") == 0) continue;
        entries.push_back(std::string(folder) + "/" + entry->d_name);
    }
    ::closedir(dir);
    std::sort(entries.begin(), entries.end());  // a stable order, whatever the file system's
    for (const std::string& path : entries) {
        if (!CheckMaxFiles()) return;
        struct stat st;
        if (::stat(path.c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode)) {
            LoadFolderRecursively(path.c_str());
        } else {
            LoadFile(path.c_str(), true, false);
        }
    }
}

void MainDialog::EvRecentFileOpen(const char* path) {
    if (CheckMaxFiles()) EvLoadFile(path);
}

void MainDialog::ShowDocument(KVFileRef file) {
    KVFileGUI* current = GetCurrentFileGUI();
    if (current && current->IsEmptyDocument()) {
        current->SetFile(std::move(file));
        return;
    }
    KVTabbedFileWindow* window = GetCurrentTabbedWindow();
    AddFileWindow(window ? *window : AddEmptyTabbedWindow(), std::move(file), *this);
}

void MainDialog::CheckWorkingFolderSpace(const KVFile& file) {
    std::string folder = KVCoreUtils::GetWorkingFolder();
    struct stat st;
    if (folder.empty() || ::stat(folder.c_str(), &st) != 0) folder = "/";
    int64_t needed = kLoadSpareBytes;
    for (const LCutListSegment& segment : file.cutList.Segments()) needed += segment.length * 4 * file.cutList.GetChannels();
    if (KVCoreUtils::GetFreeBytes(folder) < needed) EvLowDiskSpace();
}

bool MainDialog::CmSaveAs() {
    KVFileGUI* view = GetCurrentFileGUI();
    if (view == nullptr || !KVCoreUtils::CmSaveAs(view, nullptr)) return false;
    const std::string path = view->GetFile()->GetPath();
    LUserSettingSet<int>("Settings", "SaveCount", LUserSettingGet<int>("Settings", "SaveCount", 0) + 1);
    int yesToAll = 0, noToAll = 0;
    bool cancelled = false;
    if (!CmCloseFileWindow(*view, yesToAll, noToAll, cancelled)) return false;
    return LoadFile(path.c_str(), false, false);
}

bool MainDialog::CmCloseAll() {
    int yesToAll = 0, noToAll = 0;
    bool cancelled = false;
    for (KVFileGUI* view : FileWindows()) {
        if (!CmCloseFileWindow(*view, yesToAll, noToAll, cancelled)) return false;
    }
    return true;
}

bool MainDialog::CmCloseFileWindow(KVFileGUI& view, int& yesToAll, int& noToAll, bool& cancelled) {
    if (!KVCoreUtils::SaveChanges(view, GetFileCount() > 1, yesToAll, noToAll, cancelled)) return false;
    view.SetClosing(true);
    RemoveFileWindow(view);
    FileApply(false);
    return true;
}

// The views and controls that show documents come with the window; without
// one there is nothing to refresh.
void MainDialog::FileApply(bool /*applyToFile*/) {}

void MainDialog::kvcSendFileMessage(KVFileViewInterface& /*view*/, int /*message*/) {}

void MainDialog::kvcHintWorkingDirectoryLowDiskSpace(KVFileViewInterface& /*view*/) { EvLowDiskSpace(); }

void MainDialog::kvcAddToRecentFileList(const char* path) { LRecentFileList::RecentFileListAdd(path); }
bool MainDialog::LoadProject(const char* path) { return ReportUnavailable("Opening projects", path); }

void MainDialog::EvLoadFile(const char* path) {
    if (!Stop(true))
        return;
    if (HasExtension(path, ".kvp"))
        LoadProject(path);
    else
        LoadFile(path, true, false);
}

void MainDialog::DestroyDialog() {
    Stop(false);
    LSoundCacheCleanup(2);
    SetSetting("Settings", "PlaySpeed", "1");
}
