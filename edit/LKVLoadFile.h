#pragma once
// The load job: a file decoded into the sound cache as a document's cut
// list. An unchanged file whose cache item is still there is not decoded
// again: the item serves at once.
#include "base/LProcessInterface.h"

#include <string>

class LCutListAudio;

struct LKVLoadFile {
    std::string path;
    LCutListAudio* cutList = nullptr;  // the target; must outlive the job
    bool bGuiSettingsDialog = false;   // whether format settings may be asked for
    bool reusedCacheItem = false;      // result: no decoding took place
};

// 0 loaded, 1 stopped, 2 failed (reported through SetError). On anything but
// 0 the cut list is as it was.
LProcessResult Process(LProcessInterface& process, LKVLoadFile& job);
