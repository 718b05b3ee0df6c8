#include "formats/LGenSink.h"

#include "base/LPathName.h"
#include "base/LPlatform.h"
#include "base/LSettings.h"
#include "formats/wave/LWAVEEncoderOptionsWindow.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWaveFileFormat.h"
#include "stream/LSoundSinkError.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>

namespace {

using Check = LGenSinkKey::Check;
constexpr const char* kRate = LGenSinkFormat::kDocumentRate;
constexpr const char* kChannels = LGenSinkFormat::kDocumentChannels;

// Channel counts the multichannel formats take: 1, 2, 3, 6 and 8, as bits
// of the count. (326, which older notes give for this set, lacks bit 3; the
// set as listed is what the writers take.)
constexpr int kChannelSetMask = 334;

LGenSinkKey Any(const char* name, const char* value) { return {name, value}; }
LGenSinkKey Range(const char* name, const char* value, int low, int high) {
    return {name, value, Check::Range, low, high};
}
LGenSinkKey ChannelSet(const char* name, const char* value) { return {name, value, Check::ChannelSet}; }
LGenSinkKey OneOf(const char* name, const char* value, int a, int b, int c = -1, int d = -1) {
    return {name, value, Check::OneOf, a, b, c, d};
}
LGenSinkKey MatchChannels() { return Any("MatchSourceChannels", ""); }
LGenSinkKey MatchRate() { return Any("MatchSourceSampleRate", ""); }

std::vector<LGenSinkKey> Mp3Keys() {
    return {Any("ConstantBitRate", "1"),         Range("CBRBitRate", "192", 8, 320),
            Any("HighQuality", ""),              Range("VBRMinBitRate", "32", 8, 320),
            Range("VBRMaxBitRate", "320", 8, 320), Range("VBRQuality", "4", 0, 9),
            Any("ErrorProtection", "0"),         Range("ChannelMode", "0", 0, 3),
            Range("Quality", "3", 0, 9),         Range("BitRateControlMethod", "1", 0, 3),
            Any("Lowpass", "0"),                 Any("ABRBitRate", "0"),
            Any("VersionStr", "")};
}

std::vector<LGenSinkKey> AacKeys() {
    return {Any("Profile", "0"), Any("BitRateControlMode", "1"), Range("ABRBitRate", "128", 16, 320),
            Range("VBRQuality", "100", 10, 500)};
}

std::vector<LGenSinkKey> Mpeg4Keys() {
    return {Any("CodecType", "0"), ChannelSet("Channels", kChannels), Range("SampleRate", kRate, 6000, 196000),
            Range("SampleSize", "16", 16, 32), MatchChannels(), MatchRate()};
}

std::vector<LGenSinkKey> AiffKeys() {
    return {ChannelSet("Channels", kChannels), Range("SampleRate", kRate, 6000, 196000), Any("SampleSize", "16"),
            Any("Format", "0"), MatchChannels(), MatchRate()};
}

std::vector<LGenSinkFormat> MakeFormats() {
    // Channel limits: one for the speech codecs, none for Wave and dictation
    // files, six for the MPEG-4 family, two for everything else.
    std::vector<LGenSinkFormat> f;
    f.push_back({".flac", "FlacEncoder", "LFlacEncoderOptionsWindow", nullptr, 2,
                 {Range("Compression", "2", 0, 4), Range("Channels", kChannels, 1, 2),
                  Range("SampleRate", kRate, 8000, 192000), OneOf("BitDepth", "16", 16, 24), MatchChannels(),
                  MatchRate()}});
    f.push_back({".wav", "WavSettings", "LWAVEEncoderOptionsWindow", nullptr, 0,
                 {Any("SampleRateAuto", ""), Any("ChansAuto", ""), Any("Preset", ""), Any("FormatAuto", ""),
                  Any("CodecIndex", "0")}});
    f.push_back({".mov", "MovEncoder", "LMovEncoderOptionsWindow", nullptr, 2,
                 {Range("CodecType", "1", 0, 2), Range("Channels", "2", 1, 2), Range("SampleRate", "44100", 6000, 196000),
                  Range("SampleSize", "16", 16, 24), MatchChannels(), MatchRate()},
                 "AACEncoder"});
    f.push_back({".aifc", "AIFFEncode", "LAIFFEncoderOptionsWindow", nullptr, 2, AiffKeys()});
    f.push_back({".caf", "ALACSettings", "LALACEncoderOptionsWindow", nullptr, 2,
                 {ChannelSet("NumChannels", "2"), Range("SampleRate", "44100", 6000, 196000),
                  Range("BitDepth", "16", 16, 32), MatchChannels(), MatchRate()}});
    f.push_back({".mp3", "MP3Encoder", "LMP3EncoderOptionsWindow", "mp3el5x64", 2, Mp3Keys()});
    f.push_back({".m4a", "M4AEncoder", "LM4AEncoderOptionsWindow", nullptr, 6, Mpeg4Keys(), "AACEncoder"});
    f.push_back({".m4r", "M4AEncoder", "LM4AEncoderOptionsWindow", nullptr, 6, Mpeg4Keys(), "AACEncoder"});
    f.push_back({".aac", "AACEncoder", "LAACEncoderOptionsWindow", nullptr, 6, AacKeys()});
    f.push_back({".amr", "AMREncoder", "LAMREncoderOptionsWindow", "amrenc2", 1, {Range("ModeRateSelection", "4", 0, 7)}});
    f.push_back({".ogg", "OggEncoder", "LOggEncoderOptionsWindow", "oggenc3x64", 2,
                 {Any("Quality", "1"), Range("VBRQuality", "4", 0, 10), Range("VBRMinBitRate", "96", 32, 224),
                  Range("VBRMaxBitRate", "128", 32, 224), ChannelSet("Channels", kChannels), Any("StripComments", ""),
                  MatchChannels()}});
    f.push_back({".opus", "OPUSEncoder", "LOPUSEncoderOptionsWindow", "opusencoder3x64", 2,
                 {Range("OpusBitrateType", "0", 0, 3), Range("Biterate", "64", 6, 256)}});
    f.push_back({".mpc", "MPCEncoder", "LMPCEncoderOptionsWindow", "mpcenc3x64", 2, {Range("Quality", "5", 3, 7)}});
    f.push_back({".spx", "SPXEncoder", "LSpeexEncoderOptionsWindow", "speexenc4x64", 1,
                 {Range("QualityOption", "1", 1, 4), Range("QualityPreset", "8", 0, 10), Range("CBRBitrate", "0", 0, 208),
                  Range("VBRBitrate", "0", 0, 208), Range("ABRBitrate", "120", 0, 208), Any("ApplyAGC", ""),
                  Any("ApplyDenoise", "")}});
    f.push_back({".aiff", "AIFFEncode", "LAIFFEncoderOptionsWindow", nullptr, 2, AiffKeys()});
    f.push_back({".aif", "AIFFEncode", "LAIFFEncoderOptionsWindow", nullptr, 2, AiffKeys()});
    f.push_back({".au", "AuEncoder", "LAUEncoderOptionsWindow", nullptr, 2,
                 {Range("CodecIndex", "0", 0, 3), Range("SampleRate", "44100", 6000, 196000), Range("Channels", "2", 1, 2),
                  MatchChannels(), MatchRate()}});
    f.push_back({".gsm", "", "", nullptr, 1, {}});
    f.push_back({".raw", "RawAudio", "LRawEncoderOptionsWindow", nullptr, 2,
                 {Range("SampleRate", kRate, 6000, 196000), ChannelSet("Channels", kChannels), Range("Codec", "3", 0, 9),
                  MatchChannels(), MatchRate()}});
    f.push_back({".rss", "RSSEncode", "LRSSEncodeDlg", "mp3el5x64", 2, {Any("RootURL", "")}, "MP3Encoder"});
    f.push_back({".vox", "VoxAudio", "LVoxEncoderOptionsWindow", nullptr, 2,
                 {Range("SampleRate", kRate, 6000, 196000), Range("Channels", kChannels, 1, 2), Range("Codec", "0", 0, 9),
                  MatchChannels(), MatchRate()}});
    for (const char* list : {".m3u", ".pls", ".wpl"}) {
        LGenSinkFormat playlist{list, "", "", nullptr, 0, {}};
        playlist.playlist = true;
        f.push_back(playlist);
    }
    f.push_back({".dct", "DCTEncoder", "LDCTEncoderOptionsWindow", nullptr, 0,
                 {OneOf("SampleRate", "22050", 22050, 16000, 11025, 8000), Any("Channels", "2"), MatchChannels()}});
    return f;
}


const std::vector<LGenSinkKey>& ExtraKeys(const LGenSinkFormat& format) {
    static const std::vector<LGenSinkKey> none;
    static const std::vector<LGenSinkKey> aac = AacKeys();
    static const std::vector<LGenSinkKey> mp3 = Mp3Keys();
    if (!format.extraSection) return none;
    return std::string_view(format.extraSection) == "AACEncoder" ? aac : mp3;
}

std::string DefaultValue(const LGenSinkKey& key, int rate, int channels) {
    const std::string_view value = key.defaultValue;
    if (value == kRate) return std::to_string(rate);
    if (value == kChannels) return std::to_string(channels);
    return std::string(value);
}

std::string StoredValue(const char* section, const LGenSinkKey& key, int rate, int channels) {
    return LUserSettingGetString(section, key.name, DefaultValue(key, rate, channels).c_str());
}

// The section's keys as a form; values that aren't usable show as defaults.
void AddFields(LOptionsForm& form, const char* section, const std::vector<LGenSinkKey>& keys, int rate,
               int channels) {
    for (const LGenSinkKey& key : keys) {
        std::string value = StoredValue(section, key, rate, channels);
        if (!LGenSinkValueIsUsable(key, value)) value = DefaultValue(key, rate, channels);
        form.fields.push_back({key.name, value, {}});
    }
}

bool KeysUsable(const char* section, const std::vector<LGenSinkKey>& keys, int rate, int channels) {
    return std::all_of(keys.begin(), keys.end(), [&](const LGenSinkKey& key) {
        return LGenSinkValueIsUsable(key, StoredValue(section, key, rate, channels));
    });
}

bool FileExists(const std::string& path) {
    struct stat st;
    return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

// The rules beyond each key's own range: a Wave format is usable once one
// has been chosen (its block file exists), a feed needs its address.
bool RowUsable(const LGenSinkFormat& format) {
    const std::string_view ext = format.extension;
    if (ext == ".wav") return FileExists(LWaveFileFormat::WavCodecFilePath());
    if (ext == ".rss") return !LUserSettingGetString("RSSEncode", "RootURL").empty();
    return true;
}

// The options window of the format; stores the answers when confirmed.
bool AskOptions(const LGenSinkFormat& format, int rate, int channels) {
    LPlatform* platform = LPlatform::Current();
    if (std::string_view(format.extension) == ".wav") {
        // The Wave window chooses a whole format block, not key values.
        LOptionsForm wave = LWAVEEncoderOptionsWindow::MakeForm();
        if (platform && !platform->EditOptions(wave)) return false;
        return LWAVEEncoderOptionsWindow::Apply(wave);
    }
    LOptionsForm form;
    form.windowClass = format.optionsWindow;
    form.section = format.section;
    AddFields(form, format.section, format.keys, rate, channels);
    const size_t ownFields = form.fields.size();
    AddFields(form, format.extraSection ? format.extraSection : "", ExtraKeys(format), rate, channels);
    LOptionsForm shown = form;
    if (platform && !platform->EditOptions(shown)) return false;
    const std::vector<LGenSinkKey>& extra = ExtraKeys(format);
    for (size_t i = 0; i < shown.fields.size() && i < form.fields.size(); ++i) {
        const bool own = i < ownFields;
        const LGenSinkKey& key = own ? format.keys[i] : extra[i - ownFields];
        const char* section = own ? format.section : format.extraSection;
        // An answer out of range keeps what the window offered.
        const std::string& value = LGenSinkValueIsUsable(key, shown.fields[i].value) ? shown.fields[i].value
                                                                                   : form.fields[i].value;
        LUserSettingSetString(section, key.name, value.c_str());
    }
    return true;
}

LSoundSink SinkError() { return MakeSink<LSoundSinkError>(); }

LSoundSink OpenWave(const LGenSinkRequest& request) {
    LWaveFileFormat format = LWaveFile::SaveFormat(request.sampleRate, request.channels,
                                                   LUserSettingGetBool("WavSettings", "SampleRateAuto", false),
                                                   LUserSettingGetBool("WavSettings", "ChansAuto", false));
    // Saving over a PCM Wave file keeps its format: a 24-bit file saved over
    // itself stays 24-bit.
    LWaveFileFormat existing;
    if (FileExists(request.target) && existing.LoadFromPCMWaveFile(request.target)) {
        format = LWaveFileFormat::PCM(request.sampleRate, request.channels, existing.bitsPerSample);
    }
    return LWaveFile::OpenSink(request.path, format);
}

}  // namespace

const std::vector<LGenSinkFormat>& LGenSinkFormats() {
    static const std::vector<LGenSinkFormat> formats = MakeFormats();
    return formats;
}


const LGenSinkFormat* LGenSinkFindFormat(std::string_view extension) {
    std::string ext = LPathLower(extension);
    if (!ext.empty() && ext[0] != '.') ext.insert(ext.begin(), '.');
    if (ext == ".m4b") ext = ".m4a";  // audio books share the MPEG-4 row
    for (const LGenSinkFormat& f : LGenSinkFormats()) {
        if (ext == f.extension) return &f;
    }
    return nullptr;
}

bool LGenSinkValueIsUsable(const LGenSinkKey& key, const std::string& value) {
    if (key.check == Check::Any) return true;
    int number = 0;
    if (!LSettingParseNumber(value.c_str(), &number)) return false;
    switch (key.check) {
        case Check::Range:
            return number >= key.low && number <= key.high;
        case Check::ChannelSet:
            return number >= 1 && number < 31 && ((kChannelSetMask >> number) & 1) != 0;
        case Check::OneOf:
            return number == key.low || number == key.high || number == key.third || number == key.fourth;
        case Check::Any:
            break;
    }
    return true;
}

std::string LGenSinkSettingValue(const LGenSinkFormat& format, const LGenSinkKey& key, int rate, int channels) {
    return StoredValue(format.section, key, rate, channels);
}

bool LGenSinkIsLossy(std::string_view extension) {
    const LGenSinkFormat* f = LGenSinkFindFormat(extension);
    if (!f) return false;
    const std::string_view ext = f->extension;
    if (ext == ".m4a" || ext == ".m4r") return LUserSettingGet<int>("M4AEncoder", "CodecType", 0) == 0;
    if (ext == ".mov") return LUserSettingGet<int>("MovEncoder", "CodecType", 1) == 1;
    for (const char* lossy : {".mp3", ".mpc", ".ogg", ".aac", ".opus", ".spx", ".amr", ".gsm", ".rss", ".dct", ".vox"}) {
        if (ext == lossy) return true;
    }
    return false;
}

bool LGenSinkGetComponentName(std::string* name, std::string_view extension) {
    const LGenSinkFormat* f = LGenSinkFindFormat(extension);
    if (!f || !f->component) return false;
    *name = f->component;
    return true;
}

bool LGenSinkCheckSettings(std::string_view extension, const std::string& /*path*/, int rate, int channels,
                           bool forceDialog) {
    const LGenSinkFormat* f = LGenSinkFindFormat(extension);
    if (!f || f->playlist) return false;
    if (!*f->optionsWindow) return true;  // nothing to choose
    const bool usable = KeysUsable(f->section, f->keys, rate, channels) &&
                        (!f->extraSection || KeysUsable(f->extraSection, ExtraKeys(*f), rate, channels)) &&
                        RowUsable(*f);
    if (usable && !forceDialog) return true;
    return AskOptions(*f, rate, channels);
}

bool LGenSinkIsAvailable(std::string_view extension) {
    const LGenSinkFormat* f = LGenSinkFindFormat(extension);
    return f && std::string_view(f->extension) == ".wav";
}

LSoundSink LGenSinkOpenSink(const LGenSinkRequest& request) {
    const LGenSinkFormat* f = LGenSinkFindFormat(LPathExtension(request.target));
    if (!f || f->playlist) return SinkError();
    if (std::string_view(f->extension) == ".wav") return OpenWave(request);
    return SinkError();  // the other writers come with their formats
}
