#include "app/KVArguments.h"

#include <cstring>
#include <vector>

int gargc = 0;
char** gargv = nullptr;

namespace {
std::vector<char*>& Storage() {
    static std::vector<char*> storage;
    return storage;
}
}  // namespace

void KVSetArguments(int argc, char** argv) {
    auto& storage = Storage();
    storage.clear();
    for (int i = 0; i < argc; ++i) {
        if (i == 1 && std::strncmp(argv[i], "-psn", 4) == 0)
            continue;
        storage.push_back(argv[i]);
    }
    gargc = static_cast<int>(storage.size());
    storage.push_back(nullptr);
    gargv = storage.data();
}
