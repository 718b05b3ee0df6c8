#include "formats/wave/LWAVEEncoderOptionsWindow.h"

#include "base/LSettings.h"
#include "formats/wave/LWaveFileFormat.h"

#include <iterator>
#include <string>

namespace {

constexpr const char* kSection = "WavSettings";
constexpr const char* kMatch = "An Quelle angleichen";

struct Codec {
    const char* name;
    uint16_t tag;
};
constexpr Codec kCodecs[] = {{"PCM", LWaveFileFormat::kTagPCM},
                             {"GSM 6.10", LWaveFileFormat::kTagGSM},
                             {"A-Law", LWaveFileFormat::kTagALaw},
                             {"mu-Law", LWaveFileFormat::kTagMuLaw}};

struct Channels {
    const char* name;
    int count;  // 0: match the source
};
constexpr Channels kChannels[] = {{kMatch, 0}, {"Mono", 1}, {"Stereo", 2}, {"5.1", 6}, {"7.1", 8}};

constexpr int kRates[] = {6000, 8000, 11025, 16000, 22050, 32000, 44100, 48000, 64000, 88200, 96000, 192000};
constexpr int kMatchedRate = 44100;  // what the block holds while the rate follows the source
constexpr int kBits[] = {16, 8, 24, 32};

std::string RateName(int rate) { return std::to_string(rate) + " Hz"; }
std::string BitsName(int bits) { return std::to_string(bits) + " bits Integer"; }

const std::string* Answer(const LOptionsForm& form, const char* key) {
    for (const LOptionsField& field : form.fields) {
        if (field.key == key) return &field.value;
    }
    return nullptr;
}

}  // namespace

LOptionsForm LWAVEEncoderOptionsWindow::MakeForm() {
    LWaveFileFormat stored = LWaveFileFormat::PCM(kMatchedRate, 2, 16);
    // Without a chosen block the saves follow the document; with one, the
    // keys read as the save path reads them (absent: not matched).
    const bool chosen = stored.LoadFromWavCodecFile(LWaveFileFormat::WavCodecFilePath());
    const bool matchChannels = LUserSettingGetBool(kSection, "ChansAuto", !chosen);
    const bool matchRate = LUserSettingGetBool(kSection, "SampleRateAuto", !chosen);

    LOptionsForm form;
    form.windowClass = "LWAVEEncoderOptionsWindow";
    form.section = kSection;
    LOptionsField codec{"CodecIndex", kCodecs[0].name, {}};
    for (const Codec& c : kCodecs) {
        codec.choices.push_back(c.name);
        if (c.tag == stored.formatTag) codec.value = c.name;
    }
    LOptionsField channels{"ChansAuto", kMatch, {}};
    for (const Channels& c : kChannels) {
        channels.choices.push_back(c.name);
        if (!matchChannels && c.count == stored.channels) channels.value = c.name;
    }
    LOptionsField rate{"SampleRateAuto", kMatch, {kMatch}};
    for (int r : kRates) {
        rate.choices.push_back(RateName(r));
        if (!matchRate && static_cast<uint32_t>(r) == stored.samplesPerSec) rate.value = RateName(r);
    }
    LOptionsField bits{"Bits", BitsName(16), {}};
    for (int b : kBits) {
        bits.choices.push_back(BitsName(b));
        if (b == stored.bitsPerSample && stored.formatTag == LWaveFileFormat::kTagPCM) bits.value = BitsName(b);
    }
    form.fields = {codec, channels, rate, bits};
    return form;
}

bool LWAVEEncoderOptionsWindow::Apply(const LOptionsForm& form) {
    const std::string* codecName = Answer(form, "CodecIndex");
    int codec = -1;
    for (size_t i = 0; codecName && i < std::size(kCodecs); ++i) {
        if (*codecName == kCodecs[i].name) codec = static_cast<int>(i);
    }
    if (codec < 0) return false;

    int channels = 0;  // matched
    if (const std::string* answer = Answer(form, "ChansAuto")) {
        for (const Channels& c : kChannels) {
            if (*answer == c.name) channels = c.count;
        }
    }
    int rate = 0;  // matched
    if (const std::string* answer = Answer(form, "SampleRateAuto")) {
        for (int r : kRates) {
            if (*answer == RateName(r)) rate = r;
        }
    }
    int bits = 16;
    if (const std::string* answer = Answer(form, "Bits")) {
        for (int b : kBits) {
            if (*answer == BitsName(b)) bits = b;
        }
    }

    const uint16_t tag = kCodecs[codec].tag;
    if (tag == LWaveFileFormat::kTagGSM) {
        rate = 8000;
        channels = 1;
    }
    if (tag == LWaveFileFormat::kTagALaw || tag == LWaveFileFormat::kTagMuLaw) bits = 8;
    LWaveFileFormat format = LWaveFileFormat::PCM(rate > 0 ? rate : kMatchedRate, channels > 0 ? channels : 2, bits);
    format.formatTag = tag;
    if (!format.SaveToWavCodecFile(LWaveFileFormat::WavCodecFilePath())) return false;
    LUserSettingSetString(kSection, "CodecIndex", std::to_string(codec).c_str());
    LUserSettingSetBool(kSection, "ChansAuto", channels == 0);
    LUserSettingSetBool(kSection, "SampleRateAuto", rate == 0);
    return true;
}
