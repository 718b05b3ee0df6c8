#include "app/LKVSettings.h"

#include <cstring>

#include "base/LFile.h"
#include "base/LSettings.h"

namespace {

const char kSettings[] = "Settings";
const char kBatch[] = "BatchConverter";
const char kRecorder[] = "Recorder";

void CopyFolder(const std::string& folder, char* out) {
    std::string fitted = folder.size() <= LFile::kMaxPath ? folder : std::string();
    std::memcpy(out, fitted.c_str(), fitted.size() + 1);
}

// A remembered folder, or the Music folder when none was stored yet.
void GetFolderOrMusic(const char* section, const char* key, char* out) {
    std::string folder = LUserSettingGetString(section, key, "");
    CopyFolder(folder.empty() ? LFile::GetMusicFolder() : folder, out);
}

std::string ChosenWorkingFolder() {
    if (LUserSettingGetString(kSettings, "UseDefaultWorkingDir")[0] != '0') return std::string();
    std::string folder = LUserSettingGetString(kSettings, "WorkingFolder");
    if (folder.empty() || !LFile::CreateFolder(folder, 0777)) return std::string();
    return folder;
}

}  // namespace

bool LKVSettings::GetWorkingFolder(char* out, size_t size) {
    if (size == 0) return false;
    std::string folder = ChosenWorkingFolder();
    if (folder.empty()) folder = LFile::GetUserDataFolderApp();
    if (folder.empty() || folder.size() >= size) {
        out[0] = '\0';
        return false;
    }
    std::memcpy(out, folder.c_str(), folder.size() + 1);
    return true;
}

void LKVSettings::SetUseDefaultWorkingDir(bool useDefault) {
    LUserSettingSetString(kSettings, "UseDefaultWorkingDir", useDefault ? "1" : "0");
}

void LKVSettings::SetWorkingFolder(const char* folder) { LUserSettingSetString(kSettings, "WorkingFolder", folder); }

void LKVSettings::GetBatchOutputDirectory(char* out) { GetFolderOrMusic(kBatch, "OutputFolder", out); }

void LKVSettings::SetBatchOutputDirectory(const char* folder) { LUserSettingSetString(kBatch, "OutputFolder", folder); }

void LKVSettings::GetOpenBatchFileDirectory(char* out) { GetFolderOrMusic(kSettings, "OpenBatchFileDir", out); }

void LKVSettings::SetOpenBatchFileDirectory(const char* folder) {
    LUserSettingSetString(kSettings, "OpenBatchFileDir", folder);
}

void LKVSettings::SetSaveAsFormat(const char* extension) { LUserSettingSetString(kSettings, "SaveAsFormat", extension); }

std::string LKVSettings::GetSaveAsFormat() {
    std::string format = LUserSettingGetString(kSettings, "SaveAsFormat");
    return format.empty() ? "wav" : format;
}

void LKVSettings::SetInsertFileFormat(const char* extension) {
    LUserSettingSetString(kSettings, "InsertFileFormat", extension);
}

std::string LKVSettings::GetInsertFileFormat() {
    std::string format = LUserSettingGetString(kSettings, "InsertFileFormat");
    return format.empty() ? "wav" : format;
}

LKVRecordDeviceSetting LKVSettings::RecordDeviceGet() {
    LKVRecordDeviceSetting device;
    device.name = LUserSettingGetString(kRecorder, "DeviceName");
    device.channel = LUserSettingGet<int>(kRecorder, "DeviceChannel", 0);
    if (device.channel < 0) device.channel = 0;
    return device;
}

void LKVSettings::RecordDeviceSet(const LKVRecordDeviceSetting& device) {
    LUserSettingSetString(kRecorder, "DeviceName", device.name.c_str());
    LUserSettingSet(kRecorder, "DeviceChannel", device.channel);
}

long LKVSettings::RecordAutoSaveSVARGetIntervalMS() {
    return LUserSettingGetBool(kRecorder, "AutoSaveSVAR", false) ? 30000 : 60000;
}
