#include "edit/LSoundCutListAdd.h"

#include "edit/LCutListAudio.h"
#include "edit/LSoundCacheItemAdd.h"

LProcessResult LSoundCutListAdd(LProcessInterface& process, const std::string& path, LSoundSource source,
                                LCutListAudio& cutList, bool keep) {
    uint16_t item = kSoundCacheItemNone;
    long long length = 0;
    const LProcessResult result = LSoundCacheImport(process, path, source, keep, &item, &length);
    if (result != LProcessOK) return result;
    // The import's reference becomes the segment's.
    cutList.SetSingleCutListSegment(LCutListSegment::AdoptItem(item, 0, length), source->GetSampleRate(),
                                    source->GetChannels());
    return LProcessOK;
}
