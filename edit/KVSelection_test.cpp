#include "edit/KVSelection.h"

#include "edit/KVFileAudio.h"

#include "base/LProcessInterface.h"
#include "edit/testing/CutListFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

class KVSelectionTest : public CutListTest {};

TEST_F(KVSelectionTest, TrimWithoutBandIsAListEdit) {
    LCutListAudio list = MakeList(Numbered(100, 0));
    LProcessInterfaceVoid process;

    EXPECT_EQ(ReadAll(KVSelection{}.Trim(process, list)), ReadAll(list));
    EXPECT_EQ(ReadAll(KVSelection({40, 40, 0, 0, false}).Trim(process, list)), ReadAll(list));
    EXPECT_EQ(ReadAll(KVSelection({10, 30, 700, 700, true}).Trim(process, list)), ReadAll(list))
        << "an empty band selects nothing";

    const LCutListAudio trimmed = KVSelection({10, 30, 0, 0, false}).Trim(process, list);
    const std::vector<float> whole = ReadAll(list);
    EXPECT_EQ(ReadAll(trimmed), std::vector<float>(whole.begin() + 10, whole.begin() + 30));
    EXPECT_EQ(trimmed.Segments()[0].Item(), list.Segments()[0].Item()) << "no audio is copied";
}

TEST_F(KVSelectionTest, EmptinessAndGetEnd) {
    EXPECT_TRUE(KVSelection({5, 5, 0, 0, false}).IsEmpty());
    EXPECT_TRUE(KVSelection({5, 9, 300, 300, true}).IsEmpty());
    EXPECT_FALSE(KVSelection({5, 9, 300, 300, false}).IsEmpty());
    EXPECT_FALSE(KVSelection({5, 9, 300, 400, true}).IsEmpty());

    KVFileAudio audio(MakeList(Numbered(100, 0)));
    audio.cutList.EfInsertSilence(100, 20);
    EXPECT_EQ(audio.GetEnd(), 120);
    audio.selection = {10, 30, 0, 0, false};
    EXPECT_EQ(audio.GetEnd(), 30);
    audio.selection = {10, 30, 800, 800, true};
    EXPECT_EQ(audio.GetEnd(), 120);
    audio.selection = {10, 30, 800, 900, true};
    EXPECT_EQ(audio.GetEnd(), 30);
}

// Amplitude of the component at `hz` (least squares on sine and cosine over
// whole periods' worth of frames).
double Amplitude(const std::vector<float>& x, size_t from, size_t to, double hz, double rate) {
    double s = 0, c = 0;
    for (size_t i = from; i < to; ++i) {
        const double phase = 2 * std::numbers::pi * hz * i / rate;
        s += x[i] * std::sin(phase);
        c += x[i] * std::cos(phase);
    }
    return 2 * std::hypot(s, c) / double(to - from);
}

TEST_F(KVSelectionTest, FrequencySelectionKeepsOnlyTheBand) {
    const double rate = 44100;
    const long long frames = 44100;
    std::vector<float> signal(frames);
    for (long long i = 0; i < frames; ++i) {
        const double t = i / rate;
        signal[i] = float(0.25 * std::sin(2 * std::numbers::pi * 300 * t) +
                          0.25 * std::sin(2 * std::numbers::pi * 1500 * t) +
                          0.25 * std::sin(2 * std::numbers::pi * 5000 * t));
    }
    LCutListAudio list = MakeList(signal);
    LProcessInterfaceVoid process;
    const KVSelection band{1000, 43000, 1000, 2000, true};
    const LCutListAudio result = band.Trim(process, list);
    ASSERT_EQ(result.GetLength(), 42000);
    ASSERT_EQ(result.GetSampleRate(), 44100);
    const std::vector<float> out = ReadAll(result);

    // Away from the ends, where the filter sees the whole of its window.
    const size_t from = 4410, to = 4410 + 33075;  // 0.75 s
    auto dB = [&](double hz) { return 20 * std::log10(Amplitude(out, from, to, hz, rate) / 0.25); };
    EXPECT_NEAR(dB(1500), 0.0, 0.5);
    EXPECT_LT(dB(300), -30.0);
    EXPECT_LT(dB(5000), -30.0);
}

}  // namespace
