#pragma once
// LRecentFileList: the ten files opened or saved last, most recent first,
// kept in the settings section "RecentFileList" as File0 to File9. The menu
// reads it; the load and save flows add to it. Any thread (the settings
// store is safe), though the flows call it on the main thread.
#include <string>
#include <vector>

class LRecentFileList {
public:
    static constexpr int kEntries = 10;

    // Moves `path` to the top: an entry found further down leaves its place,
    // a new one pushes the last out. Nothing changes when it is on top.
    static void RecentFileListAdd(const char* path);
    // The entries in order; empty ones are left out.
    static std::vector<std::string> RecentFileListLoad();
};
