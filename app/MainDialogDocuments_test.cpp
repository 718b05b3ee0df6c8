// The document flows of the controller: loading by path and by argument,
// the limit of open documents, reuse of unchanged files, the recent list and
// closing with unsaved changes.
#include "app/LRecentFileList.h"
#include "app/MainDialog.h"
#include "base/LFile.h"
#include "base/LHeadlessPlatform.h"
#include "base/LSettings.h"
#include "edit/KVCoreUtils.h"
#include "formats/wave/LWavTagWriter.h"
#include "base/testing/TestSupport.h"
#include "edit/LSoundCache.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

// Keeps the alerts instead of showing them.
class DocumentsDialog : public MainDialog {
public:
    std::vector<std::string> alerts;
    void CmOpen() override {}

protected:
    int Alert(const char* title, const char* text, std::initializer_list<const char*>) override {
        alerts.push_back(std::string(title) + ": " + text);
        return 0;
    }
};

class DocumentsTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform_.SetQuiet(true);
        LSoundCache::Instance().ResetForTesting(cache_.Path());
        const std::string tools = dir_.File("tools");
        mkdir(tools.c_str(), 0777);
    }
    void TearDown() override { LSoundCache::Instance().ResetForTesting(cache_.Path()); }

    // A small 16-bit Wave file.
    std::string Wave(const std::string& name, int frames = 100) {
        std::vector<uint8_t> bytes = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ', 16, 0, 0, 0,
                                      1,   0,   1,   0,   0x44, 0xAC, 0, 0, 0x88, 0x58, 1, 0, 2, 0, 16, 0,
                                      'd', 'a', 't', 'a'};
        const uint32_t size = uint32_t(frames) * 2;
        for (int i = 0; i < 4; ++i) bytes.push_back(uint8_t(size >> (8 * i)));
        for (int i = 0; i < frames; ++i) {
            bytes.push_back(uint8_t(i));
            bytes.push_back(0);
        }
        const uint32_t riff = uint32_t(bytes.size()) - 8;
        for (int i = 0; i < 4; ++i) bytes[4 + i] = uint8_t(riff >> (8 * i));
        const std::string path = dir_.File(name);
        kvtest::WriteFileBytes(path, bytes);
        return path;
    }

    kvtest::IsolatedHome home_;
    kvtest::TempDir dir_;
    kvtest::TempDir cache_;
    LHeadlessPlatform platform_;
    LPlatformScope scope_{platform_};
};

TEST_F(DocumentsTest, ALoadedFileIsACleanDocumentOnItsOwnTab) {
    DocumentsDialog d;
    const std::string path = Wave("a.wav");
    ASSERT_TRUE(d.LoadFile(path.c_str(), true, false));
    ASSERT_EQ(d.GetFileCount(), 1);
    KVFile* file = d.GetCurrentFileGUI()->GetFile();
    EXPECT_EQ(file->GetPath(), path);
    EXPECT_EQ(file->cutList.GetLength(), 100);
    EXPECT_FALSE(file->dirty);
    EXPECT_FALSE(file->modified);
    EXPECT_EQ(LRecentFileList::RecentFileListLoad(), (std::vector<std::string>{path}));
    // Loading it again brings it forward.
    ASSERT_TRUE(d.LoadFile(path.c_str(), true, false));
    EXPECT_EQ(d.GetFileCount(), 1);
    EXPECT_TRUE(d.alerts.empty());
    EXPECT_EQ(d.ExitStatus(), 0);
}

TEST_F(DocumentsTest, TheSixtyFirstDocumentIsRefusedByEveryRoad) {
    DocumentsDialog d;
    std::string list;
    for (int i = 0; i < 60; ++i) ASSERT_TRUE(d.LoadFile(Wave("f" + std::to_string(i) + ".wav", 10).c_str(), false, false));
    EXPECT_EQ(d.GetFileCount(), 60);
    const std::string extra = Wave("extra.wav", 10);
    EXPECT_FALSE(d.LoadFile(extra.c_str(), true, false));
    const std::string listFile = dir_.File("list.txt");
    kvtest::WriteFileBytes(listFile, std::vector<uint8_t>(extra.begin(), extra.end()));
    const char* byArgument[] = {"kelvane", extra.c_str()};
    d.EvRunArguments(byArgument, 2);
    const char* byList[] = {"kelvane", "-list", listFile.c_str()};
    d.EvRunArguments(byList, 3);
    d.EvLoadFile(extra.c_str());
    EXPECT_EQ(d.GetFileCount(), 60);
    const std::vector<LAlertRequest> alerts = platform_.AlertsShown();
    ASSERT_EQ(alerts.size(), 4u);
    for (const LAlertRequest& alert : alerts) {
        EXPECT_EQ(alert.text,
                  "Max. Dateianzahl überschritten. Bitte schließen Sie einige Dateien, bevor Sie weitere laden.");
    }
    EXPECT_EQ(d.ExitStatus(), 1);
}

TEST_F(DocumentsTest, AnUnchangedFileReopensFromTheCacheWithoutItsDecoder) {
    KV_REQUIRE_TOOL("sox");
    const std::string tools = dir_.File("tools");
    const std::string runs = dir_.File("runs.txt");
    const std::string reference = Wave("reference.wav", 500);
    // A FLAC decoder that counts its runs and writes the reference.
    const std::string script = "#!/bin/sh\necho run >> " + runs + "\ncp " + reference + " \"$3\"\n";
    kvtest::WriteFileBytes(tools + "/flac", std::vector<uint8_t>(script.begin(), script.end()));
    chmod((tools + "/flac").c_str(), 0755);
    kvtest::ScopedEnv path("PATH", tools + ":/usr/bin:/bin");
    const std::string song = dir_.File("song.flac");
    kvtest::WriteFileBytes(song, {'f', 'L', 'a', 'C', 0, 0, 0, 0});

    DocumentsDialog d;
    ASSERT_TRUE(d.LoadFile(song.c_str(), true, false));
    EXPECT_EQ(d.GetCurrentFileGUI()->GetFile()->cutList.GetLength(), 500);
    ASSERT_TRUE(d.CmCloseAll());
    EXPECT_EQ(d.GetFileCount(), 0);
    ASSERT_TRUE(d.LoadFile(song.c_str(), true, false));
    EXPECT_EQ(d.GetCurrentFileGUI()->GetFile()->cutList.GetLength(), 500);
    std::string text;
    LFile::ReadWholeFile(runs, &text);
    EXPECT_EQ(text, "run\n");

    // The same size written again within the same second: another file.
    ASSERT_TRUE(d.CmCloseAll());
    struct stat st;
    ASSERT_EQ(stat(song.c_str(), &st), 0);
    kvtest::WriteFileBytes(song, {'f', 'L', 'a', 'C', 1, 1, 1, 1});
    timespec times[2] = {st.st_atim, st.st_mtim};
    times[1].tv_nsec = (st.st_mtim.tv_nsec + 1000) % 1000000000;
    ASSERT_EQ(utimensat(AT_FDCWD, song.c_str(), times, 0), 0);
    ASSERT_TRUE(d.LoadFile(song.c_str(), true, false));
    LFile::ReadWholeFile(runs, &text);
    EXPECT_EQ(text, "run\nrun\n");
}

TEST_F(DocumentsTest, AFailedLoadSaysWhyAndLeavesNothing) {
    DocumentsDialog d;
    const std::string bad = dir_.File("bad.wav");
    kvtest::WriteFileBytes(bad, {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    EXPECT_FALSE(d.LoadFile(bad.c_str(), true, false));
    EXPECT_EQ(d.GetFileCount(), 0);
    ASSERT_EQ(d.alerts.size(), 1u);
    EXPECT_EQ(d.alerts[0], "Fehler beim Laden der Datei: Kelvane konnte Datei \"" + bad +
                               "\" nicht zur Bearbeitung öffnen.");
    ASSERT_EQ(platform_.AlertsShown().size(), 1u);  // the opener's reason, from the job
    EXPECT_EQ(platform_.AlertsShown()[0].text,
              "Die Datei \"" + bad + "\" kann nicht geöffnet werden, da sie beschädigt ist.");
    EXPECT_TRUE(LRecentFileList::RecentFileListLoad().empty());
    EXPECT_FALSE(d.LoadFile(dir_.File("none.wav").c_str(), true, false));
    EXPECT_EQ(d.alerts.back(), "Datei nicht gefunden.: Datei nicht gefunden: \"" + dir_.File("none.wav") + "\".");
    EXPECT_EQ(d.ExitStatus(), 1);
}

TEST_F(DocumentsTest, RecentListKeepsTenMostRecentFirst) {
    for (int i = 0; i < 12; ++i) LRecentFileList::RecentFileListAdd(("/f" + std::to_string(i)).c_str());
    std::vector<std::string> list = LRecentFileList::RecentFileListLoad();
    ASSERT_EQ(list.size(), 10u);
    EXPECT_EQ(list.front(), "/f11");
    EXPECT_EQ(list.back(), "/f2");
    LRecentFileList::RecentFileListAdd("/f5");
    list = LRecentFileList::RecentFileListLoad();
    EXPECT_EQ(list[0], "/f5");
    EXPECT_EQ(list[1], "/f11");
    EXPECT_EQ(list.back(), "/f2");
    EXPECT_EQ(std::count(list.begin(), list.end(), "/f5"), 1);
}

TEST_F(DocumentsTest, ClosingAChangedDocumentAsksAndCancelKeepsEverythingOpen) {
    DocumentsDialog d;
    ASSERT_TRUE(d.LoadFile(Wave("one.wav").c_str(), true, false));
    ASSERT_TRUE(d.LoadFile(Wave("two.wav").c_str(), true, false));
    for (KVFileGUI* view : d.FileWindows()) view->GetFile()->dirty = true;
    platform_.ScriptAlertAnswer(2);  // Abbrechen
    EXPECT_FALSE(d.CmCloseAll());
    EXPECT_EQ(d.GetFileCount(), 2);
    // Unattended: not saved, closed.
    EXPECT_TRUE(d.CmCloseAll());
    EXPECT_EQ(d.GetFileCount(), 0);
}

TEST_F(DocumentsTest, OpenDialogLoadsEachChosenFileAndRemembersTheFolder) {
    DocumentsDialog d;
    EXPECT_FALSE(d.CmOpenFile(nullptr));  // cancelled
    platform_.ScriptOpenAnswer({Wave("x.wav"), Wave("y.wav")});
    ASSERT_TRUE(d.CmOpenFile(nullptr));
    EXPECT_EQ(d.GetFileCount(), 2);
    EXPECT_EQ(d.GetCurrentFileGUI()->GetFile()->GetPath(), dir_.File("y.wav"));
    EXPECT_EQ(LUserSettingGetString("Settings", "OpenFileDir"), dir_.Path());
}

TEST_F(DocumentsTest, DroppedFoldersLoadWhatIsVisibleInThem) {
    DocumentsDialog d;
    const std::string folder = dir_.File("drop");
    for (const char* sub : {"drop", "drop/inner", "drop/__MACOSX", "drop/.hidden"}) mkdir(dir_.File(sub).c_str(), 0777);
    Wave("drop/a.wav");
    Wave("drop/inner/b.wav");
    Wave("drop/__MACOSX/c.wav");
    Wave("drop/.hidden/d.wav");
    Wave("drop/.e.wav");
    d.EvDropFiles({folder, Wave("f.wav")});
    std::vector<std::string> names;
    for (KVFileGUI* view : d.FileWindows()) names.push_back(view->GetFile()->GetFileName());
    EXPECT_EQ(names, (std::vector<std::string>{"a.wav", "b.wav", "f.wav"}));
}

TEST_F(DocumentsTest, SaveAsReloadsTheDocumentFromItsNewFileWithItsTags) {
    DocumentsDialog d;
    const std::string original = Wave("tagged.wav", 300);
    LFileTagDataAudio tags;
    tags.Set(LFileTagDataAudio::kTitle, "Morgenlied");
    tags.Set(LFileTagDataAudio::kArtist, "Chor");
    ASSERT_TRUE(LWavTagWriter().Write(original, tags));
    ASSERT_TRUE(d.LoadFile(original.c_str(), true, false));
    EXPECT_EQ(d.GetCurrentFileGUI()->GetFile()->tags.Get(LFileTagDataAudio::kTitle), "Morgenlied");

    const std::vector<LFileFilter> filters = KVCoreUtils::SaveFilters();
    int wav = 0;
    while (filters[wav].extensions.front() != ".wav") ++wav;
    platform_.ScriptSaveAnswer(dir_.File("copy"), wav);
    ASSERT_TRUE(d.CmSaveAs());
    EXPECT_EQ(d.GetFileCount(), 1);
    KVFile* file = d.GetCurrentFileGUI()->GetFile();
    EXPECT_EQ(file->GetPath(), dir_.File("copy.wav"));
    EXPECT_EQ(file->cutList.GetLength(), 300);
    EXPECT_FALSE(file->dirty);
    // The tags went into the new file and came back with it.
    EXPECT_EQ(file->tags.Get(LFileTagDataAudio::kTitle), "Morgenlied");
    EXPECT_EQ(file->tags.Get(LFileTagDataAudio::kArtist), "Chor");
    EXPECT_EQ(LUserSettingGet<int>("Settings", "SaveCount", 0), 1);
}

TEST_F(DocumentsTest, CdaFilesPointToTheCdCommand) {
    DocumentsDialog d;
    const std::string track = dir_.File("Track01.cda");
    kvtest::WriteFileBytes(track, {'R', 'I', 'F', 'F'});
    EXPECT_FALSE(d.LoadFile(track.c_str(), true, false));
    ASSERT_EQ(d.alerts.size(), 1u);
    EXPECT_EQ(d.alerts[0], "Fehler beim Laden der Datei: Zum Öffnen von CDA-Dateien verwenden Sie im Dateimenü bitte "
                           "die Option \"Audio-CD-Titel laden\".");
}

// A cache file opens by its path when its companion is there.
TEST_F(DocumentsTest, CacheFilesOpenWithTheirCompanionOnly) {
    DocumentsDialog d;
    ASSERT_TRUE(d.LoadFile(Wave("a.wav", 64).c_str(), true, false));
    const uint16_t item = d.GetCurrentFileGUI()->GetFile()->cutList.Segments()[0].Item();
    const std::string aud = LSoundCache::Instance().GetFilePath(item, ".aud");
    const std::string copy = dir_.File("copy.aud");
    kvtest::WriteFileBytes(copy, kvtest::ReadFileBytes(aud));
    kvtest::WriteFileBytes(copy + "info", kvtest::ReadFileBytes(LSoundCache::Instance().GetFilePath(item, ".audinfo")));
    ASSERT_TRUE(d.LoadFile(copy.c_str(), true, false));
    EXPECT_EQ(d.GetCurrentFileGUI()->GetFile()->cutList.GetLength(), 64);
    ::unlink((copy + "info").c_str());
    const std::string lonely = dir_.File("lonely.aud");
    kvtest::WriteFileBytes(lonely, kvtest::ReadFileBytes(aud));
    EXPECT_FALSE(d.LoadFile(lonely.c_str(), true, false));
}

}  // namespace
