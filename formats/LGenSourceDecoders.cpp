#include "formats/LGenSourceDecoders.h"

#include "base/LComponent.h"
#include "base/LProcessRunCommandLine.h"
#include "formats/LTempWaveClaim.h"

#include <cstdio>
#include <string>

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

std::string Format(const char* format, const std::string& a) {
    char text[1024];
    std::snprintf(text, sizeof text, format, a.c_str());
    return text;
}

constexpr const char* kComponentPage = "https://www.orvelsoftware.com/components/mac/index.html";

std::string MissingPluginText(const std::string& extension, bool componentNamed) {
    std::string text = componentNamed
        ? Format("Kelvane Audio-Editor konnte Plug-in für die Datei mit der Endung \"%s\" nicht finden.\r\n\r\n"
                 "Sie müssen das Plug-in selbst herunterladen und installieren.",
                 extension)
        : Format("Kelvane Audio-Editor konnte Plug-in für die Datei mit der Endung \"%s\" nicht finden. Es scheint "
                 "kein Plug-in verfügbar zu sein, deshalb wird dieses Format nicht unterstützt.",
                 extension);
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

LProcessResult LGenSourceDecodeWithFFmpeg(LProcessInterface& process, const std::string& source,
                                          const std::string& wave) {
    (void)process;
    (void)source;
    (void)wave;
    return LProcessFailed;
}
