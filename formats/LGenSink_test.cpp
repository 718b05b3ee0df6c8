#include "formats/LGenSink.h"

#include "base/LHeadlessPlatform.h"
#include "base/LPathName.h"
#include "base/LSettings.h"
#include "base/testing/TestSupport.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWaveFileFormat.h"
#include "formats/wave/testing/WaveTestSupport.h"
#include "stream/LSoundSinkError.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <vector>

namespace {

class GenSinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform_.SetQuiet(true);
        for (const char* section : {"FlacEncoder", "WavSettings", "M4AEncoder", "RawAudio", "RSSEncode", "MP3Encoder"})
            LUserSettingDeleteSection(section);
        unlink(LWaveFileFormat::WavCodecFilePath().c_str());
    }

    LHeadlessPlatform platform_;
    LPlatformScope scope_{platform_};
};

TEST_F(GenSinkTest, TheTwentyFiveSaveExtensionsInTheirOrder) {
    std::vector<std::string> got;
    for (const LGenSinkFormat& f : LGenSinkFormats()) got.push_back(f.extension);
    const std::vector<std::string> want = {".flac", ".wav", ".mov", ".aifc", ".caf", ".mp3", ".m4a", ".m4r", ".aac",
                                           ".amr",  ".ogg", ".opus", ".mpc", ".spx", ".aiff", ".aif", ".au",  ".gsm",
                                           ".raw",  ".rss", ".vox", ".m3u", ".pls", ".wpl",  ".dct"};
    EXPECT_EQ(got, want);
    EXPECT_NE(LGenSinkFindFormat("WAV"), nullptr);
    EXPECT_NE(LGenSinkFindFormat(".M4B"), nullptr);
    EXPECT_EQ(LGenSinkFindFormat(".xyz"), nullptr);
    EXPECT_EQ(LPathExtension("/a.b/Song.FLAC"), ".flac");
    EXPECT_EQ(LPathExtension("/a.b/noext"), "");
}

TEST_F(GenSinkTest, ChannelLimitsLossinessAndComponents) {
    auto max = [](const char* ext) { return LGenSinkFindFormat(ext)->channelMax; };
    EXPECT_EQ(max(".gsm"), 1);
    EXPECT_EQ(max(".spx"), 1);
    EXPECT_EQ(max(".amr"), 1);
    EXPECT_EQ(max(".wav"), 0);
    EXPECT_EQ(max(".dct"), 0);
    EXPECT_EQ(max(".mp3"), 2);
    EXPECT_EQ(max(".flac"), 2);
    EXPECT_EQ(max(".m4a"), 6);
    EXPECT_EQ(max(".aac"), 6);

    EXPECT_TRUE(LGenSinkIsLossy(".mp3"));
    EXPECT_FALSE(LGenSinkIsLossy(".flac"));
    EXPECT_TRUE(LGenSinkIsLossy(".m4a"));  // AAC unless ALAC is chosen
    LUserSettingSetString("M4AEncoder", "CodecType", "1");
    EXPECT_FALSE(LGenSinkIsLossy(".m4a"));

    std::string name;
    EXPECT_TRUE(LGenSinkGetComponentName(&name, ".ogg"));
    EXPECT_EQ(name, "oggenc3x64");
    EXPECT_TRUE(LGenSinkGetComponentName(&name, ".mp3"));
    EXPECT_EQ(name, "mp3el5x64");
    EXPECT_FALSE(LGenSinkGetComponentName(&name, ".wav"));
}

TEST_F(GenSinkTest, ChannelSetIsOneTwoThreeSixEight) {
    const LGenSinkKey key{"Channels", "2", LGenSinkKey::Check::ChannelSet};
    std::vector<int> usable;
    for (int c = -1; c <= 40; ++c) {
        if (LGenSinkValueIsUsable(key, std::to_string(c))) usable.push_back(c);
    }
    EXPECT_EQ(usable, (std::vector<int>{1, 2, 3, 6, 8}));
    EXPECT_FALSE(LGenSinkValueIsUsable(key, "two"));
}

TEST_F(GenSinkTest, UsableSettingsNeedNoWindowUnlessForced) {
    EXPECT_TRUE(LGenSinkCheckSettings(".flac", "", 44100, 2, false));
    EXPECT_TRUE(platform_.OptionsShown().empty());
    EXPECT_TRUE(LGenSinkCheckSettings(".flac", "", 44100, 2, true));
    ASSERT_EQ(platform_.OptionsShown().size(), 1u);
    EXPECT_EQ(platform_.OptionsShown()[0].windowClass, "LFlacEncoderOptionsWindow");
    EXPECT_TRUE(LGenSinkCheckSettings(".gsm", "", 44100, 2, true));  // nothing to choose
    EXPECT_EQ(platform_.OptionsShown().size(), 1u);
    EXPECT_FALSE(LGenSinkCheckSettings(".pls", "", 44100, 2, false));
    EXPECT_FALSE(LGenSinkCheckSettings(".xyz", "", 44100, 2, false));
}

TEST_F(GenSinkTest, OutOfRangeValuesShowAsDefaultsAndAreStoredOnConfirm) {
    LUserSettingSetString("FlacEncoder", "Compression", "9");
    LUserSettingSetString("FlacEncoder", "BitDepth", "20");
    EXPECT_TRUE(LGenSinkCheckSettings(".flac", "", 48000, 1, false));
    ASSERT_EQ(platform_.OptionsShown().size(), 1u);
    const LOptionsForm form = platform_.OptionsShown()[0];
    auto field = [&](const char* key) {
        for (const LOptionsField& f : form.fields)
            if (f.key == key) return f.value;
        return std::string("?");
    };
    EXPECT_EQ(field("Compression"), "2");
    EXPECT_EQ(field("BitDepth"), "16");
    EXPECT_EQ(field("SampleRate"), "48000");  // the document's
    EXPECT_EQ(field("Channels"), "1");
    EXPECT_EQ(LUserSettingGetString("FlacEncoder", "Compression"), "2");
    EXPECT_EQ(LUserSettingGetString("FlacEncoder", "BitDepth"), "16");
    // Now usable: no window.
    EXPECT_TRUE(LGenSinkCheckSettings(".flac", "", 48000, 1, false));
    EXPECT_EQ(platform_.OptionsShown().size(), 1u);
}

TEST_F(GenSinkTest, CancelledWindowStoresNothing) {
    LUserSettingSetString("FlacEncoder", "Compression", "9");
    platform_.ScriptOptionsAnswer([](LOptionsForm&) { return false; });
    EXPECT_FALSE(LGenSinkCheckSettings(".flac", "", 44100, 2, false));
    EXPECT_EQ(LUserSettingGetString("FlacEncoder", "Compression"), "9");

    // A confirmed answer out of range keeps what the window offered.
    platform_.ScriptOptionsAnswer([](LOptionsForm& form) {
        for (LOptionsField& f : form.fields)
            if (f.key == "Compression") f.value = "7";
        return true;
    });
    EXPECT_TRUE(LGenSinkCheckSettings(".flac", "", 44100, 2, false));
    EXPECT_EQ(LUserSettingGetString("FlacEncoder", "Compression"), "2");
}

TEST_F(GenSinkTest, WaveNeedsAChosenFormatAndFeedsNeedTheirAddress) {
    EXPECT_TRUE(LGenSinkCheckSettings(".wav", "", 44100, 2, false));
    EXPECT_EQ(platform_.OptionsShown().size(), 1u);  // no WavCodec.wff yet
    ASSERT_TRUE(LWaveFileFormat::PCM(44100, 2, 16).SaveToWavCodecFile(LWaveFileFormat::WavCodecFilePath()));
    EXPECT_TRUE(LGenSinkCheckSettings(".wav", "", 44100, 2, false));
    EXPECT_EQ(platform_.OptionsShown().size(), 1u);

    EXPECT_TRUE(LGenSinkCheckSettings(".rss", "", 44100, 2, false));
    EXPECT_EQ(platform_.OptionsShown().size(), 2u);
    LUserSettingSetString("RSSEncode", "RootURL", "https://example.org/feed");
    EXPECT_TRUE(LGenSinkCheckSettings(".rss", "", 44100, 2, false));
    EXPECT_EQ(platform_.OptionsShown().size(), 2u);
}

bool IsErrorSink(const LSoundSink& sink) { return dynamic_cast<LSoundSinkError*>(sink.Get()) != nullptr; }

TEST_F(GenSinkTest, UnknownPlaylistAndMissingWritersGiveErrorSinks) {
    kvtest::TempDir dir;
    for (const char* name : {"x.xyz", "x.m3u", "x.mp3", "x"}) {
        LGenSinkRequest request{dir.File(name), dir.File(name), 44100, 2};
        EXPECT_TRUE(IsErrorSink(LGenSinkOpenSink(request))) << name;
    }
}

TEST_F(GenSinkTest, WaveSinkWrites16BitAtTheDocumentFormatAndKeepsAnExistingTargetsBits) {
    KV_REQUIRE_TOOL("sox");
    kvtest::TempDir dir;
    const std::string fresh = dir.File("fresh.wav");
    {
        LSoundSink sink = LGenSinkOpenSink({fresh, fresh, 22050, 2});
        ASSERT_FALSE(IsErrorSink(sink));
        std::vector<float> frames(2000, 0.25f);
        sink->Write(frames.data(), 1000);
    }
    const std::string q = kvtest::ShellQuote(fresh);
    EXPECT_EQ(wavetest::Sh("soxi -b " + q + "; soxi -r " + q + "; soxi -c " + q + "; soxi -s " + q),
              "16\n22050\n2\n1000\n");

    const std::string deep = dir.File("deep.wav");
    ASSERT_EQ(kvtest::RunCommand("sox -n -r 48000 -c 1 -b 24 " + kvtest::ShellQuote(deep) + " synth 0.1 sine 440"), 0);
    const std::string temp = dir.File(".deep.wav.part");
    {
        LSoundSink sink = LGenSinkOpenSink({temp, deep, 48000, 1});
        std::vector<float> frames(100, 0.5f);
        sink->Write(frames.data(), 100);
    }
    EXPECT_EQ(wavetest::Sh("soxi -b " + kvtest::ShellQuote(temp)), "24\n");
}

TEST_F(GenSinkTest, WaveWindowChoosesTheFormatBlockAndTheSaveFollowsIt) {
    KV_REQUIRE_TOOL("sox");
    // Confirmed as it stands: PCM at the document's rate and channels.
    EXPECT_TRUE(LGenSinkCheckSettings(".wav", "", 22050, 1, true));
    ASSERT_EQ(platform_.OptionsShown().size(), 1u);
    const LOptionsForm shown = platform_.OptionsShown()[0];
    ASSERT_EQ(shown.fields.size(), 4u);
    EXPECT_EQ(shown.fields[0].choices, (std::vector<std::string>{"PCM", "GSM 6.10", "A-Law", "mu-Law"}));
    EXPECT_EQ(shown.fields[1].value, "An Quelle angleichen");
    EXPECT_EQ(shown.fields[2].choices.size(), 13u);
    EXPECT_EQ(shown.fields[3].value, "16 bits Integer");
    kvtest::TempDir dir;
    const std::string plain = dir.File("plain.wav");
    { LGenSinkOpenSink({plain, plain, 22050, 1}); }
    EXPECT_EQ(wavetest::Sh("soxi -r " + kvtest::ShellQuote(plain)), "22050\n");

    // mu-law at 8000 Hz mono: the size is fixed at 8 bits.
    platform_.ScriptOptionsAnswer([](LOptionsForm& form) {
        form.fields[0].value = "mu-Law";
        form.fields[1].value = "Mono";
        form.fields[2].value = "8000 Hz";
        form.fields[3].value = "24 bits Integer";
        return true;
    });
    EXPECT_TRUE(LGenSinkCheckSettings(".wav", "", 44100, 2, true));
    const std::string mu = dir.File("mu.wav");
    {
        LSoundSink sink = LGenSinkOpenSink({mu, mu, 44100, 2});
        std::vector<float> frames(200, 0.25f);
        sink->Write(frames.data(), 100);
    }
    const std::string q = kvtest::ShellQuote(mu);
    EXPECT_EQ(wavetest::Sh("soxi -e " + q + "; soxi -r " + q + "; soxi -c " + q), "u-law\n8000\n1\n");
    // The next window shows that choice.
    EXPECT_TRUE(LGenSinkCheckSettings(".wav", "", 44100, 2, true));
    const LOptionsForm again = platform_.OptionsShown().back();
    EXPECT_EQ(again.fields[0].value, "mu-Law");
    EXPECT_EQ(again.fields[1].value, "Mono");
    EXPECT_EQ(again.fields[2].value, "8000 Hz");
}

}  // namespace
