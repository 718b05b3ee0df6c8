#pragma once
// Opening a file into a document: its decoded source imported into the cache
// as a whole new single-segment cut list.
#include "base/LProcessInterface.h"
#include "stream/LSoundSource.h"

#include <string>

class LCutListAudio;

// Imports source into a new cache item (recording path's time and size, so
// that reopening the unchanged file can use the item again) and makes cutList
// that item as one segment at the source's format. On any result but
// LProcessOK the cut list is left as it was and the item is gone.
LProcessResult LSoundCutListAdd(LProcessInterface& process, const std::string& path, LSoundSource source,
                                LCutListAudio& cutList, bool keep);
