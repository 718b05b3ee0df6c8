#pragma once
// LSoundCacheSink: writes one cache item: the frames unchanged to ".aud", a
// peak record per 256 frames to ".grf", and at close a fresh ".audinfo" with
// the format.
//
// The sink holds a reference on its item from construction to destruction.
// Its length (frames written) is stored in the caller's variable at close.
#include "base/LFile.h"
#include "edit/LFileWriteBehind.h"
#include "edit/LGrfPeakAccumulator.h"
#include "stream/LSoundSinkBase.h"

#include <cstdint>
#include <memory>
#include <vector>

class LSoundCacheSink : public LSoundSinkBase {
public:
    // Opens (creating or emptying) the item's .aud and .grf; a failure to open
    // either marks the sink failed. `length`, if given, must outlive the sink.
    LSoundCacheSink(uint16_t number, int sampleRate, int channels, long long* length = nullptr);
    ~LSoundCacheSink() override;

    void Write(const float* buffer, long long frames) override;

    uint16_t Number() const { return number_; }

private:
    void WritePendingPeaks();

    uint16_t number_;
    long long* length_;
    LFile aud_;
    std::unique_ptr<LFileWriteBehind> audWriter_;  // .aud data goes out on a worker thread
    LFile grf_;
    LGrfPeakAccumulator peaks_;
};

// Opens one of the item's data files (".aud", ".grf") for writing, created or
// emptied, and shares a lock on it while it is written, so that another
// instance's cleanup can see it is in use. Both sinks of cache items use it.
bool LSoundCacheItemDataFileCreate(LFile& file, uint16_t number, const char* extension);
