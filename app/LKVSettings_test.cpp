#include "app/LKVSettings.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "base/LFile.h"
#include "base/LSettings.h"
#include "base/testing/TestSupport.h"

namespace {

bool IsFolder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string WorkingFolder() {
    char out[260];
    EXPECT_TRUE(LKVSettings::GetWorkingFolder(out, sizeof out));
    return out;
}

}  // namespace

TEST(LKVSettings, WorkingFolderDefaultsToTheUserDataFolder) {
    kvtest::IsolatedHome home;
    const std::string data = home.Path() + "/.local/share/kelvane";
    EXPECT_EQ(WorkingFolder(), data);
    // WorkingFolder alone changes nothing while the default is in use.
    LKVSettings::SetWorkingFolder((home.Path() + "/elsewhere").c_str());
    EXPECT_EQ(WorkingFolder(), data);
    EXPECT_FALSE(IsFolder(home.Path() + "/elsewhere"));
}

TEST(LKVSettings, AChosenWorkingFolderIsMadeWhenMissing) {
    kvtest::IsolatedHome home;
    const std::string chosen = home.Path() + "/cache/kelvane work";
    LKVSettings::SetWorkingFolder(chosen.c_str());
    LKVSettings::SetUseDefaultWorkingDir(false);
    EXPECT_EQ(LUserSettingGetString("Settings", "UseDefaultWorkingDir"), "0");
    EXPECT_EQ(WorkingFolder(), chosen);
    EXPECT_TRUE(IsFolder(chosen));
    // Anything that begins with "0" selects the chosen folder.
    LUserSettingSetString("Settings", "UseDefaultWorkingDir", "0 (custom)");
    EXPECT_EQ(WorkingFolder(), chosen);
    LKVSettings::SetUseDefaultWorkingDir(true);
    EXPECT_EQ(WorkingFolder(), home.Path() + "/.local/share/kelvane");
}

TEST(LKVSettings, AWorkingFolderThatCannotBeMadeFallsBackToUserData) {
    kvtest::IsolatedHome home;
    kvtest::WriteFileBytes(home.Path() + "/file", {'x'});
    LKVSettings::SetWorkingFolder((home.Path() + "/file/sub").c_str());
    LKVSettings::SetUseDefaultWorkingDir(false);
    EXPECT_EQ(WorkingFolder(), home.Path() + "/.local/share/kelvane");
    char tiny[8];
    EXPECT_FALSE(LKVSettings::GetWorkingFolder(tiny, sizeof tiny));
    EXPECT_STREQ(tiny, "");
}

TEST(LKVSettings, FoldersFormatsAndRecorderKeys) {
    kvtest::IsolatedHome home;
    char out[260];
    LKVSettings::GetBatchOutputDirectory(out);
    EXPECT_EQ(std::string(out), home.Path() + "/Music");
    LKVSettings::SetBatchOutputDirectory("/srv/out");
    LKVSettings::GetBatchOutputDirectory(out);
    EXPECT_STREQ(out, "/srv/out");
    EXPECT_EQ(LUserSettingGetString("BatchConverter", "OutputFolder"), "/srv/out");
    LKVSettings::GetOpenBatchFileDirectory(out);
    EXPECT_EQ(std::string(out), home.Path() + "/Music");

    EXPECT_EQ(LKVSettings::GetSaveAsFormat(), "wav");
    LKVSettings::SetSaveAsFormat("flac");
    EXPECT_EQ(LUserSettingGetString("Settings", "SaveAsFormat"), "flac");
    LKVSettings::SetInsertFileFormat("mp3");
    EXPECT_EQ(LKVSettings::GetInsertFileFormat(), "mp3");

    EXPECT_EQ(LKVSettings::RecordDeviceGet().name, "");
    LKVSettings::RecordDeviceSet({"USB Mikrofon", 2});
    EXPECT_EQ(LKVSettings::RecordDeviceGet().name, "USB Mikrofon");
    EXPECT_EQ(LKVSettings::RecordDeviceGet().channel, 2);

    EXPECT_EQ(LKVSettings::RecordAutoSaveSVARGetIntervalMS(), 60000);
    LUserSettingSetString("Recorder", "AutoSaveSVAR", "1");
    EXPECT_EQ(LKVSettings::RecordAutoSaveSVARGetIntervalMS(), 30000);
}
