#include "formats/LGenSourceDecoders.h"

#include "base/LByteOrder.h"
#include "base/LComponent.h"
#include "base/LFile.h"
#include "base/LFormatText.h"
#include "base/LProcessRunCommandLine.h"
#include "base/LSettings.h"
#include "formats/LTempWaveClaim.h"
#include "formats/external/LFFMPEGSourceManager.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWaveFileFormat.h"
#include "stream/LPRSourceToSink.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Order = LGenSourceDecoder::Order;

const std::vector<LGenSourceDecoder>& Table() {
    static const std::vector<LGenSourceDecoder> table = {
        {".oga", "oggdec3x64", nullptr, {"-o"}, Order::TempThenSource, {}},
        {".ogg", "oggdec3x64", nullptr, {"-o"}, Order::TempThenSource, {}},
        {".flac", nullptr, "flac", {"-d", "-o"}, Order::TempThenSource, {"-F"}},
        {".aac", "aacdec2", nullptr, {"-d", "-o"}, Order::TempThenSource, {}},
        {".m4a", "aacdec2", nullptr, {"-d", "-o"}, Order::TempThenSource, {}},
        {".m4r", "aacdec2", nullptr, {"-d", "-o"}, Order::TempThenSource, {}},
        {".mp4", "aacdec2", nullptr, {"-d", "-o"}, Order::TempThenSource, {}},
        // No program reads these here; FFmpeg takes them.
        {".caf", nullptr, nullptr, {}, Order::SourceThenTemp, {}},
        {".sd2", nullptr, nullptr, {}, Order::SourceThenTemp, {}},
        {".spx", "speexdec", nullptr, {}, Order::SourceThenTemp, {}},
        {".opus", nullptr, "opusdec", {}, Order::SourceThenTemp, {}},
        {".wma", "wmadec2x64", nullptr, {"-i"}, Order::SourceThenTemp, {"-vn", "-f", "wav"}},
        {".wmv", "wmadec2x64", nullptr, {"-i"}, Order::SourceThenTemp, {"-vn", "-f", "wav"}},
        {".mpc", "mpcdec3x64", nullptr, {}, Order::SourceThenTemp, {}},
    };
    return table;
}


constexpr const char* kComponentPage = "https://www.orvelsoftware.com/components/mac/index.html";

std::string MissingPluginText(const std::string& extension, bool componentNamed) {
    std::string text = componentNamed
        ? LFormatText("Kelvane Audio-Editor konnte Plug-in für die Datei mit der Endung \"%s\" nicht finden.\r\n\r\n"
                 "Sie müssen das Plug-in selbst herunterladen und installieren.", extension.c_str())
        : LFormatText("Kelvane Audio-Editor konnte Plug-in für die Datei mit der Endung \"%s\" nicht finden. Es scheint "
                 "kein Plug-in verfügbar zu sein, deshalb wird dieses Format nicht unterstützt.", extension.c_str());
    return text + "\r\n\r\n" + kComponentPage;
}

}  // namespace

const LGenSourceDecoder* LGenSourceDecoderFind(const std::string& extension) {
    for (const LGenSourceDecoder& row : Table()) {
        if (extension == row.extension) return &row;
    }
    return nullptr;
}

std::vector<std::string> LGenSourceDecoderArguments(const LGenSourceDecoder& row, const std::string& program,
                                                    const std::string& source, const std::string& wave) {
    std::vector<std::string> argv{program};
    argv.insert(argv.end(), row.options.begin(), row.options.end());
    argv.push_back(row.order == Order::TempThenSource ? wave : source);
    argv.insert(argv.end(), row.between.begin(), row.between.end());
    argv.push_back(row.order == Order::TempThenSource ? source : wave);
    return argv;
}

LGenSourceDecoderRun LGenSourceDecoderRunCommand(LProcessInterface& process, const std::string& extension,
                                                 const std::string& source, const LTempWaveClaim& claim) {
    LGenSourceDecoderRun run;
    const LGenSourceDecoder* row = LGenSourceDecoderFind(extension);
    std::string program;
    const bool found = row && (row->component ? LComponentGetPathDownload(process, row->component, &program)
                                              : row->program && LFindProgramOnPath(row->program, &program));
    if (!found) {
        run.outcome = LGenSourceDecoderRun::Outcome::NoComponent;
        run.message = MissingPluginText(extension, row && row->component);
        return run;
    }
    process.SetProgressIndeterminateOn();
    int exitCode = -1;
    const LProcessResult result = ProcessRunCommandLineProcessWithExitCode(
        process, LGenSourceDecoderArguments(*row, program, source, claim.WavePath()), &exitCode);
    process.SetProgressIndeterminateOff();
    // A stop of ours is a cancel; a tool's own exit 1 is a bad file (the
    // Debian tools say so with 1), which goes on to FFmpeg like any failure.
    if (result == LProcessStopped || process.IsToStop()) {
        run.outcome = LGenSourceDecoderRun::Outcome::Cancelled;
    } else if (result == LProcessOK && exitCode == 0) {
        run.outcome = LGenSourceDecoderRun::Outcome::Decoded;
    }
    return run;
}

namespace {

// A Wave sink that keeps the decoded precision: 16 or 24-bit PCM for integer
// sources of those sizes, 32-bit float otherwise (lossy codecs, and wider
// integers, would lose in 16 bits what they carry, overs above full scale too).
LSoundSink OpenPrecisionSink(const std::string& wave, int rate, int channels, int precision) {
    if (precision == 16 || precision == 24) return LWaveFile::OpenSinkPCM(wave, rate, channels, precision);
    LWaveFileFormat format = LWaveFileFormat::PCM(rate, channels, 32);
    format.formatTag = LWaveFileFormat::kTagFloat;
    return LWaveFile::OpenSink(wave, format);
}

// The Wave writer labels float samples with tag 1, as files of this program
// always were; our own temporary file says what it holds, so that it reads
// back as float.
bool LabelAsFloat(const std::string& wave) {
    LFile file;
    uint8_t tag[2];
    LByteOrder::PutLE16(tag, LWaveFileFormat::kTagFloat);
    return file.Open(wave.c_str(), O_RDWR) && file.WriteAllAt(tag, sizeof tag, 20);
}

std::string CompactName(const std::string& path) {
    const size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.size() > 45) name = name.substr(0, 21) + "..." + name.substr(name.size() - 21);
    return name;
}

}  // namespace

LProcessResult LGenSourceDecodeWithFFmpeg(LProcessInterface& process, const std::string& source,
                                          const std::string& wave) {
    LFFMPEGSourceManager manager;
    if (!manager.Open(source, [&process] { return process.IsToStop(); })) {
        return process.IsToStop() ? LProcessStopped : LProcessFailed;
    }
    LSoundSource decoded = manager.GetSoundSource(LUserSettingGet<int>("FFMPEGAUDIO", "SoundStreamIndex", -1));
    if (!decoded->IsOk()) return LProcessFailed;
    LSoundSink sink =
        OpenPrecisionSink(wave, decoded->GetSampleRate(), decoded->GetChannels(), LFFMPEGSourcePrecision(decoded));
    if (sink->HasFailed()) return LProcessFailed;

    process.SetStatus(CompactName(source).c_str(), 0);
    process.SetStatus("Bitte warten ...", 1);
    const long long estimate = LFFMPEGSourceEstimatedFrames(decoded);
    const int channels = decoded->GetChannels();
    std::vector<float> block(static_cast<size_t>(kCopyBlockFrames) * channels);
    // The source's end moves ahead as it decodes and is exact once reached.
    for (long long end = decoded->GetEndSample(); decoded->GetPositionSample() < end; end = decoded->GetEndSample()) {
        if (process.IsToStop()) return LProcessStopped;
        const long long frames = std::min(kCopyBlockFrames, end - decoded->GetPositionSample());
        decoded->Read(block.data(), frames);
        sink->Write(block.data(), frames);
        if (sink->HasFailed()) return LProcessFailed;
        if (estimate > 0) process.SetProgress(std::min(1.0, double(decoded->GetPositionSample()) / double(estimate)));
    }
    if (process.IsToStop()) return LProcessStopped;
    const bool isFloat = LFFMPEGSourcePrecision(decoded) == 0;
    sink.Close();  // the final header
    if (isFloat && !LabelAsFloat(wave)) return LProcessFailed;
    return decoded->GetPositionSample() > 0 ? LProcessOK : LProcessFailed;
}
