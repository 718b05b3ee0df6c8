#include "edit/KVCoreUtils.h"

#include "base/LHeadlessPlatform.h"
#include "base/LProcessInterface.h"
#include "base/LSettings.h"
#include "edit/LFileModifier.h"
#include "edit/testing/CutListFixture.h"
#include "edit/testing/FakeFileView.h"

#include <gtest/gtest.h>

namespace {

using Calls = std::vector<std::string>;

class KVCoreUtilsTest : public CutListTest {
protected:
    void SetUp() override {
        CutListTest::SetUp();
        platform_.SetQuiet(true);
    }
    void TearDown() override {
        KVCoreUtils::SetFreeSpaceFunctionForTesting(nullptr);
        CutListTest::TearDown();
    }

    // Everything the ring holds, for comparing before and after.
    struct RingState {
        int index;
        std::vector<std::string> names;
        std::vector<std::vector<float>> audio;
        bool operator==(const RingState&) const = default;
    };
    static RingState Ring(const KVFile& file) {
        RingState state{file.GetUndoIndex(), {}, {}};
        for (int i = 0; i < KVFile::kUndoRecords; ++i) {
            const KVFileUndo& record = file.GetUndoRecord(i);
            state.names.push_back(record.GetName());
            state.audio.push_back(record.IsUsed() ? ReadAll(record.cutList) : std::vector<float>());
        }
        return state;
    }

    // A document with history: two edits, one of them undone (so there is a
    // redo chain for a failed edit to keep), saved in between.
    void MakeHistory() {
        file_ = std::make_unique<KVFile>("/music/take.wav", MakeList(Numbered(100, 0)));
        view_ = std::make_unique<FakeFileView>(file_.get());
        ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "A"));
        file_->cutList.EfDelete(0, 10);
        ASSERT_TRUE(KVCoreUtils::EndModifyFile(view_.get()));
        file_->SetFileClean();
        ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "B"));
        file_->cutList.EfDelete(0, 10);
        ASSERT_TRUE(KVCoreUtils::EndModifyFile(view_.get()));
        ASSERT_TRUE(KVCoreUtils::CmUndo(view_.get()));
        file_->selection = {5, 25, 0, 0, false};
        file_->bookmarks = {{"Mitte", 40}};
        view_->Controller().Take();
    }

    LHeadlessPlatform platform_;
    LPlatformScope platformScope_{platform_};
    std::unique_ptr<KVFile> file_;
    std::unique_ptr<FakeFileView> view_;
};

TEST_F(KVCoreUtilsTest, StartAndEndTellTheController) {
    file_ = std::make_unique<KVFile>("/music/take.wav", MakeList(Numbered(100, 0)));
    FakeFileView view(file_.get());
    file_->SetFileClean();
    ASSERT_TRUE(KVCoreUtils::StartModifyFile(&view, "Verstärken", true));
    EXPECT_TRUE(file_->dirty);
    EXPECT_TRUE(file_->modified);
    EXPECT_EQ(view.Controller().Take(), (Calls{"message 132", "undo menu", "enable"}));
    ASSERT_TRUE(KVCoreUtils::EndModifyFile(&view));
    EXPECT_EQ(view.Controller().Take(), (Calls{"apply changed", "undo menu", "enable"}));

    LUserSettingSetString("Settings", "AutoPlaybackAfterEffects", "1");
    KVCoreUtils::StartModifyFile(&view, "Verstärken");
    KVCoreUtils::EndModifyFile(&view);
    EXPECT_EQ(view.Controller().Take().back(), "play");
    LUserSettingSetString("Settings", "AutoPlaybackAfterEffects", "0");
    KVCoreUtils::StartModifyFile(&view, "Verstärken");
    KVCoreUtils::EndModifyFile(&view);
    EXPECT_EQ(view.Controller().Take().back(), "enable");

    // Undo back to the saved state says "clean", redo says "dirty".
    ASSERT_TRUE(KVCoreUtils::CmUndo(&view));
    ASSERT_TRUE(KVCoreUtils::CmUndo(&view));
    ASSERT_TRUE(KVCoreUtils::CmUndo(&view));
    EXPECT_FALSE(file_->dirty);
    EXPECT_EQ(view.Controller().Take(), (Calls{"message 132", "apply changed", "undo menu", "enable",
                                               "message 132", "apply changed", "undo menu", "enable",
                                               "message 133", "apply changed", "undo menu", "enable"}));
    EXPECT_FALSE(KVCoreUtils::CmUndo(&view));
    EXPECT_TRUE(view.Controller().Take().empty());
    ASSERT_TRUE(KVCoreUtils::CmRedo(&view));
    EXPECT_EQ(view.Controller().Take().front(), "message 132");

    FakeFileView empty(nullptr);
    EXPECT_FALSE(KVCoreUtils::StartModifyFile(&empty, "x"));
    EXPECT_FALSE(KVCoreUtils::StartModifyFile(nullptr, "x"));
    EXPECT_FALSE(KVCoreUtils::CmUndo(&empty));
}

TEST_F(KVCoreUtilsTest, FailedEditLeavesNoTrace) {
    MakeHistory();
    const RingState ring = Ring(*file_);
    const std::vector<float> audio = ReadAll(file_->cutList);
    const KVSelection selection = file_->selection;
    uint16_t newItem = kSoundCacheItemNone;
    {
        ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "Hall"));
        LFileModifier modifier(view_.get());
        // Half an effect: new audio spliced in, then the job fails.
        LCutListAudio rendered = MakeList(Numbered(30, 500));
        newItem = rendered.Segments()[0].Item();
        file_->cutList.EfDelete(20, 50);
        file_->cutList.EfInsert(20, rendered);
        file_->selection = {0, 1, 0, 0, false};
        file_->bookmarks.clear();
    }
    EXPECT_EQ(ReadAll(file_->cutList), audio);
    EXPECT_EQ(file_->selection, selection);
    EXPECT_EQ(file_->bookmarks, (std::vector<LKVBookmark>{{"Mitte", 40}}));
    EXPECT_FALSE(file_->dirty) << "the state before the edit was the saved one";
    EXPECT_TRUE(Ring(*file_) == ring) << "the ring, its redo chain included, is as before";
    EXPECT_EQ(Cache().GetRefCount(newItem), 0);
    EXPECT_FALSE(Exists(ItemFile(newItem, ".aud")));
    EXPECT_EQ(view_->Controller().Take(), (Calls{"message 132", "undo menu", "enable", "message 133",
                                                 "apply changed", "undo menu", "enable"}));
    // The history still works: redo B, undo B, undo A.
    ASSERT_TRUE(KVCoreUtils::CmRedo(view_.get()));
    EXPECT_EQ(file_->cutList.GetLength(), 80);
    ASSERT_TRUE(KVCoreUtils::CmUndo(view_.get()));
    ASSERT_TRUE(KVCoreUtils::CmUndo(view_.get()));
    EXPECT_EQ(file_->cutList.GetLength(), 100);
}

// A job that is told to stop at once.
class StoppingProcess : public LProcessInterfaceVoid {
public:
    bool IsToStop() override { return true; }
};

TEST_F(KVCoreUtilsTest, StoppedEditLeavesNoTrace) {
    MakeHistory();
    const RingState ring = Ring(*file_);
    const std::vector<float> audio = ReadAll(file_->cutList);
    {
        ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "Auswahl zum Audio"));
        LFileModifier modifier(view_.get());
        StoppingProcess process;
        KVSelection band{0, 50, 1000, 2000, true};
        LCutListAudio result = band.Trim(process, file_->cutList);
        EXPECT_TRUE(result.IsEmpty()) << "a stopped render gives an empty list";
        file_->cutList = result;
    }
    EXPECT_EQ(ReadAll(file_->cutList), audio);
    EXPECT_TRUE(Ring(*file_) == ring);
}

TEST_F(KVCoreUtilsTest, CommittedEditStaysAndCancelledEditLeavesRingAsBefore) {
    MakeHistory();
    const RingState ring = Ring(*file_);
    ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "Nichts"));
    KVCoreUtils::CancelModifyFile(view_.get());
    EXPECT_TRUE(Ring(*file_) == ring);
    EXPECT_TRUE(file_->CanRedo());

    {
        ASSERT_TRUE(KVCoreUtils::StartModifyFile(view_.get(), "Löschen"));
        LFileModifier modifier(view_.get());
        file_->cutList.EfDelete(0, 50);
        KVCoreUtils::EndModifyFile(view_.get());
        modifier.Commit();
    }
    EXPECT_EQ(file_->cutList.GetLength(), 40);
    EXPECT_FALSE(file_->CanRedo()) << "a new edit drops the redo chain";
    EXPECT_EQ(file_->GetUndoMenuText(), "Rückgängig Löschen");
}

TEST_F(KVCoreUtilsTest, CheckFreeSpace) {
    file_ = std::make_unique<KVFile>("/music/take.wav", MakeList(Numbered(1000, 0)));
    FakeFileView view(file_.get());
    const std::string folder = dir_.Path();
    int64_t free = 0;
    KVCoreUtils::SetFreeSpaceFunctionForTesting([&](const std::string&) { return free; });

    EXPECT_TRUE(KVCoreUtils::CheckFreeSpace(&view, (folder + "/missing").c_str(), "%s", "x"));
    EXPECT_TRUE(KVCoreUtils::CheckFreeSpace(nullptr, folder.c_str(), "%s", "x"));
    EXPECT_TRUE(platform_.AlertsShown().empty());

    free = 4000;  // exactly one copy is not enough: it must exceed
    EXPECT_FALSE(KVCoreUtils::CheckFreeSpace(&view, folder.c_str(), "Datei \"%s\"", "take.wav"));
    ASSERT_EQ(platform_.AlertsShown().size(), 1u);
    EXPECT_EQ(platform_.AlertsShown()[0].title, "Geringer Speicherplatz");
    EXPECT_EQ(platform_.AlertsShown()[0].text, "Datei \"take.wav\"");
    EXPECT_EQ(platform_.AlertsShown()[0].buttons, (std::vector<std::string>{"OK"}));
    free = 4001;
    EXPECT_TRUE(KVCoreUtils::CheckFreeSpace(&view, folder.c_str(), "%s", "x"));

    // Before an edit.
    free = 10;
    EXPECT_FALSE(KVCoreUtils::IsValidWindowToModify(&view));
    EXPECT_EQ(platform_.AlertsShown().back().text,
              "Der aktuelle Vorgang kann nicht durchgeführt werden, da Sie sehr wenig freien Speicherplatz haben. "
              "Bitte versuchen Sie, durch das Entfernen unerwünschter Dateien Platz freizugeben und versuchen Sie "
              "es erneut.");
    free = 1 << 20;
    EXPECT_TRUE(KVCoreUtils::IsValidWindowToModify(&view));
    view.SetClosing(true);
    EXPECT_FALSE(KVCoreUtils::IsValidWindowToModify(&view));
    FakeFileView empty(nullptr);
    EXPECT_FALSE(KVCoreUtils::IsValidWindowToModify(&empty));
    EXPECT_FALSE(KVCoreUtils::IsValidWindowToModify(nullptr));

    // After an edit: the low-space handling runs, the edit stays.
    view.SetClosing(false);
    view.Controller().Take();
    free = 10;
    KVCoreUtils::StartModifyFile(&view, "Löschen");
    file_->cutList.EfDelete(0, 10);
    EXPECT_TRUE(KVCoreUtils::EndModifyFile(&view));
    EXPECT_EQ(file_->cutList.GetLength(), 990);
    EXPECT_EQ(view.Controller().Take(),
              (Calls{"message 132", "undo menu", "enable", "low space", "apply changed", "undo menu", "enable"}));
    EXPECT_EQ(platform_.AlertsShown().back().text,
              "Die letzte von Ihnen durchgeführte Aktion der Datei \"take.wav\" kann aufgrund geringem "
              "Speicherplatz nicht gesichert werden. Bitte versuchen Sie die Datei an anderer Stelle zu speichern "
              "oder durch Entfernen unerwünschter Dateien Platz freizugeben und versuchen Sie es erneut.");
}

}  // namespace
