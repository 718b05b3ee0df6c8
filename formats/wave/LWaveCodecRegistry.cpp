#include "formats/wave/LWaveCodecRegistry.h"

#include <map>
#include <mutex>

namespace {

struct Tables {
    std::mutex mutex;
    std::map<uint16_t, LWaveSourceFactory> sources;
    std::map<uint16_t, LWaveSinkFactory> sinks;
};

Tables& GetTables() {
    static Tables tables;
    return tables;
}

template <class Factory>
void Set(std::map<uint16_t, Factory>& table, uint16_t tag, Factory factory) {
    if (factory) {
        table[tag] = factory;
    } else {
        table.erase(tag);
    }
}

template <class Factory>
Factory Get(const std::map<uint16_t, Factory>& table, uint16_t tag) {
    auto it = table.find(tag);
    return it == table.end() ? nullptr : it->second;
}

}  // namespace

void LWaveCodecRegistry::RegisterSource(uint16_t tag, LWaveSourceFactory factory) {
    Tables& t = GetTables();
    std::lock_guard lock(t.mutex);
    Set(t.sources, tag, factory);
}

void LWaveCodecRegistry::RegisterSink(uint16_t tag, LWaveSinkFactory factory) {
    Tables& t = GetTables();
    std::lock_guard lock(t.mutex);
    Set(t.sinks, tag, factory);
}

LWaveSourceFactory LWaveCodecRegistry::FindSource(uint16_t tag) {
    Tables& t = GetTables();
    std::lock_guard lock(t.mutex);
    return Get(t.sources, tag);
}

LWaveSinkFactory LWaveCodecRegistry::FindSink(uint16_t tag) {
    Tables& t = GetTables();
    std::lock_guard lock(t.mutex);
    return Get(t.sinks, tag);
}
