#pragma once
#include "stream/LSoundSourceBase.h"

#include <array>

// A mono tone read from a wave table of 4096 values with linear
// interpolation. The phase is a 27-bit fixed-point word whose low 15 bits are
// the fraction between two table entries.
class LSSTone : public LSoundSourceBase {
public:
    static constexpr int kTableSize = 4096;
    static constexpr int kFractionBits = 15;
    static constexpr unsigned kPhaseMask = 0x7FFFFFF;
    using Table = std::array<float, kTableSize>;

    // One period of `table` per cycle at `frequency`, `length` frames long.
    LSSTone(int sampleRate, const Table& table, double frequency, long long length);
    // A sine of the given amplitude.
    LSSTone(int sampleRate, double frequency, float amplitude, long long length);

    static Table SineTable(float amplitude);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return length_; }
    void Seek(long long frame) override;

    unsigned GetIncrement() const { return increment_; }

private:
    Table table_;
    unsigned increment_ = 0;
    unsigned phase_ = 0;
    long long position_ = 0;
    long long length_;
};
