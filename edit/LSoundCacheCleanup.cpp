#include "edit/LSoundCacheCleanup.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <ctime>
#include <vector>

namespace {

constexpr long kHour = 3600;
constexpr long kDay = 86400;
constexpr long kTwoWeeks = 1209600;
constexpr long kFourWeeks = 2419200;
constexpr long kAll = -1;

// Items that lost one of their three files can never be read again. Only
// unreferenced ones go: a referenced item may still be read from what is left.
void DeleteInvalidItems(LSoundCache& cache) {
    const std::string folder = cache.GetCacheFolder();
    if (folder.empty()) return;
    // Collected first: deleting while the folder is read could skip entries.
    std::vector<uint16_t> numbers;
    LSoundCacheForEachFile(folder, "*.audinfo", [&](const char* name) {
        const uint16_t number = LSoundCacheParseItemNumber(name);
        if (number <= kSoundCacheItemLast) numbers.push_back(number);
    });
    for (uint16_t number : numbers) {
        if (!LSoundCacheItemIsValid(number) && cache.GetRefCount(number) == 0) cache.CacheItemDelete(number);
    }
}

// The age limit in seconds for mode and free megabytes, kAll for everything,
// 0 for nothing.
long AgeLimit(int mode, double freeMB) {
    switch (mode) {
    case 1: return freeMB < 500 ? kAll : freeMB < 1000 ? kHour : freeMB < 2000 ? kDay : kFourWeeks;
    case 2: return freeMB < 2000 ? kAll : freeMB < 10000 ? kDay : freeMB < 100000 ? kTwoWeeks : kFourWeeks;
    case 3: return freeMB < 5000 ? kAll : kTwoWeeks;
    case 4: return kAll;
    default: return 0;
    }
}

}  // namespace

void LSoundCacheCleanup(int mode) {
    LSoundCache& cache = LSoundCache::Instance();
    DeleteInvalidItems(cache);
    if (mode < 1 || mode > 4) return;
    const double freeMB = static_cast<double>(cache.GetFreeSpace()) / 1048576.0;
    const long limit = AgeLimit(mode, freeMB);
    if (limit == kAll) {
        cache.DeleteCachedFiles();
    } else if (limit > 0) {
        cache.ItemsDelete(static_cast<long>(::time(nullptr)) - limit);
    }
}
