#include "formats/wave/LWaveFile.h"

#include "base/LByteOrder.h"
#include "base/LInputStreamFile.h"
#include "formats/wave/LRawFileDataSoundSink.h"
#include "formats/wave/LRawFileDataSoundSource.h"
#include "formats/wave/LRiffChunk.h"
#include "formats/wave/LSNKPCMFile.h"
#include "formats/wave/LSRCPCMFile.h"
#include "formats/wave/LWaveCodecRegistry.h"
#include "formats/wave/LWaveHeaderReader.h"
#include "stream/LSoundProcessBase.h"
#include "stream/LSoundSinkError.h"
#include "stream/LSoundSourceError.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

namespace {

LSoundSource ErrorSource(unsigned char code) { return MakeSource<LSoundSourceError>(code); }

template <class T>
LSoundSource MakePCMSource(LWaveSourceRequest& r, float peak) {
    const LWaveFileFormat& f = r.header.format;
    LSRCPCMFileBase::Options options{true, r.limits};
    return MakeSource<LSRCPCMFile<T>>(std::move(r.input), r.header.dataStart, r.header.dataLength,
                                      static_cast<int>(f.samplesPerSec), f.channels, peak, options);
}

LSoundSource OpenPCM(LWaveSourceRequest& r) {
    int bits = r.header.format.bitsPerSample;
    if (bits <= 8) return MakePCMSource<LSFU8>(r, kPeakIntegerPcm);
    if (bits <= 16) return MakePCMSource<LSF16>(r, kPeakIntegerPcm);
    if (bits <= 24) return MakePCMSource<LSFLE24>(r, kPeakIntegerPcm);
    return MakePCMSource<LSF32>(r, kPeakIntegerPcm);
}

LSoundSource OpenFloat(LWaveSourceRequest& r) {
    switch (r.header.format.bitsPerSample) {
        case 32: return MakePCMSource<LSFF32>(r, kPeakUnbounded);
        case 64: return MakePCMSource<LSFF64>(r, kPeakUnbounded);
        default: return ErrorSource(kSourceNoCodec);
    }
}

template <class T>
LSoundSource OpenG711(LWaveSourceRequest& r) {
    const LWaveFileFormat& f = r.header.format;
    return MakeSource<LRawFileDataSoundSource<T>>(std::move(r.input), r.header.dataStart, r.header.dataLength,
                                                  static_cast<int>(f.samplesPerSec), f.channels, kPeakCompanded);
}

LSoundSource OpenUnsupported(LWaveSourceRequest&) { return ErrorSource(kSourceUnsupported); }

struct BuiltInDecoder {
    uint16_t tag;
    LWaveSourceFactory open;
};

// Layouts no decoder here or elsewhere reads, refused before the registry is
// asked: IMA ADPCM is read in mono only, whatever registers tag 17.
struct RefusedLayout {
    uint16_t tag;
    uint16_t minChannels;
};
constexpr RefusedLayout kRefusedLayouts[] = {
    {LWaveFileFormat::kTagIMA, 2},
};

// Decoders of this folder; codecs that live elsewhere are found through
// LWaveCodecRegistry, which is asked first.
constexpr BuiltInDecoder kBuiltInDecoders[] = {
    {LWaveFileFormat::kTagPCM, OpenPCM},
    {LWaveFileFormat::kTagFloat, OpenFloat},
    {LWaveFileFormat::kTagALaw, OpenG711<LSFALAW>},
    {LWaveFileFormat::kTagMuLaw, OpenG711<LSFULAW>},
    {34, OpenUnsupported},  // DSP Group TrueSpeech
    {69, OpenUnsupported},  // G.726 ADPCM
};

LWaveSourceFactory FindDecoder(const LWaveFileFormat& format) {
    const uint16_t tag = format.formatTag;
    for (const RefusedLayout& r : kRefusedLayouts) {
        if (r.tag == tag && format.channels >= r.minChannels) return OpenUnsupported;
    }
    if (LWaveSourceFactory registered = LWaveCodecRegistry::FindSource(tag)) return registered;
    for (const BuiltInDecoder& d : kBuiltInDecoders) {
        if (d.tag == tag) return d.open;
    }
    return nullptr;
}

// Deletes its file once the last reference to the source is gone.
class LWavSourceDeleteWhenClosed final : public LSoundProcessBase {
public:
    LWavSourceDeleteWhenClosed(const LSoundSource& inner, const std::string& path)
        : LSoundProcessBase(inner), path_(path) {
        SetError(inner->GetError());
    }
    ~LWavSourceDeleteWhenClosed() override {
        inner_.Close();
        ::unlink(path_.c_str());
    }
    void Read(float* buffer, long long frames) override { inner_->Read(buffer, frames); }

private:
    std::string path_;
};

uint32_t WriteG711Header(LRawFileDataSoundSinkBase& sink, bool, uint16_t tag) {
    // Past 4 GiB the 32-bit fields can't hold the lengths. They saturate
    // rather than wrap: a wrapped length would make readers stop early, while
    // a length at the top reads as "to the end of the file".
    const long long bytes = sink.GetPositionSample() * sink.FrameSize();
    const uint32_t frames = static_cast<uint32_t>(std::min<long long>(sink.GetPositionSample(), 0xFFFFFFFFLL));
    const uint32_t dataBytes = static_cast<uint32_t>(std::min<long long>(bytes, 0xFFFFFFFFLL - 50));
    uint8_t h[58];
    riff::PutHeader(h, "RIFF", dataBytes + 50);
    std::memcpy(h + 8, "WAVE", 4);
    riff::PutHeader(h + 12, "fmt ", 18);
    LByteOrder::PutLE16(h + 20, tag);
    LByteOrder::PutLE16(h + 22, static_cast<uint16_t>(sink.GetChannels()));
    LByteOrder::PutLE32(h + 24, static_cast<uint32_t>(sink.GetSampleRate()));
    // Byte rate and block align as every earlier version wrote them, whatever
    // the channel count; readers derive the real values from the sample size.
    LByteOrder::PutLE32(h + 28, static_cast<uint32_t>(sink.GetSampleRate()));
    LByteOrder::PutLE16(h + 32, 8);
    LByteOrder::PutLE16(h + 34, 8);
    LByteOrder::PutLE16(h + 36, 0);
    riff::PutHeader(h + 38, "fact", 4);
    LByteOrder::PutLE32(h + 46, frames);
    riff::PutHeader(h + 50, "data", dataBytes);
    return sink.File().WriteAllAt(h, sizeof h, 0) ? sizeof h : 0;
}

uint32_t WriteALawHeader(LRawFileDataSoundSinkBase& sink, bool final) {
    return WriteG711Header(sink, final, LWaveFileFormat::kTagALaw);
}
uint32_t WriteMuLawHeader(LRawFileDataSoundSinkBase& sink, bool final) {
    return WriteG711Header(sink, final, LWaveFileFormat::kTagMuLaw);
}

LSoundSink SinkFailed() { return MakeSink<LSoundSinkError>(); }

// Makes the sink; one that failed to open its file gives way to an error sink.
template <class Sink, class... Args>
LSoundSink Checked(Args&&... args) {
    LSoundSink handle = MakeSink<Sink>(std::forward<Args>(args)...);
    return handle->HasFailed() ? SinkFailed() : handle;
}

}  // namespace

LSoundSource LWaveFile::OpenSource(const std::string& path, const LWaveLimits& limits) {
    // Unbuffered: the file may still be growing, and the source reads its
    // header again to follow it.
    auto file = std::make_unique<LInputStreamFile>(path, LInputStreamFile::kUnbuffered);
    if (!file->IsOpen()) return ErrorSource(kSourceNoFile);
    return OpenSource(std::move(file), limits);
}

LSoundSource LWaveFile::OpenSource(std::unique_ptr<LInputStream> input, const LWaveLimits& limits) {
    if (!input) return ErrorSource(kSourceNoFile);
    LWaveHeaderInfo header;
    unsigned char error = LWaveReadFormatChunk(*input, header);
    if (error == kSourceOk) error = LWaveFindDataChunk(*input, header);
    if (error != kSourceOk) return ErrorSource(error);

    LWaveSourceFactory open = FindDecoder(header.format);
    if (!open) return ErrorSource(kSourceNoCodec);
    input->Seek(header.dataStart);
    LWaveSourceRequest request{input, header, limits};
    LSoundSource source = open(request);
    if (!source->IsOk()) return ErrorSource(source->GetError());
    return source;
}

LSoundSource LWaveFile::OpenSourceDeletingFileWhenClosed(const std::string& path) {
    return MakeSource<LWavSourceDeleteWhenClosed>(OpenSource(path), path);
}

LSoundSink LWaveFile::OpenSinkPCM(const std::string& path, int sampleRate, int channels, int bits,
                                  long long /*framesHint*/, const LWaveLimits& limits) {
    if (sampleRate < 1 || channels < 1 || channels > 255) return SinkFailed();
    if (bits < 9) return Checked<LSNKPCMFile<LSFU8>>(path, sampleRate, channels, limits);
    if (bits < 17) return Checked<LSNKPCMFile<LSF16>>(path, sampleRate, channels, limits);
    if (bits < 25) return Checked<LSNKPCMFile<LSFLE24>>(path, sampleRate, channels, limits);
    return Checked<LSNKPCMFile<LSF32>>(path, sampleRate, channels, limits);
}

LSoundSink LWaveFile::OpenSink(const std::string& path, const LWaveFileFormat& format, const LWaveLimits& limits) {
    const int rate = static_cast<int>(format.samplesPerSec);
    const int channels = format.channels;
    if (LWaveSinkFactory registered = LWaveCodecRegistry::FindSink(format.formatTag)) {
        return registered(path, format, limits);
    }
    if (rate < 1 || channels < 1 || channels > 255) return SinkFailed();
    switch (format.formatTag) {
        case LWaveFileFormat::kTagPCM:
            return OpenSinkPCM(path, rate, channels, format.bitsPerSample, 0, limits);
        case LWaveFileFormat::kTagFloat:
            if (format.bitsPerSample != 32) return SinkFailed();
            return Checked<LSNKPCMFile<LSFF32>>(path, rate, channels, limits);
        case LWaveFileFormat::kTagALaw:
            return Checked<LRawFileDataSoundSink<LSFALAW>>(path, rate, channels, WriteALawHeader, true);
        case LWaveFileFormat::kTagMuLaw:
            return Checked<LRawFileDataSoundSink<LSFULAW>>(path, rate, channels, WriteMuLawHeader, true);
        default:
            return SinkFailed();
    }
}

LWaveFileFormat LWaveFile::SaveFormat(int sampleRate, int channels, bool rateFromDocument, bool channelsFromDocument) {
    LWaveFileFormat format = LWaveFileFormat::PCM(sampleRate, channels, 16);
    std::string wff = LWaveFileFormat::WavCodecFilePath();
    if (!wff.empty()) format.LoadFromWavCodecFile(wff);
    if (rateFromDocument) format.samplesPerSec = static_cast<uint32_t>(sampleRate);
    if (channelsFromDocument) format.channels = static_cast<uint16_t>(channels);
    return format;
}
