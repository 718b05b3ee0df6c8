#pragma once
// A frequency curve as the curve editors keep it: up to 32 points in pixels
// and in (Hz, dB), or up to 20 bands of (Hz, dB, bandwidth), and its mapping
// to the per-bin gains of the curve equaliser.
//
// The block form is 1032 bytes, little-endian, laid out as a C structure with
// natural alignment (the size batch commands pass):
//   0    int64   count
//   8    32 x {float x, float y}          pixel points (256 bytes)
//   264  32 x {double frequency, double dB} curve points (512 bytes)
//   776  uint8   bandMode,  777 uint8 useBands, 778 two bytes padding
//   780  int32   bandCount
//   784  20 x {float frequency, float gainDB, float bandwidth} (240 bytes)
//   1024 uint16  word0, 1026 uint16 word1, 1028 four bytes padding
//
// "equalizer.dat" holds named curves: magic "KVEQ", uint32 version 1,
// uint32 entry count, then per entry a uint8 name length, the name and the
// 1032-byte block.
#include "dsp/LEqDesign.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

class LPointList {
public:
    static constexpr int kMaxPoints = 32;
    static constexpr int kMaxBands = 20;
    static constexpr size_t kBlockSize = 1032;

    struct PixelPoint {
        float x = 0, y = 0;
    };
    struct CurvePoint {
        double frequency = 0, dB = 0;
    };
    struct Band {
        float frequency = 0, gainDB = 0, bandwidth = 0;
    };

    long long count = 0;  // points in use, 0..32
    std::array<PixelPoint, kMaxPoints> pixels{};
    std::array<CurvePoint, kMaxPoints> points{};
    bool bandMode = false;
    bool useBands = false;
    int bandCount = 0;  // bands in use, 0..20
    std::array<Band, kMaxBands> bands{};
    // Two 16-bit values of the curve editor, kept and written back unchanged.
    unsigned short word0 = 0;
    unsigned short word1 = 0;

    // Fills the per-bin gains in percent. A rate of 0 or below counts as 44100.
    // With bandMode and at least three bands: a sum of Gaussians in dB.
    // Otherwise: straight lines in percent through the points, in order.
    void MapPointListToEq(LEqGains& gain, double sampleRate) const;

    // The 1032-byte block form, and back. FromBlock refuses a wrong size,
    // counts out of range and non-finite numbers, with a message in *error.
    std::vector<uint8_t> ToBlock() const;
    static bool FromBlock(const uint8_t* data, size_t size, LPointList* out, std::string* error);

    // Named curves in an "equalizer.dat" file. Save replaces or adds the entry
    // and keeps the others; the file is replaced whole, so a failed save
    // leaves the old one intact. A damaged old file is kept beside as
    // "<path>.bad" before a new one is started.
    bool Load(const std::string& path, const std::string& name, std::string* error);
    bool Save(const std::string& path, const std::string& name, std::string* error) const;

    static constexpr const char* kEqName = "Equalizer";
    static constexpr const char* kDrcName = "DRC";
    bool LoadPointsEq(const std::string& path, std::string* error) { return Load(path, kEqName, error); }
    bool SavePointsEq(const std::string& path, std::string* error) const { return Save(path, kEqName, error); }
    bool LoadPointsDRC(const std::string& path, std::string* error) { return Load(path, kDrcName, error); }
    bool SavePointsDRC(const std::string& path, std::string* error) const { return Save(path, kDrcName, error); }
};
