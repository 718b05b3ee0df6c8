#pragma once
// LSoundCacheSink: writes one cache item: the frames unchanged to ".aud", a
// peak record per 256 frames to ".grf", and at close a fresh ".audinfo" with
// the format.
//
// The sink holds a reference on its item from construction to destruction.
// Its length (frames written) is stored in the caller's variable at close.
#include "base/LFile.h"
#include "edit/LFileWriteBehind.h"
#include "stream/LSoundSinkBase.h"

#include <cstdint>
#include <memory>
#include <vector>

class LSoundCacheSink : public LSoundSinkBase {
public:
    static constexpr int kGrfBlockFrames = 256;

    // Opens (creating or emptying) the item's .aud and .grf; a failure to open
    // either marks the sink failed. `length`, if given, must outlive the sink.
    LSoundCacheSink(uint16_t number, int sampleRate, int channels, long long* length = nullptr);
    ~LSoundCacheSink() override;

    void Write(const float* buffer, long long frames) override;

    uint16_t Number() const { return number_; }

    // One peak word of .grf: 0 for exactly 0; 65535 above +24 dB
    // (15.848932); else trunc(m * 4134.916), and 1 instead of 0.
    static uint16_t PeakWord(float magnitude);

private:
    void Accumulate(const float* buffer, long long frames);
    void WriteGrfFrame();
    void WriteAudInfo();

    uint16_t number_;
    long long* length_;
    LFile aud_;
    std::unique_ptr<LFileWriteBehind> audWriter_;  // .aud data goes out on a worker thread
    LFile grf_;
    std::vector<float> max_;
    std::vector<float> min_;
    int blockFill_ = 0;
    std::vector<uint8_t> grfBuffer_;  // whole records waiting to be written
};
