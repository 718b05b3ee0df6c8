#include "dsp/LPointList.h"

#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

LPointList SampleCurve() {
    LPointList list;
    list.count = 2;
    list.points[0] = {100.0, 0.0};
    list.points[1] = {10000.0, -6.0};
    list.pixels[0] = {12.5f, 40.0f};
    list.pixels[1] = {300.0f, 80.25f};
    list.bandCount = 3;
    list.bands[0] = {100.0f, 3.0f, 1.5f};
    list.bands[1] = {1000.0f, -6.0f, 2.0f};
    list.bands[2] = {8000.0f, 4.5f, 0.75f};
    list.useBands = true;
    list.word0 = 0x1234;
    list.word1 = 0xfedc;
    return list;
}

template <class T>
T At(const std::vector<uint8_t>& b, size_t offset) {
    T v;
    std::memcpy(&v, b.data() + offset, sizeof v);
    return v;
}

}  // namespace

TEST(LPointList, TwoPointsGiveFlatThenLineThenFlat) {
    LEqGains gain;
    gain.fill(-1.0);
    SampleCurve().MapPointListToEq(gain, 44100.0);
    // trunc(2*90/44100*2049) = 8, trunc(2*10000/44100*2049) = 929.
    const double right = std::pow(10.0, -6.0 / 20.0) * 100.0;
    const double step = (right - 100.0) / (929 - 8);
    for (int k = 0; k <= 8; ++k) EXPECT_DOUBLE_EQ(gain[k], 100.0) << k;
    for (int k = 8; k < 929; ++k) ASSERT_NEAR(gain[k], 100.0 + step * (k - 8), 1e-9) << k;
    for (int k = 929; k < kEqBins; ++k) ASSERT_DOUBLE_EQ(gain[k], right) << k;
    // A rate of 0 counts as 44100.
    LEqGains same;
    SampleCurve().MapPointListToEq(same, 0.0);
    EXPECT_EQ(same, gain);
}

TEST(LPointList, PointAboveNyquistIsCappedAndEmptyListIsFlat) {
    LPointList list;
    list.count = 2;
    list.points[0] = {5.0, 6.0};       // below 10 Hz: no leading flat part
    list.points[1] = {30000.0, -20.0};  // beyond 22050 Hz: the line stops at bin 2049
    LEqGains gain;
    list.MapPointListToEq(gain, 44100.0);
    const double left = std::pow(10.0, 6.0 / 20.0) * 100.0;
    const double step = (10.0 - left) / 2049.0;
    EXPECT_DOUBLE_EQ(gain[0], left);
    EXPECT_NEAR(gain[2048], left + step * 2048, 1e-9);

    LPointList empty;
    empty.MapPointListToEq(gain, 48000.0);
    for (double g : gain) ASSERT_EQ(g, 100.0);
}

TEST(LPointList, BandModeSumsGaussiansOnlyFromThreeBands) {
    LPointList list = SampleCurve();
    list.bandMode = true;
    LEqGains gain;
    list.MapPointListToEq(gain, 48000.0);
    for (int k : {0, 9, 85, 683, 1500, 2048}) {
        double dB = 0;
        for (int b = 0; b < 3; ++b) {
            const double f = list.bands[b].frequency, w = f / list.bands[b].bandwidth;
            const double d = k / 4098.0 * 48000.0 - f;
            dB += list.bands[b].gainDB * std::exp(-(d * d) / (w * w / 2.772588722239781));
        }
        EXPECT_NEAR(gain[k], std::pow(10.0, dB / 20.0) * 100.0, 1e-9) << k;
    }
    // Two bands are not enough: the point curve is used.
    list.bandCount = 2;
    LEqGains points, expect;
    list.MapPointListToEq(points, 48000.0);
    list.bandMode = false;
    list.MapPointListToEq(expect, 48000.0);
    EXPECT_EQ(points, expect);
}

TEST(LPointList, BlockFormHasTheFixedLayoutAndRoundTrips) {
    const LPointList list = SampleCurve();
    const auto block = list.ToBlock();
    ASSERT_EQ(block.size(), 1032u);
    EXPECT_EQ(At<int64_t>(block, 0), 2);
    EXPECT_EQ(At<float>(block, 8), 12.5f);
    EXPECT_EQ(At<float>(block, 8 + 8 + 4), 80.25f);
    EXPECT_EQ(At<double>(block, 264), 100.0);
    EXPECT_EQ(At<double>(block, 264 + 16 + 8), -6.0);
    EXPECT_EQ(block[776], 0);  // bandMode
    EXPECT_EQ(block[777], 1);  // useBands
    EXPECT_EQ(At<int32_t>(block, 780), 3);
    EXPECT_EQ(At<float>(block, 784 + 12 + 4), -6.0f);
    EXPECT_EQ(At<uint16_t>(block, 1024), 0x1234);
    EXPECT_EQ(At<uint16_t>(block, 1026), 0xfedc);

    LPointList back;
    std::string error;
    ASSERT_TRUE(LPointList::FromBlock(block.data(), block.size(), &back, &error)) << error;
    EXPECT_EQ(back.ToBlock(), block);

    // Wrong size, counts out of range and NaN are refused with a message.
    EXPECT_FALSE(LPointList::FromBlock(block.data(), 1031, &back, &error));
    EXPECT_NE(error.find("1032"), std::string::npos);
    auto bad = block;
    bad[0] = 33;
    EXPECT_FALSE(LPointList::FromBlock(bad.data(), bad.size(), &back, &error));
    bad = block;
    bad[780] = 21;
    EXPECT_FALSE(LPointList::FromBlock(bad.data(), bad.size(), &back, &error));
    bad = block;
    const double nan = std::nan("");
    std::memcpy(bad.data() + 264, &nan, 8);
    EXPECT_FALSE(LPointList::FromBlock(bad.data(), bad.size(), &back, &error));
}

TEST(LPointList, EqualizerDatKeepsNamedCurvesAndRoundTripsBytes) {
    kvtest::TempDir dir;
    const std::string path = dir.File("equalizer.dat");
    std::string error;
    LPointList eq = SampleCurve();
    LPointList drc = SampleCurve();
    drc.count = 1;
    drc.points[0] = {440.0, -3.0};
    ASSERT_TRUE(eq.SavePointsEq(path, &error)) << error;
    ASSERT_TRUE(drc.SavePointsDRC(path, &error)) << error;
    const auto bytes = kvtest::ReadFileBytes(path);
    ASSERT_EQ(bytes.size(), 12 + 2 * 1032 + (1 + 9) + (1 + 3));

    LPointList loadedEq, loadedDrc;
    ASSERT_TRUE(loadedEq.LoadPointsEq(path, &error)) << error;
    ASSERT_TRUE(loadedDrc.LoadPointsDRC(path, &error)) << error;
    EXPECT_EQ(loadedEq.ToBlock(), eq.ToBlock());
    EXPECT_EQ(loadedDrc.ToBlock(), drc.ToBlock());

    // Saving what was loaded, in the same order, gives the same bytes.
    const std::string copy = dir.File("copy.dat");
    ASSERT_TRUE(loadedEq.SavePointsEq(copy, &error));
    ASSERT_TRUE(loadedDrc.SavePointsDRC(copy, &error));
    EXPECT_EQ(kvtest::ReadFileBytes(copy), bytes);
    // Replacing an entry keeps the other one and the size.
    ASSERT_TRUE(loadedDrc.SavePointsEq(copy, &error));
    EXPECT_EQ(kvtest::ReadFileBytes(copy).size(), bytes.size());
    ASSERT_TRUE(loadedEq.LoadPointsDRC(copy, &error));
    EXPECT_EQ(loadedEq.ToBlock(), drc.ToBlock());

    EXPECT_FALSE(loadedEq.Load(path, "Other", &error));
    EXPECT_NE(error.find("Other"), std::string::npos);
}

TEST(LPointList, DamagedEqualizerDatGivesAnErrorAndIsKeptAside) {
    kvtest::TempDir dir;
    const std::string path = dir.File("equalizer.dat");
    std::string error;
    ASSERT_TRUE(SampleCurve().SavePointsEq(path, &error));
    const auto bytes = kvtest::ReadFileBytes(path);
    LPointList list;
    // Truncations fail cleanly: every length in the header, then a spread.
    for (size_t n = 0; n < bytes.size(); n += n < 40 ? 1 : 13) {
        kvtest::WriteFileBytes(path, std::vector<uint8_t>(bytes.begin(), bytes.begin() + n));
        error.clear();
        ASSERT_FALSE(list.LoadPointsEq(path, &error)) << n;
        ASSERT_FALSE(error.empty()) << n;
    }
    EXPECT_FALSE(list.LoadPointsEq(dir.File("missing.dat"), &error));
    EXPECT_NE(error.find("missing.dat"), std::string::npos);

    // Saving over garbage sets the garbage aside and writes a good file.
    const std::vector<uint8_t> garbage = {'n', 'o', 'p', 'e'};
    kvtest::WriteFileBytes(path, garbage);
    ASSERT_TRUE(SampleCurve().SavePointsDRC(path, &error)) << error;
    EXPECT_EQ(kvtest::ReadFileBytes(path + ".bad"), garbage);
    ASSERT_TRUE(list.LoadPointsDRC(path, &error)) << error;
}
