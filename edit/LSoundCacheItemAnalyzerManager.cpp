#include "edit/LSoundCacheItemAnalyzerManager.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace {
constexpr size_t kItems = 65536;
}

LSoundCacheItemAnalyzerManager::LSoundCacheItemAnalyzerManager() : flags_(new uint32_t[kItems]()) {}

LSoundCacheItemAnalyzerManager& LSoundCacheItemAnalyzerManager::Instance() {
    // Never destroyed: cache items may be released from other statics' destructors.
    static auto* instance = new LSoundCacheItemAnalyzerManager();
    return *instance;
}

void LSoundCacheItemAnalyzerManager::AddListener(int pipeWriteFd, uint32_t mask) {
    std::lock_guard lock(mutex_);
    listeners_.push_back({pipeWriteFd, mask});
}

void LSoundCacheItemAnalyzerManager::RemoveListener(int pipeWriteFd) {
    std::lock_guard lock(mutex_);
    std::erase_if(listeners_, [&](const Listener& l) { return l.fd == pipeWriteFd; });
}

void LSoundCacheItemAnalyzerManager::SignalChange() {
    std::lock_guard lock(mutex_);
    const char byte = 1;
    for (const Listener& l : listeners_) {
        if ((l.mask & kListenItemAdded) == 0) continue;
        // A full pipe already tells the listener to look; the byte isn't needed.
        ssize_t written;
        do {
            written = ::write(l.fd, &byte, 1);
        } while (written < 0 && errno == EINTR);
    }
}

uint32_t LSoundCacheItemAnalyzerManager::GetItemFlags(uint16_t number) const {
    std::lock_guard lock(mutex_);
    return flags_[number];
}

void LSoundCacheItemAnalyzerManager::SetItemFlags(uint16_t number, uint32_t flags) {
    std::lock_guard lock(mutex_);
    flags_[number] = flags;
}

uint32_t LSoundCacheItemAnalyzerManager::FlagOfChunk(uint16_t chunkId) {
    switch (chunkId) {
    case 32: return 2;
    case 48: return 4;
    case 64: return 8;
    case 128: return 16;
    case 112: return 32;
    default: return 0;
    }
}

void LSoundCacheItemAnalyzerManager::ResetForTesting() {
    std::lock_guard lock(mutex_);
    listeners_.clear();
    std::fill_n(flags_.get(), kItems, 0u);
}
