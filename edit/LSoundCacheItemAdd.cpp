#include "edit/LSoundCacheItemAdd.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemAnalyzerManager.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSink.h"
#include "stream/LPRSourceToSink.h"

#include <sys/stat.h>

namespace {

// Room for the floats, and a margin so that running out of disk during the
// copy (which shows only as a short item) stays unlikely.
constexpr int64_t kSpaceMargin = 100LL * 1024 * 1024;

bool EnoughSpace(LProcessInterface& process, const LSoundSource& source) {
    const LSoundCache& cache = LSoundCache::Instance();
    const int64_t available = cache.GetFreeSpace();
    const int64_t frames = std::max<long long>(source->GetEndSample(), 0);
    const int64_t needed = frames * source->GetChannels() * 4 + kSpaceMargin;
    if (available >= needed) return true;
    process.SetErrorF(
        "Unzureichender Festplattenspeicher, um Audio zu speichern. Kelvane benötigt %.2f MB freien Speicher "
        "auf dem \"%s\", um die Datei zu laden (%.2f MB verfügbar).",
        static_cast<double>(needed) / 1048576.0, cache.GetVolumeName().c_str(),
        static_cast<double>(available) / 1048576.0);
    return false;
}

}  // namespace

LProcessResult LSoundCacheItemAdd(LProcessInterface& process, LSoundSource source, const LSoundCacheItemHandle& handle,
                                  long long& length) {
    if (!EnoughSpace(process, source)) return LProcessFailed;
    LPRSourceToSink job;
    job.source = source;
    job.sink = MakeSink<LSoundCacheSink>(handle.number, source->GetSampleRate(), source->GetChannels(), &length);
    if (job.sink->HasFailed()) return LProcessFailed;
    const LProcessResult result = Process(process, job);
    job.sink.Close();  // the sink's close stores the length and writes .audinfo
    if (result == LProcessOK) LSoundCacheItemAnalyzerManager::Instance().SignalChange();
    return result;
}

// `keep` is accepted for the opener's sake; every import records its
// original file, which alone decides whether the item outlives its last use.
LProcessResult LSoundCacheImport(LProcessInterface& process, const std::string& path, LSoundSource source,
                                 bool /*keep*/, uint16_t* item, long long* length) {
    LSoundCache& cache = LSoundCache::Instance();
    *item = kSoundCacheItemNone;
    *length = 0;
    const uint16_t number = cache.ItemCreateNewAndIncRef();
    cache.IncRef(number);
    long long frames = 0;
    const LProcessResult result = LSoundCacheItemAdd(process, source, LSoundCacheItemHandle(number), frames);
    cache.DecRef(number);
    if (result != LProcessOK) {
        cache.DecRef(number);  // no original recorded yet: the item goes
        return result;
    }
    LSoundCacheItemAnalyzerManager::Instance().SignalChange();
    struct stat st;
    if (!path.empty() && ::stat(path.c_str(), &st) == 0) {
        // The tag holds the time's nanoseconds: a rewrite of the same size
        // within the same second is a different file.
        LSoundCacheItemOriginalFileDetailsAdd(number, path, static_cast<int32_t>(st.st_mtime),
                                              static_cast<int64_t>(st.st_size), static_cast<int32_t>(st.st_mtim.tv_nsec));
    }
    LSoundCacheItemLastAccessTimeUpdate(number);
    *item = number;
    *length = frames;
    return LProcessOK;
}
