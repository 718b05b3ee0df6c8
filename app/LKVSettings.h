#pragma once
// LKVSettings: the application's own settings, on the user settings store.
//
// Keys (section "Settings" unless shown; defaults in brackets):
//   UseDefaultWorkingDir  "0" selects WorkingFolder; anything else the user
//                         data folder [empty]
//   WorkingFolder         folder of the sound cache [user data folder]
//   OpenBatchFileDir      last folder of batch scripts [Music folder]
//   SaveAsFormat          extension of the last save format ["wav"]
//   InsertFileFormat      extension of the last insert-file format ["wav"]
//   BatchConverter/OutputFolder   batch output folder [Music folder]
//   Recorder/DeviceName   input device, empty for the system default [empty]
//   Recorder/DeviceChannel  first input channel of the device [0]
//   Recorder/AutoSaveSVAR on: recordings are auto-saved every 30 s, else 60 s
#include <cstddef>
#include <string>

struct LKVRecordDeviceSetting {
    std::string name;  // empty: the system's default input
    int channel = 0;
};

class LKVSettings {
public:
    // The folder of the sound cache and auto-save data, made (mode 0777) if
    // missing. A chosen folder that can't be made falls back to the user data
    // folder, so the cache always has a home. False (out empty) when no
    // folder fits into size bytes.
    static bool GetWorkingFolder(char* out, size_t size);
    static void SetUseDefaultWorkingDir(bool useDefault);
    static void SetWorkingFolder(const char* folder);

    // Folders for the batch wizard, into 260-byte buffers.
    static void GetBatchOutputDirectory(char* out);
    static void SetBatchOutputDirectory(const char* folder);
    static void GetOpenBatchFileDirectory(char* out);
    static void SetOpenBatchFileDirectory(const char* folder);

    static void SetSaveAsFormat(const char* extension);
    static std::string GetSaveAsFormat();
    static void SetInsertFileFormat(const char* extension);
    static std::string GetInsertFileFormat();

    static LKVRecordDeviceSetting RecordDeviceGet();
    static void RecordDeviceSet(const LKVRecordDeviceSetting& device);
    // The period of the auto-save while recording: 60000 ms, or 30000 ms
    // when the switch AutoSaveSVAR of "Recorder" is on.
    static long RecordAutoSaveSVARGetIntervalMS();
};
