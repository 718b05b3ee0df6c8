#include "edit/LSoundCacheCleanup.h"

#include "edit/LSoundCache.h"
#include "edit/LSoundCacheItemInfo.h"

#include <dirent.h>

#include <cstring>
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
    DIR* dir = folder.empty() ? nullptr : ::opendir(folder.c_str());
    if (!dir) return;
    std::vector<uint16_t> numbers;
    while (dirent* entry = ::readdir(dir)) {
        const size_t length = std::strlen(entry->d_name);
        if (length <= 8 || std::strcmp(entry->d_name + length - 8, ".audinfo") != 0) continue;
        const uint16_t number = LSoundCacheParseItemNumber(entry->d_name);
        if (number <= kSoundCacheItemLast) numbers.push_back(number);
    }
    ::closedir(dir);
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
