#include "app/MainDialog.h"

#include "app/KVArguments.h"
#include "app/LKVSettings.h"
#include "base/LFile.h"
#include "edit/LSoundCache.h"
#include "base/testing/TestSupport.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using Log = std::vector<std::string>;

// Records every operation the scan asks for instead of carrying it out.
class RecordingDialog : public MainDialog {
public:
    Log log;
    bool hasDocument = false;
    int maxFilesLeft = 1000;

    void Run(std::vector<std::string> args) {
        args.insert(args.begin(), "/usr/bin/kelvane");
        std::vector<const char*> argv;
        for (const auto& a : args) argv.push_back(a.c_str());
        EvRunArguments(argv.data(), static_cast<int>(argv.size()));
    }

    void RecoveryPrompt() override { log.push_back("RecoveryPrompt"); }
    void CmOpen() override { log.push_back("CmOpen"); }
    bool CmSave(bool prompt) override { return Note("CmSave " + std::to_string(prompt)); }
    bool HasCurrentDocument() override { return hasDocument; }
    bool SaveAs(const char* path) override { return Note(std::string("SaveAs ") + path); }
    void ShowWindow(bool show) override { log.push_back("ShowWindow " + std::to_string(show)); }
    void SetClientSize(int w, int h) override {
        log.push_back("SetClientSize " + std::to_string(w) + "x" + std::to_string(h));
    }
    bool CmExit() override { return Note("CmExit"); }
    bool CmPlay(int64_t position, bool sel) override {
        return Note("CmPlay " + std::to_string(position) + " " + std::to_string(sel));
    }
    bool CmRecord(int forced) override { return Note("CmRecord " + std::to_string(forced)); }
    bool Stop(bool ask) override { return Note("Stop " + std::to_string(ask)); }
    bool CmStart() override { return Note("CmStart"); }
    bool CmBatchConverter() override { return Note("CmBatchConverter"); }
    bool CheckMaxFiles() override { return maxFilesLeft-- > 0; }
    bool LoadFile(const char* path, bool recent, bool quiet) override {
        return Note(std::string("LoadFile ") + path + " " + std::to_string(recent) + std::to_string(quiet));
    }
    bool LoadProject(const char* path) override { return Note(std::string("LoadProject ") + path); }
    int Alert(const char* title, const char* text, std::initializer_list<const char*> buttons) override {
        std::string entry = std::string("Alert ") + title + " | " + text + " |";
        for (const char* b : buttons) entry += std::string(" ") + b;
        log.push_back(entry);
        return 0;
    }

private:
    bool Note(std::string entry) {
        log.push_back(std::move(entry));
        return true;
    }
};

TEST(MainDialogArguments, RunsEachArgumentAtOnceInOrderIgnoringCase) {
    RecordingDialog d;
    d.Run({"a.wav", "-SAVE", "-Play", "-record", "-stop", "-restart", "-Block", "-runedit",
           "-minimize", "-MAXIMIZE", "-restore", "-close", "-exit", "b.WAV"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "LoadFile a.wav 10", "CmOpen", "CmSave 1",
                                   "CmPlay -1 0", "CmRecord 3", "Stop 0", "CmStart", "ShowWindow 0",
                                   "CmExit", "CmOpen", "LoadFile b.WAV 10"));
}

TEST(MainDialogArguments, RecoveryPromptRunsOnlyOnTheFirstCall) {
    RecordingDialog d;
    d.Run({});
    d.Run({"-block"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt"));
}

TEST(MainDialogArguments, FilesWithoutExtensionAndUnknownOptionsAreIgnoredProjectsLoadAsProjects) {
    RecordingDialog d;
    d.Run({"noext", "-psn_0_12345", "-unknown", "dir.d/noext", "song.KVP", "x.mp3"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "CmOpen", "CmOpen", "CmOpen", "CmOpen",
                                   "LoadProject song.KVP", "CmOpen", "LoadFile x.mp3 10"));
}

TEST(MainDialogArguments, FileLimitStopsLoadingButNotTheScan) {
    RecordingDialog d;
    d.maxFilesLeft = 1;
    d.Run({"a.wav", "b.wav", "-exit"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "LoadFile a.wav 10", "CmOpen", "CmExit"));
}

TEST(MainDialogArguments, SaveAsConsumesItsOperandAndSavesOnlyWithADocument) {
    RecordingDialog d;
    d.Run({"-saveas", "out.wav", "-saveas"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "CmOpen"));  // no message either
    d.log.clear();
    d.hasDocument = true;
    d.Run({"-SaveAs", "out.wav"});
    EXPECT_THAT(d.log, ElementsAre("CmOpen", "SaveAs out.wav"));
}

TEST(MainDialogArguments, WindowResizesOnlyWithBothOperands) {
    RecordingDialog d;
    d.Run({"-window", "800"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen"));
    d.log.clear();
    d.Run({"-WINDOW", "800", "600", "c.wav"});
    EXPECT_THAT(d.log, ElementsAre("CmOpen", "SetClientSize 800x600", "CmOpen", "LoadFile c.wav 10"));
    d.log.clear();
    d.Run({"-window", "0x20", "12abc"});  // strtol base 10: "0x20" reads 0
    EXPECT_THAT(d.log, ElementsAre("CmOpen", "SetClientSize 0x12"));
}

TEST(MainDialogArguments, ListLoadsEachNonEmptyLineAndEndsTheScan) {
    kvtest::TempDir dir;
    const std::string list = dir.File("files.txt");
    const std::string content = "one.wav\r\n\ntwo.mp3\n" + std::string(300, 'L') + "\n";
    kvtest::WriteFileBytes(list, std::vector<uint8_t>(content.begin(), content.end()));
    RecordingDialog d;
    d.Run({"-LIST", list, "-exit"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "LoadFile one.wav 10", "LoadFile two.mp3 10",
                                   "LoadFile " + std::string(259, 'L') + " 10"));
}

TEST(MainDialogArguments, ListOperandRules) {
    RecordingDialog d;
    d.Run({"-list"});  // missing operand: the scan ends
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen"));
    d.log.clear();
    d.Run({"-list", "-x", "y.wav"});  // "-x" consumed, "y.wav" is the next argument
    EXPECT_THAT(d.log, ElementsAre("CmOpen", "CmOpen", "LoadFile y.wav 10"));
    d.log.clear();
    d.Run({"-list", "/nonexistent/list.txt", "-exit"});  // unreadable: consumed, scan goes on
    EXPECT_THAT(d.log, ElementsAre("CmOpen", "CmExit"));
}

TEST(MainDialogArguments, BatchWithoutArgumentsOpensTheConverter) {
    RecordingDialog d;
    d.Run({"-batch"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "CmBatchConverter"));
    EXPECT_FALSE(d.Batch().fromCommandLine);
}

TEST(MainDialogArguments, BatchTakesAllRemainingArguments) {
    kvtest::TempDir dir;
    const std::string cwd = std::filesystem::current_path();
    RecordingDialog d;
    d.Run({"x.wav", "-Batch", "job.KVB", "-RUN", "-inpdir", "/in", "-destdir", "/out", "-output", "mp3",
           "", "a.wav", "-exit", "-save"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", "LoadFile x.wav 10", "CmOpen", "CmBatchConverter"));
    const auto& b = d.Batch();
    EXPECT_EQ(b.scriptPath, cwd + "/job.KVB");
    EXPECT_TRUE(b.run);
    EXPECT_FALSE(b.quitWhenDone);
    EXPECT_EQ(b.inputFolder, "/in");
    EXPECT_EQ(b.outputFolder, "/out");
    EXPECT_EQ(b.outputFormat, "mp3");
    EXPECT_THAT(b.inputFiles, ElementsAre("a.wav", "-exit", "-save"));
    EXPECT_TRUE(b.fromCommandLine);
}

TEST(MainDialogArguments, BatchOutputOptionsAloneDoNotMarkACommandLineBatch) {
    RecordingDialog d;
    d.Run({"-batch", "-quit", "-destdir", "/out", "-output", "wav", "/abs/s.kvb"});
    const auto& b = d.Batch();
    EXPECT_TRUE(b.run);
    EXPECT_TRUE(b.quitWhenDone);
    EXPECT_FALSE(b.fromCommandLine);
    EXPECT_EQ(b.scriptPath, "/abs/s.kvb");
}

TEST(MainDialogArguments, BatchMissingOperandsAlertEachAndStillRunTheConverter) {
    const std::string inpdir = "Alert Keinen Eingabeordnernamen bereitgestellt | Keinen Eingabeordnernamen für "
                               "Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, aber Befehl "
                               "'-inpdir' wurde verwendet. | OK";
    const std::string destdir = "Alert Keinen Ausgabeordnernamen bereitgestellt | Keinen Ausgabeordnernamen für "
                                "Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, aber Befehl "
                                "'-destdir' wurde verwendet. | OK";
    const std::string output = "Alert Keine Ausgabeformat-Art bereitgestellt | Keine Ausgabeformat-Art für "
                               "Stapelkonvertierung in Befehlszeilenargumenten bereitgestellt, aber Befehl "
                               "'-output' wurde verwendet. | OK";
    RecordingDialog d;
    d.Run({"-batch", "-inpdir"});
    d.Run({"-batch", "-DESTDIR"});
    d.Run({"-batch", "-output"});
    EXPECT_THAT(d.log, ElementsAre("RecoveryPrompt", "CmOpen", inpdir, "CmBatchConverter", "CmOpen", destdir,
                                   "CmBatchConverter", "CmOpen", output, "CmBatchConverter"));
    EXPECT_FALSE(d.Batch().fromCommandLine);
    EXPECT_EQ(d.FailedOperations(), 3);
    EXPECT_EQ(d.ExitStatus(), 1);
}

// The operations that this build lacks say so and make the run fail.
class UnavailableDialog : public MainDialog {
public:
    Log alerts;
    void CmOpen() override {}
    bool CmExit() override { return true; }
    int Alert(const char* title, const char* text, std::initializer_list<const char*>) override {
        alerts.push_back(std::string(title) + ": " + text);
        return 0;
    }
};

TEST(MainDialogArguments, MissingFeaturesAreReportedAndFailTheRun) {
    UnavailableDialog d;
    const char* argv[] = {"k", "-stop", "-saveas", "x.wav", "-exit"};
    d.EvRunArguments(argv, 5);
    EXPECT_TRUE(d.alerts.empty());
    EXPECT_EQ(d.ExitStatus(), 0);
    const char* failing[] = {"k", "a.kvp", "-play"};
    d.EvRunArguments(failing, 3);
    EXPECT_THAT(d.alerts, ElementsAre("Kelvane: Opening projects is not available in this build: a.kvp",
                                      "Kelvane: Playback is not available in this build"));
    EXPECT_EQ(d.ExitStatus(), 1);
}

TEST(KVSetArguments, DropsAProcessNumberInFirstPositionOnly) {
    char a0[] = "kelvane", a1[] = "-psn_0_12345", a2[] = "-psn_1", a3[] = "x.wav";
    char* argv[] = {a0, a1, a2, a3, nullptr};
    KVSetArguments(4, argv);
    ASSERT_EQ(gargc, 3);
    EXPECT_STREQ(gargv[1], "-psn_1");
    EXPECT_STREQ(gargv[2], "x.wav");
    EXPECT_EQ(gargv[3], nullptr);
    char* plain[] = {a0, a3, nullptr};
    KVSetArguments(2, plain);
    ASSERT_EQ(gargc, 2);
    EXPECT_STREQ(gargv[1], "x.wav");
}

}  // namespace

namespace {

TEST(MainDialogStartup, ChosenWorkingFolderHoldsTheCacheAndTheAutoSaveFolder) {
    kvtest::TempDir working;
    LKVSettings::SetWorkingFolder(working.Path().c_str());
    LKVSettings::SetUseDefaultWorkingDir(false);
    {
        RecordingDialog d;
        EXPECT_EQ(d.WorkingFolder(), working.Path());
        EXPECT_EQ(d.AutoSaveFolder(), working.Path() + "/autosave");
        EXPECT_EQ(LSoundCache::Instance().GetCacheFolder(), working.Path());
    }
    LKVSettings::SetUseDefaultWorkingDir(true);
    RecordingDialog d;
    EXPECT_EQ(d.WorkingFolder(), LFile::GetUserDataFolderApp());
    // The default keeps the cache in its own subfolder of the user data folder.
    LSoundCache::Instance().SetCacheFolder(LFile::GetUserDataFolderAppSubFolder("soundcache"));
    RecordingDialog again;
    EXPECT_EQ(LSoundCache::Instance().GetCacheFolder(), LFile::GetUserDataFolderAppSubFolder("soundcache"));
}

}  // namespace
