#pragma once
// LSoundCacheItemAnalyzerManager: which analysis results each cache item has,
// and the listeners told when items are added.
//
// A listener is the write end of a pipe and a mask; SignalChange writes one
// byte to every listener whose mask has bit 0 set. The per-item flag words are
// filled by the cache's first scan: chunk 32 gives 2, 48 gives 4, 64 gives 8,
// 128 gives 16, 112 gives 32.
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class LSoundCacheItemAnalyzerManager {
public:
    static constexpr uint32_t kListenItemAdded = 1;

    static LSoundCacheItemAnalyzerManager& Instance();

    // The caller keeps the descriptor open until RemoveListener.
    void AddListener(int pipeWriteFd, uint32_t mask);
    void RemoveListener(int pipeWriteFd);
    void SignalChange();

    uint32_t GetItemFlags(uint16_t number) const;
    void SetItemFlags(uint16_t number, uint32_t flags);

    // The flag bit of an analysis chunk id, 0 for other ids.
    static uint32_t FlagOfChunk(uint16_t chunkId);

    // For tests: no listeners, all words 0.
    void ResetForTesting();

private:
    LSoundCacheItemAnalyzerManager();

    struct Listener {
        int fd;
        uint32_t mask;
    };
    mutable std::mutex mutex_;
    std::vector<Listener> listeners_;
    std::unique_ptr<uint32_t[]> flags_;
};
