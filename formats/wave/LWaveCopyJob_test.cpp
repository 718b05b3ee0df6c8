// Saving is the copy job writing into a Wave sink: these tests run the job
// end to end between files and check the results with sox.
#include "base/testing/TestSupport.h"
#include "formats/wave/LWaveFile.h"
#include "stream/LPRSourceToSink.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Samples16(const std::string& path) {
    std::string out;
    kvtest::RunCommand("sox " + kvtest::ShellQuote(path) + " -t s16 -", &out);
    return out;
}

LProcessResult Copy(const std::string& from, LSoundSink sink) {
    LPRSourceToSink job;
    job.title = "Speichern";
    job.source = LWaveFile::OpenSource(from);
    job.sink = sink;
    LProcessInterfaceVoid process;
    LProcessResult result = Process(process, job);
    job.sink.Close();  // the last reference writes the final header
    return result;
}

TEST(WaveCopyJob, SixteenBitAudioSurvivesTheCopyBitForBit) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const std::string in = dir.File("in.wav"), out = dir.File("out.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -D -n -r 44100 -c 2 -b 16 " + in + " synth 2.5 sine 440 sine 1000 gain -1"), 0);
    ASSERT_EQ(Copy(in, LWaveFile::OpenSinkPCM(out, 44100, 2, 16)), LProcessOK);
    std::string expected = Samples16(in);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(Samples16(out), expected);
}

TEST(WaveCopyJob, ConvertsRateAndChannelsToTheSink) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const std::string in = dir.File("in.wav"), out = dir.File("out.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -D -n -r 44100 -c 2 -b 24 " + in + " synth 1.47 sine 1000 gain -3"), 0);
    ASSERT_EQ(Copy(in, LWaveFile::OpenSinkPCM(out, 48000, 1, 16)), LProcessOK);
    std::string rate, channels, frames;
    kvtest::RunCommand("sox --i -r " + out, &rate);
    kvtest::RunCommand("sox --i -c " + out, &channels);
    kvtest::RunCommand("sox --i -s " + out, &frames);
    EXPECT_EQ(std::stoi(rate), 48000);
    EXPECT_EQ(std::stoi(channels), 1);
    EXPECT_EQ(std::stoll(frames), 64827LL * 160 / 147);  // 1.47 s at 44100 Hz, mapped to 48000 Hz
}

TEST(WaveCopyJob, LoudFloatAudioIsLimitedNotWrapped) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const std::string in = dir.File("in.wav"), out = dir.File("out.wav");
    // A float file peaking at +6 dBFS: without the limiter the 16-bit writer
    // would wrap its tails around.
    ASSERT_EQ(kvtest::RunCommand("sox -D -n -r 44100 -c 1 -e floating-point -b 32 " + in +
                                 " synth 1 sine 1000 gain 6"),
              0);
    ASSERT_EQ(Copy(in, LWaveFile::OpenSinkPCM(out, 44100, 1, 16)), LProcessOK);
    std::string stats;
    kvtest::RunCommand("sox " + out + " -n stat 2>&1", &stats);
    double maximum = std::stod(stats.substr(stats.find("Maximum amplitude:") + 18));
    double minimum = std::stod(stats.substr(stats.find("Minimum amplitude:") + 18));
    EXPECT_GT(maximum, 0.99);
    EXPECT_LT(minimum, -0.99);
    EXPECT_LE(maximum, 1.0);
    EXPECT_GE(minimum, -1.0);
    double roughness = std::stod(stats.substr(stats.find("Rough   frequency:") + 18));
    EXPECT_LT(roughness, 2000);  // a wrapped sine would be full of high-frequency edges
}

}  // namespace
