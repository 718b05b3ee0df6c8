#include "edit/KVCoreUtils.h"

#include "base/LFile.h"
#include "base/LHeadlessPlatform.h"
#include "base/LSettings.h"
#include "edit/testing/CutListFixture.h"
#include "edit/testing/FakeFileView.h"
#include "formats/wave/LWaveFileFormat.h"

#include <gtest/gtest.h>

#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

namespace {

class SaveTest : public CutListTest {
protected:
    void SetUp() override {
        CutListTest::SetUp();
        platform_.SetQuiet(true);
        // A chosen Wave format, so the options window stays shut unless forced.
        LWaveFileFormat::PCM(44100, 2, 16).SaveToWavCodecFile(LWaveFileFormat::WavCodecFilePath());
        LUserSettingSetString("WavSettings", "SampleRateAuto", "1");
        LUserSettingSetString("WavSettings", "ChansAuto", "1");
    }
    void TearDown() override {
        KVCoreUtils::SetFreeSpaceFunctionForTesting(nullptr);
        CutListTest::TearDown();
    }

    // 16-bit values as our reader sees them: v / 32767.
    static std::vector<float> Pcm16(const std::vector<int>& values) {
        std::vector<float> out;
        for (int v : values) out.push_back(static_cast<float>(v) / 32767.0f);
        return out;
    }

    // sox's 16-bit view of a file.
    static std::vector<int16_t> Sox16(const std::string& path) {
        std::vector<uint8_t> bytes;
        EXPECT_EQ(kvtest::RunCommandBytes("sox " + kvtest::ShellQuote(path) + " -t s16 -", &bytes), 0);
        std::vector<int16_t> values(bytes.size() / 2);
        std::memcpy(values.data(), bytes.data(), values.size() * 2);
        return values;
    }

    std::vector<std::string> AlertTitles() {
        std::vector<std::string> titles;
        for (const LAlertRequest& alert : platform_.AlertsShown()) titles.push_back(alert.title);
        return titles;
    }

    LHeadlessPlatform platform_;
    LPlatformScope scope_{platform_};
};

// Below full scale: a sample at 1.0 passes the copy job's limiter, whose
// ceiling is 32767/32768, and comes out one step lower.
const std::vector<int> kValues = {0, 1, -1, 32000, -32000, 1234, -4321, 20000, -20000, 7};

TEST_F(SaveTest, SaveAsWaveGivesTheSamplesSoxReadsAndMarksTheDocumentSaved) {
    KV_REQUIRE_TOOL("sox");
    KVFile file(MakeList(Pcm16(kValues), 2));
    FakeFileView view(&file);
    const std::string path = dir_.File("out.wav");
    ASSERT_TRUE(KVCoreUtils::SaveAs(&view, false, path.c_str()));
    const std::vector<int16_t> sox = Sox16(path);
    ASSERT_EQ(sox.size(), kValues.size());
    for (size_t i = 0; i < sox.size(); ++i) EXPECT_EQ(sox[i], kValues[i]) << i;
    EXPECT_EQ(file.GetPath(), path);
    EXPECT_FALSE(file.dirty);
    const std::vector<std::string> calls = view.Controller().Take();
    EXPECT_NE(std::find(calls.begin(), calls.end(), "message 133"), calls.end());
    EXPECT_TRUE(platform_.AlertsShown().empty());
}

TEST_F(SaveTest, SavingOverItsOwnFileReplacesItWhole) {
    KV_REQUIRE_TOOL("sox");
    const std::string path = dir_.File("take.wav");
    KVFile file(MakeList(Pcm16(kValues), 1));
    FakeFileView view(&file);
    ASSERT_TRUE(KVCoreUtils::SaveAs(&view, false, path.c_str()));
    file.cutList.EfDelete(0, 4);
    file.dirty = true;
    ASSERT_TRUE(KVCoreUtils::CmSave(&view, false));
    const std::vector<int16_t> sox = Sox16(path);
    ASSERT_EQ(sox.size(), kValues.size() - 4);
    EXPECT_EQ(sox[0], kValues[4]);
    std::string listing;
    kvtest::RunCommand("ls -A " + kvtest::ShellQuote(dir_.Path()) + " | grep -c take", &listing);
    EXPECT_EQ(listing, "1\n");  // no hidden leftovers beside it
}

TEST_F(SaveTest, AFailedWriteLeavesTheOldFileAndTheDocumentChanged) {
    const std::string path = dir_.File("old.wav");
    kvtest::WriteFileBytes(path, std::vector<uint8_t>(5000, 0x5A));
    KVFile file(MakeList(std::vector<float>(200000, 0.25f), 1));
    file.dirty = true;
    const std::string before = file.GetPath();
    FakeFileView view(&file);
    // Files may grow to 4096 bytes only: the sink's writes fail half-way.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool saved = KVCoreUtils::SaveAs(&view, false, path.c_str());
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(saved);
    EXPECT_EQ(kvtest::ReadFileBytes(path), std::vector<uint8_t>(5000, 0x5A));
    EXPECT_TRUE(file.dirty);
    EXPECT_EQ(file.GetPath(), before);
    std::string listing;
    kvtest::RunCommand("ls -A " + kvtest::ShellQuote(dir_.Path()) + " | grep -c old", &listing);
    EXPECT_EQ(listing, "1\n");
}

TEST_F(SaveTest, AFullDiskAsksAndUnattendedGivesUp) {
    const std::string path = dir_.File("full.wav");
    kvtest::WriteFileBytes(path, {1, 2, 3});
    KVFile file(MakeList(std::vector<float>(1000, 0.5f), 1));
    FakeFileView view(&file);
    KVCoreUtils::SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{10}; });
    EXPECT_FALSE(KVCoreUtils::SaveAs(&view, false, path.c_str()));
    ASSERT_EQ(platform_.AlertsShown().size(), 1u);
    EXPECT_EQ(platform_.AlertsShown()[0].title, "Geringer Festplattenspeicher");
    EXPECT_NE(platform_.AlertsShown()[0].text.find("nicht genug Speicherplatz"), std::string::npos);
    EXPECT_EQ(kvtest::ReadFileBytes(path), (std::vector<uint8_t>{1, 2, 3}));
}

TEST_F(SaveTest, RefusalsSayWhy) {
    KVFile empty{LCutListAudio()};
    FakeFileView emptyView(&empty);
    EXPECT_FALSE(KVCoreUtils::SaveAs(&emptyView, false, dir_.File("e.wav").c_str()));

    KVFile file(MakeList(std::vector<float>(100, 0.5f), 1));
    FakeFileView view(&file);
    EXPECT_FALSE(KVCoreUtils::SaveAs(&view, false, dir_.File("x.xyz").c_str()));
    EXPECT_FALSE(KVCoreUtils::SaveAs(&view, false, dir_.File("x.rm").c_str()));

    // Another program writing the file holds its lock.
    const std::string busy = dir_.File("busy.wav");
    kvtest::WriteFileBytes(busy, {9});
    LFile holder;
    ASSERT_TRUE(holder.OpenRead(busy.c_str()));
    ASSERT_EQ(flock(holder.Fd(), LOCK_EX), 0);
    EXPECT_FALSE(KVCoreUtils::SaveAs(&view, false, busy.c_str()));
    EXPECT_EQ(kvtest::ReadFileBytes(busy), (std::vector<uint8_t>{9}));

    const std::vector<LAlertRequest> alerts = platform_.AlertsShown();
    ASSERT_EQ(alerts.size(), 4u);
    EXPECT_EQ(alerts[0].title, "Kann keine leeren Dateien speichern");
    EXPECT_EQ(alerts[1].text, "Kann Datei \"" + dir_.File("x.xyz") + "\" nicht zum Speichern erstellen.");
    EXPECT_EQ(alerts[2].buttons, (std::vector<std::string>{"Format ändern", "Abbrechen"}));
    EXPECT_EQ(alerts[3].title, "Datei in Benutzung");
}

TEST_F(SaveTest, SaveAsDialogAppendsTheFilterExtensionAndRemembersTheChoice) {
    KVFile file(MakeList(std::vector<float>(100, 0.5f), 1));
    FakeFileView view(&file);
    const std::vector<LFileFilter> filters = KVCoreUtils::SaveFilters();
    int wav = 0;
    while (filters[wav].extensions.front() != ".wav") ++wav;
    platform_.ScriptSaveAnswer(dir_.File("chosen"), wav);
    ASSERT_TRUE(KVCoreUtils::CmSaveAs(&view, nullptr));
    EXPECT_EQ(file.GetPath(), dir_.File("chosen.wav"));
    EXPECT_EQ(LUserSettingGetString("Settings", "SaveAsDir"), dir_.Path());
    EXPECT_EQ(LUserSettingGetString("Settings", "SaveAsFormat"), "wav");
    // Cancelled: nothing happens.
    EXPECT_FALSE(KVCoreUtils::CmSaveAs(&view, nullptr));
}

TEST_F(SaveTest, SaveChangesAsksOnceForAllWhenTold) {
    KVFile a(MakeList(std::vector<float>(100, 0.5f), 1));
    a.dirty = true;
    FakeFileView view(&a);
    int yesToAll = 0, noToAll = 0;
    bool cancelled = false;
    // Nobody to ask: the file on disk stays as it is and the document may close.
    EXPECT_TRUE(KVCoreUtils::SaveChanges(view, true, yesToAll, noToAll, cancelled));
    ASSERT_EQ(platform_.AlertsShown().size(), 1u);
    EXPECT_EQ(platform_.AlertsShown()[0].checkBox, "Vorgang für alle geöffneten Dateien wiederholen");
    EXPECT_FALSE(cancelled);

    platform_.ScriptAlertAnswer(1, true);
    EXPECT_TRUE(KVCoreUtils::SaveChanges(view, true, yesToAll, noToAll, cancelled));
    EXPECT_EQ(noToAll, 1);
    EXPECT_TRUE(KVCoreUtils::SaveChanges(view, true, yesToAll, noToAll, cancelled));
    EXPECT_EQ(platform_.AlertsShown().size(), 2u);  // the answer for all asked nothing more

    noToAll = 0;
    platform_.ScriptAlertAnswer(2);
    EXPECT_FALSE(KVCoreUtils::SaveChanges(view, false, yesToAll, noToAll, cancelled));
    EXPECT_TRUE(cancelled);
    EXPECT_TRUE(platform_.AlertsShown().back().checkBox.empty());
}

TEST_F(SaveTest, DownmixQuestionNamesChannelsAndFormatAndRemembersItsBox) {
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(2, ".wav"), 2);  // no limit
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(2, ".mp3"), 2);
    EXPECT_TRUE(platform_.AlertsShown().empty());

    // Unattended: the down-mix it is.
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(6, ".mp3"), 2);
    ASSERT_EQ(platform_.AlertsShown().size(), 1u);
    const LAlertRequest first = platform_.AlertsShown()[0];
    EXPECT_EQ(first.title, "Downmix in MP3 erstellen?");
    EXPECT_EQ(first.text, "Ihr Audio hat 5.1, aber Kelvane kann nur bis zu Stereo im Format MP3 speichern. Um in diesem "
                          "Format zu speichern, muss das Audio ein Downmix sein.");
    EXPECT_EQ(first.buttons, (std::vector<std::string>{"Zum Speichern Downmix erstellen", "Abbrechen"}));
    EXPECT_EQ(first.checkBox, "Für dieses Format nicht mehr anzeigen");

    platform_.ScriptAlertAnswer(1);  // Abbrechen
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(8, ".flac"), 0);

    // A format of one channel offers no box; a ticked box is kept by the
    // extension without its point.
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(3, ".gsm"), 1);
    EXPECT_TRUE(platform_.AlertsShown().back().checkBox.empty());
    EXPECT_NE(platform_.AlertsShown().back().text.find("3 Kanäle"), std::string::npos);
    platform_.ScriptAlertAnswer(0, true);
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(4, ".mp3"), 2);
    EXPECT_EQ(LUserSettingGetString("Settings", "DontAskToDownmixmp3"), "1");
    const size_t asked = platform_.AlertsShown().size();
    EXPECT_EQ(KVCoreUtils::ChannelsToWrite(8, ".mp3"), 2);
    EXPECT_EQ(platform_.AlertsShown().size(), asked);
}

}  // namespace
