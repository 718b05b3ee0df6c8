#include "edit/LKVLoadFile.h"

#include "base/LPathName.h"
#include "edit/LCutListAudio.h"
#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCutListAdd.h"
#include "formats/LGenSourceOpen.h"

#include <sys/stat.h>

#include <strings.h>

namespace {

// Headerless files are read by the settings of their kind, which may have
// changed since: they never take an earlier item.
bool MayReuse(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos) return true;
    const char* ext = path.c_str() + dot;
    return ::strcasecmp(ext, ".raw") != 0 && ::strcasecmp(ext, ".snd") != 0 && ::strcasecmp(ext, ".vox") != 0;
}

// The cache item decoded from this very file, if it is unchanged; the list
// becomes that item. False when there is none (or it can't serve).
bool ReuseCacheItem(const std::string& path, LCutListAudio& list) {
    struct stat st;
    if (!MayReuse(path) || ::stat(path.c_str(), &st) != 0) return false;
    const uint16_t item =
        LSoundCacheItemOriginalFileDetailsMatch(path, st.st_mtime, st.st_size, static_cast<int32_t>(st.st_mtim.tv_nsec));
    if (item == kSoundCacheItemNone) return false;
    // The reference first, then the look at the files: a release running on
    // another thread can't delete them any more once we hold the item.
    LSoundCache::Instance().IncRef(item);
    int rate = 44100, channels = 2;
    if (!LSoundCacheItemIsValid(item) ||
        !LSoundCacheItemAudioInfoGet(LSoundCache::Instance().GetFilePath(item, ".audinfo"), rate, channels)) {
        LSoundCache::Instance().DecRef(item);
        return false;
    }
    list.SetSingleCutListSegment(LCutListSegment::AdoptItem(item, 0, LSoundCacheItemLengthGet(item)), rate,
                                 channels);
    return true;
}


}  // namespace

LProcessResult Process(LProcessInterface& process, LKVLoadFile& job) {
    if (job.cutList == nullptr) return LProcessFailed;
    process.SetStatus(LPathFileName(job.path).c_str(), 0);
    process.SetStatus("Bitte warten...", 0);
    if (ReuseCacheItem(job.path, *job.cutList)) {
        job.reusedCacheItem = true;
        return LProcessOK;
    }
    LGenSourceOpenInterfaceProcess opening(process, job.bGuiSettingsDialog);
    LSoundSource source;
    const LProcessResult opened = ProcessGenSourceOpenSource(source, job.path.c_str(), opening, false);
    if (opened != LProcessOK) return opened;
    return LSoundCutListAdd(process, job.path, source, *job.cutList, false);
}
