#include "app/LRecentFileList.h"

#include "base/LSettings.h"

namespace {

constexpr const char* kSection = "RecentFileList";

std::string Key(int index) { return "File" + std::to_string(index); }

std::string Entry(int index) { return LUserSettingGetString(kSection, Key(index).c_str(), ""); }

}  // namespace

void LRecentFileList::RecentFileListAdd(const char* path) {
    if (path == nullptr || *path == '\0') return;
    int found = kEntries - 1;  // not found: every entry moves down and the last drops out
    for (int i = 0; i < kEntries; ++i) {
        if (Entry(i) == path) {
            found = i;
            break;
        }
    }
    if (found == 0 && Entry(0) == path) return;
    for (int i = found; i > 0; --i) LUserSettingSetString(kSection, Key(i).c_str(), Entry(i - 1).c_str());
    LUserSettingSetString(kSection, Key(0).c_str(), path);
}

std::vector<std::string> LRecentFileList::RecentFileListLoad() {
    std::vector<std::string> entries;
    for (int i = 0; i < kEntries; ++i) {
        std::string entry = Entry(i);
        if (!entry.empty()) entries.push_back(std::move(entry));
    }
    return entries;
}
