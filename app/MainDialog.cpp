#include "app/MainDialog.h"

#include "app/LKVSettings.h"
#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LSettings.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheCleanup.h"

#include <strings.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool Is(const char* argument, const char* option) { return strcasecmp(argument, option) == 0; }

std::string Cut(const char* text) { return std::string(text).substr(0, LFile::kMaxPath); }

// The extension of the last path component, with its dot; empty when none.
const char* ExtensionOf(const char* path) {
    const char* name = std::strrchr(path, '/');
    name = name ? name + 1 : path;
    const char* dot = std::strrchr(name, '.');
    return dot ? dot : "";
}

bool HasExtension(const char* path, const char* extension) {
    return strcasecmp(ExtensionOf(path), extension) == 0;
}

std::string MakeAbsolute(const char* path) {
    if (path[0] == '/')
        return Cut(path);
    char folder[4096];
    if (!getcwd(folder, sizeof(folder)))
        return Cut(path);
    return Cut((std::string(folder) + "/" + path).c_str());
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
    if (*ExtensionOf(path) == '\0')
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

bool MainDialog::CmSave(bool /*prompt*/) { return ReportUnavailable("Saving"); }
bool MainDialog::HasCurrentDocument() { return false; }
bool MainDialog::SaveAs(const char* path) { return ReportUnavailable("Saving", path); }
bool MainDialog::CmPlay(int64_t, bool) { return ReportUnavailable("Playback"); }
bool MainDialog::CmRecord(int) { return ReportUnavailable("Recording"); }
// Nothing can play or record yet, so there is nothing to stop and nothing failed.
bool MainDialog::Stop(bool) { return true; }
bool MainDialog::CmStart() { return ReportUnavailable("Moving the play position"); }
bool MainDialog::CmBatchConverter() { return ReportUnavailable("Batch processing"); }
bool MainDialog::CheckMaxFiles() { return true; }
bool MainDialog::LoadFile(const char* path, bool, bool) { return ReportUnavailable("Opening audio files", path); }
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
