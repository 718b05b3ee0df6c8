#pragma once
// LSoundCacheCleanup: frees disk space in the cache folder.
//
// Always first deletes unreferenced items that lost one of their three files.
// Then, by the free megabytes F of the cache's volume:
//   mode 1: F < 500 all, F < 1000 older than an hour, F < 2000 a day, else four weeks
//   mode 2: F < 2000 all, F < 10000 a day, F < 100000 two weeks, else four weeks
//   mode 3: F < 5000 all, else two weeks
//   mode 4: all
// "All" deletes every unreferenced cache file; an age deletes unreferenced
// items last accessed that long ago or earlier. Mode 2 runs at program end,
// mode 4 on the user's request and when item numbers run out.
void LSoundCacheCleanup(int mode);
