#pragma once
// The save job: a document's cut list copied into a sink of the target's
// format. The questions around a save (format options, down-mix) are asked
// on the main thread before the job starts; the job itself only writes.
#include "base/LProcessInterface.h"
#include "edit/LCutListAudio.h"

#include <string>

class LFileTagDataAudio;

struct LKVSaveToSink {
    LCutListAudio cutList;   // a copy: the job reads it on its worker thread
    std::string target;      // the file the user chose; its extension picks the format
    std::string writePath;   // where the sink writes (the save transaction's file)
    int channels = 0;        // the channels written: fewer than the list's for a down-mix; 0: the list's
    const LFileTagDataAudio* tags = nullptr;  // the document's, read on the worker; may be null
};

// 0 written, 1 stopped, 2 failed (reported through SetError): an empty list,
// a sink that can't be made, or a write that failed.
LProcessResult Process(LProcessInterface& process, LKVSaveToSink& job);

// "Datei ... kann nicht gespeichert werden, da nicht genug Speicherplatz ...",
// with one %s for the file.
extern const char* const kKVSaveNoSpaceText;

// The most channels a save format stores (0: no limit).
int LKVSaveChannelMaximum(const std::string& extension);
// "Mono", "Stereo", "5.1", "7.1", else "<n> Kanäle".
std::string KVGetChannelString(int channels);
