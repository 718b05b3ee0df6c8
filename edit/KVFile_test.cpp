#include "edit/KVFile.h"

#include "base/LSettings.h"
#include "edit/LFileModifier.h"
#include "edit/testing/CutListFixture.h"
#include "edit/testing/FakeFileView.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <cstring>
#include <ctime>
#include <map>
#include <random>

namespace {

class KVFileTest : public CutListTest {
protected:
    // A document over `frames` numbered frames of a new item.
    static std::unique_ptr<KVFile> MakeFile(long long frames) {
        return std::make_unique<KVFile>("/music/take.wav", MakeList(Numbered(frames, 0)));
    }
    // One edit the way the controller makes it: snapshot, then change.
    static void DeleteEdit(KVFile& file, const char* name, long long start, long long end) {
        file.SaveForUndo(name);
        file.dirty = file.modified = true;
        file.cutList.EfDelete(start, end);
    }
    static int UsedRecords(const KVFile& file) {
        int used = 0;
        for (int i = 0; i < KVFile::kUndoRecords; ++i) used += file.GetUndoRecord(i).IsUsed();
        return used;
    }
};

TEST_F(KVFileTest, UndoRedoAndUndoAgainWithoutNewSnapshot) {
    auto file = MakeFile(100);
    const std::vector<float> before = ReadAll(file->cutList);
    DeleteEdit(*file, "Löschen", 10, 20);
    const std::vector<float> after = ReadAll(file->cutList);

    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(ReadAll(file->cutList), before);
    const int used = UsedRecords(*file);
    ASSERT_TRUE(file->Redo());
    EXPECT_EQ(ReadAll(file->cutList), after);
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(ReadAll(file->cutList), before);
    EXPECT_EQ(UsedRecords(*file), used) << "the second undo must not take another snapshot";
    EXPECT_FALSE(file->Undo());
    EXPECT_TRUE(file->Redo());
    EXPECT_EQ(ReadAll(file->cutList), after);
    EXPECT_FALSE(file->Redo());
}

TEST_F(KVFileTest, ThirtyOneEditsDropTheOldestStates) {
    auto file = MakeFile(200);
    for (int i = 0; i < 31; ++i) DeleteEdit(*file, "Löschen", 0, 1);
    ASSERT_EQ(file->cutList.GetLength(), 169);
    int undone = 0;
    while (file->Undo()) ++undone;
    // 30 records stand behind the index; the first undo keeps the present
    // state for redo, which clears one more of the oldest.
    EXPECT_EQ(undone, 29);
    EXPECT_EQ(file->cutList.GetLength(), 198);
    int redone = 0;
    while (file->Redo()) ++redone;
    EXPECT_EQ(redone, 29);
    EXPECT_EQ(file->cutList.GetLength(), 169);
}

TEST_F(KVFileTest, ANewEditAfterUndoClearsTheRedo) {
    auto file = MakeFile(100);
    DeleteEdit(*file, "A", 0, 10);
    DeleteEdit(*file, "B", 0, 10);
    ASSERT_TRUE(file->Undo());
    ASSERT_TRUE(file->Undo());
    EXPECT_TRUE(file->CanRedo());
    DeleteEdit(*file, "C", 0, 50);
    EXPECT_FALSE(file->CanRedo());
    EXPECT_FALSE(file->Redo());
    EXPECT_EQ(file->cutList.GetLength(), 50);
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->cutList.GetLength(), 100);
}

TEST_F(KVFileTest, DirtyStateFollowsTheSavedStateThroughTheRing) {
    auto file = MakeFile(100);
    EXPECT_TRUE(file->dirty);
    file->SetFileClean();
    DeleteEdit(*file, "A", 0, 10);
    file->SetFileClean();  // saved after A
    EXPECT_FALSE(file->dirty);

    ASSERT_TRUE(file->Undo());
    EXPECT_TRUE(file->dirty) << "undoing past the save shows the document changed";
    ASSERT_TRUE(file->Redo());
    EXPECT_FALSE(file->dirty) << "redoing to the saved state shows it clean";

    // Saved in an undone state: the way forward is dirty, back is clean.
    ASSERT_TRUE(file->Undo());
    file->SetFileClean();
    ASSERT_TRUE(file->Redo());
    EXPECT_TRUE(file->dirty);
    ASSERT_TRUE(file->Undo());
    EXPECT_FALSE(file->dirty);

    // An edit after the save, undone, comes back to the clean state.
    DeleteEdit(*file, "B", 0, 5);
    EXPECT_TRUE(file->dirty);
    ASSERT_TRUE(file->Undo());
    EXPECT_FALSE(file->dirty);
}

TEST_F(KVFileTest, AnEmptySelectionComesBackAsTheCursor) {
    auto file = MakeFile(100);
    file->selection = {50, 50, 0, 0, false};
    file->cursor = 30;
    DeleteEdit(*file, "A", 0, 10);
    file->selection = {1, 9, 0, 0, false};
    file->cursor = 5;
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->selection.start, 30);
    EXPECT_EQ(file->selection.end, 30);
    EXPECT_EQ(file->cursor, 30);

    // A frequency selection with an empty band selects nothing either.
    file->selection = {10, 80, 500, 500, true};
    file->cursor = 12;
    DeleteEdit(*file, "B", 0, 10);
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->selection.start, 12);
    EXPECT_EQ(file->selection.end, 12);

    // A real selection is kept.
    file->selection = {10, 80, 300, 900, true};
    DeleteEdit(*file, "C", 0, 10);
    file->selection = {};
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->selection, (KVSelection{10, 80, 300, 900, true}));
}

TEST_F(KVFileTest, AnEmptyDocumentUndoesAndRedoes) {
    KVFile file("/music/empty.wav", LCutListAudio());
    file.SaveForUndo("Stille einfügen");
    file.cutList.EfInsertSilence(0, 1000);
    ASSERT_TRUE(file.Undo());
    EXPECT_TRUE(file.cutList.IsEmpty());
    ASSERT_TRUE(file.Redo());
    EXPECT_EQ(file.cutList.GetLength(), 1000);
    ASSERT_TRUE(file.Undo());
    EXPECT_TRUE(file.cutList.IsEmpty());
}

TEST_F(KVFileTest, RecordsCarryBookmarksRegionsAndViewPosition) {
    auto file = MakeFile(100);
    std::vector<KVRegion> manager = {{"Intro", "take.wav", 0, 40}};
    file->SetLiveRegionList(&manager);
    file->bookmarks = {{"Refrain", 60}};
    file->viewPosition.fill(7);
    DeleteEdit(*file, "A", 0, 50);
    file->bookmarks.clear();
    manager.clear();
    file->viewPosition.fill(1);

    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->bookmarks, (std::vector<LKVBookmark>{{"Refrain", 60}}));
    EXPECT_EQ(manager, (std::vector<KVRegion>{{"Intro", "take.wav", 0, 40}}));
    EXPECT_EQ(file->viewPosition[15], 7);
    ASSERT_TRUE(file->Redo());
    EXPECT_TRUE(file->bookmarks.empty());
    EXPECT_TRUE(manager.empty());
    EXPECT_EQ(file->viewPosition[0], 1);
    file->SetLiveRegionList(nullptr);
}

TEST_F(KVFileTest, MenuTextsAndEnableRules) {
    auto file = MakeFile(100);
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig ");
    EXPECT_EQ(file->GetRedoMenuText(), "Wiederholen ");
    EXPECT_FALSE(file->CanUndo());
    EXPECT_FALSE(file->CanRedo());

    DeleteEdit(*file, "Ausschneiden", 0, 10);
    DeleteEdit(*file, "Verstärken", 0, 10);
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig Verstärken");
    EXPECT_TRUE(file->CanUndo());
    EXPECT_EQ(file->GetRedoMenuText(), "Wiederholen ");
    EXPECT_FALSE(file->CanRedo());

    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig Ausschneiden");
    EXPECT_EQ(file->GetRedoMenuText(), "Wiederholen Verstärken");
    EXPECT_TRUE(file->CanRedo());
    ASSERT_TRUE(file->Undo());
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig ");
    EXPECT_FALSE(file->CanUndo());
    EXPECT_EQ(file->GetRedoMenuText(), "Wiederholen Ausschneiden");
    ASSERT_TRUE(file->Redo());
    ASSERT_TRUE(file->Redo());
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig Verstärken");
    EXPECT_EQ(file->GetRedoMenuText(), "Wiederholen ");
    EXPECT_FALSE(file->CanRedo());

    // Names are cut to 259 bytes.
    DeleteEdit(*file, std::string(400, 'x').c_str(), 0, 1);
    EXPECT_EQ(file->GetUndoMenuText(), "Rückgängig " + std::string(259, 'x'));
}

// --- Names ---------------------------------------------------------------------

std::string Name(const char* format, int number, bool increment = false) {
    char out[KVFile::kNameSize];
    std::memset(out, 'Z', sizeof out);
    KVFile::GetNewFileName(out, increment, format, number);
    return out;
}

std::string LocalTime(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char out[64];
    std::strftime(out, sizeof out, format, &local);
    return out;
}

TEST(KVFileNameTest, PatternTokensAndLiteralPercent) {
    kvtest::IsolatedHome home;
    EXPECT_EQ(Name("100% Take %autonumber%", 7), "100% Take 7");
    EXPECT_EQ(Name("%d%s%n%%", 7), "%d%s%n%%") << "printf conversions of the user stay text";
    EXPECT_EQ(Name("%autonumber%-%autonumber%", 3), "3-3");
    EXPECT_EQ(Name("%Unknown%", 3), "%Unknown%");
    // The clock may tick between the two reads; retry once across a second.
    const char* pattern = "%YYYY%-%MM%-%DD% %HH%:%MIN%:%SS% %";
    std::string name = Name(pattern, 1);
    std::string expected = LocalTime("%Y-%m-%d %H:%M:%S %%");
    if (name != expected) {
        name = Name(pattern, 1);
        expected = LocalTime("%Y-%m-%d %H:%M:%S %%");
    }
    EXPECT_EQ(name, expected);
    EXPECT_EQ(Name(std::string(300, 'a').c_str(), 1).size(), 259u);
}

TEST(KVFileNameTest, DefaultPatternAndAutoNumber) {
    kvtest::IsolatedHome home;
    EXPECT_EQ(Name(nullptr, 4), "Unbenannt_4");
    LUserSettingSetString("Settings", "FileNameFormat", "Neu %autonumber%");
    EXPECT_EQ(Name(nullptr, 4), "Neu 4");
    LUserSettingSetString("Settings", "FileNameFormat", "");
    LUserSettingDeleteItem("Settings", "FileNameFormat");

    EXPECT_EQ(KVFile::GetAutoNumber(), 1);
    Name("x", 1, true);
    EXPECT_EQ(KVFile::GetAutoNumber(), 2);
    KVFile first{LCutListAudio()};
    KVFile second{LCutListAudio()};
    EXPECT_EQ(first.GetPath(), "Unbenannt_2");
    EXPECT_EQ(second.GetPath(), "Unbenannt_3");
    EXPECT_TRUE(first.dirty);
    EXPECT_TRUE(first.modified);
}

TEST_F(KVFileTest, DestructionRemovesTheTemporaryFolder) {
    kvtest::TempDir dir;
    const std::string folder = dir.Path() + "/0abc";
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    kvtest::WriteFileBytes(folder + "/cover.jpg", {1, 2, 3});
    {
        KVFileRef file(new KVFile("/music/x.wav", LCutListAudio()));
        file->SetTempFolder(folder);
        KVFileRef job = file;  // a background job keeps it alive
        file = KVFileRef();
        EXPECT_TRUE(Exists(folder));
    }
    EXPECT_FALSE(Exists(folder));
}

// --- Cache items -------------------------------------------------------------------

// Every reference on an item comes from a segment in the document, its undo
// records or the test's own lists; a long random run of edits, undos, redos
// and a close must leave the counts exact and, at the end, no item behind.
TEST_F(KVFileTest, RandomEditsLeaveNoUnreferencedItemsBehind) {
    std::vector<LCutListAudio> pool;
    for (int i = 0; i < 4; ++i) pool.push_back(MakeList(Numbered(64 + 16 * i, 1000.0f * i)));
    auto file = std::make_unique<KVFile>("/music/take.wav", pool[0]);

    auto countReferences = [&] {
        std::map<uint16_t, int> counts;
        auto add = [&](const LCutListAudio& list) {
            for (const LCutListSegment& s : list.Segments())
                if (s.handle.IsItem()) ++counts[s.Item()];
        };
        for (const LCutListAudio& list : pool) add(list);
        add(file->cutList);
        for (int i = 0; i < KVFile::kUndoRecords; ++i) add(file->GetUndoRecord(i).cutList);
        return counts;
    };

    FakeFileView view(file.get());
    std::mt19937 random(1234);
    auto pick = [&](long long limit) { return limit <= 0 ? 0LL : static_cast<long long>(random() % limit); };
    for (int step = 0; step < 600; ++step) {
        const long long length = file->cutList.GetLength();
        switch (random() % 8) {
        case 0: {
            file->SaveForUndo("Löschen");
            const long long a = pick(length + 1);
            file->cutList.EfDelete(a, a + pick(40));
            break;
        }
        case 1:
            file->SaveForUndo("Einfügen");
            file->cutList.EfInsert(pick(length + 1), pool[random() % pool.size()]);
            break;
        case 2: {
            // An effect: new audio in a new item replaces a range.
            file->SaveForUndo("Effekt");
            LCutListAudio rendered = MakeList(Numbered(32, 5000.0f + step));
            const long long a = pick(length + 1);
            file->cutList.EfDelete(a, a + 32);
            file->cutList.EfInsert(a, rendered);
            break;
        }
        case 3:
            file->Undo();
            break;
        case 6:
        case 7: {
            // Through the modify bracket; every other one fails half-way.
            KVCoreUtils::StartModifyFile(&view, "Effekt");
            LFileModifier modifier(&view);
            LCutListAudio rendered = MakeList(Numbered(16, 7000.0f + step));
            file->cutList.EfInsert(pick(length + 1), rendered);
            if (random() % 2) {
                KVCoreUtils::EndModifyFile(&view);
                modifier.Commit();
            }
            break;
        }
        case 4:
            file->Redo();
            break;
        default:
            if (step % 50 == 0) {
                pool.pop_back();
                pool.push_back(MakeList(Numbered(48, 9000.0f + step)));
            }
            file->SaveForUndo("Trimmen");
            file->cutList.EfTrim(0, std::max<long long>(1, length - pick(8)));
            break;
        }
        if (step % 25 == 0) {
            for (const auto& [item, count] : countReferences())
                ASSERT_EQ(Cache().GetRefCount(item), count) << "item " << item << " at step " << step;
        }
    }
    view.Controller().Take();
    file.reset();
    pool.clear();

    DIR* dir = ::opendir(Cache().GetCacheFolder().c_str());
    ASSERT_NE(dir, nullptr);
    std::vector<std::string> left;
    while (dirent* entry = ::readdir(dir))
        if (entry->d_name[0] != '.') left.push_back(entry->d_name);
    ::closedir(dir);
    EXPECT_TRUE(left.empty()) << left.size() << " files left, first " << left.front();
}

}  // namespace
