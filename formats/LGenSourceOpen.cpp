#include "formats/LGenSourceOpen.h"

#include "base/LFile.h"
#include "base/LFormatText.h"
#include "base/LPathName.h"
#include "formats/LGenSourceDecoders.h"
#include "formats/LTempWaveClaim.h"
#include "formats/wave/LWaveCodecNames.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWaveFileFormat.h"
#include "stream/LSoundSourceError.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>

namespace {

const char* const kOpenExtensions[] = {
    ".wav",  ".mp3", ".flac", ".mp1", ".mp2", ".mpga", ".aif", ".aiff", ".aifc", ".au",   ".aup",  ".gsm",
    ".vox",  ".qcp", ".raw",  ".dct", ".amr", ".dart", ".mpg", ".mpeg", ".avi",  ".m4r",  ".voc",  ".aac",
    ".m4a",  ".mp4", ".wma",  ".ra",  ".ram", ".rm",   ".rmj", ".caf",  ".ds2",  ".act",  ".rcd",  ".rec",
    ".shn",  ".mpc", ".wmv",  ".asf", ".ape", ".spx",  ".cda", ".wv",   ".mid",  ".smf",  ".moh",  ".mov",
    ".opus", ".dss", ".oga",  ".ogg", ".mpc", ".3gp",  ".3g2", ".3gpp", ".mod",  ".flv",  ".mkv",  ".aud",
};

// Where the component pages are; the paths are fixed, the host is ours.
constexpr const char* kComponentPage = "https://www.orvelsoftware.com/components/mac/index.html";
constexpr const char* kFormatsPage = "https://www.orvelsoftware.com/acm/de/formats.html";
constexpr const char* kCodecPage = "https://www.orvelsoftware.com/acm/de/index.html";




bool IsOneOf(const std::string& ext, std::initializer_list<const char*> list) {
    return std::any_of(list.begin(), list.end(), [&](const char* e) { return ext == e; });
}

unsigned char ErrorOf(const LSoundSource& source) { return source->GetError(); }
LSoundSource Error(unsigned char code) { return MakeSource<LSoundSourceError>(code); }

// ---- first rung: our own readers ------------------------------------------------

struct ReaderTable {
    std::mutex mutex;
    std::map<std::string, LGenSourceReader> readers;
};

ReaderTable& Readers() {
    static ReaderTable table;
    return table;
}

LSoundSource OpenWave(const std::string& path, LGenSourceOpenInterfaceProcess&) { return LWaveFile::OpenSource(path); }

LGenSourceReader FindReader(const std::string& ext) {
    if (ext == ".wav") return OpenWave;
    // The rest of the table is filled by registration: readers of formats
    // that come later answer for their extensions, until then those files go
    // on to the rungs below.
    ReaderTable& table = Readers();
    std::lock_guard<std::mutex> lock(table.mutex);
    auto it = table.readers.find(ext);
    return it == table.readers.end() ? nullptr : it->second;
}

// ---- the ladder ----------------------------------------------------------------

class Opening {
public:
    Opening(LGenSourceOpenInterfaceProcess& process, std::string path, bool quiet, const char* tempFolder)
        : process_(process), path_(std::move(path)), ext_(LPathExtension(path_)), quiet_(quiet),
          tempFolder_(tempFolder ? tempFolder : "") {}

    LProcessResult Run(LSoundSource& out);

private:
    bool Stopped() { return process_.IsToStop(); }
    std::string TempFolder() const;
    LProcessResult Fail(LSoundSource& out, LSoundSource failed);
    // Rung 3 and the generic route: true when `source_` holds what a decoder made.
    void RunDecoderRungs();
    void RunGenericRoute();
    void RunFFmpeg();
    bool OpenDecodedWave();

    LGenSourceOpenInterfaceProcess& process_;
    const std::string path_;
    const std::string ext_;
    const bool quiet_;
    const std::string tempFolder_;
    LTempWaveClaim temp_;
    LSoundSource source_ = Error(kSourceUnsupported);
    // The plug-in message of the generic route, shown only when FFmpeg fails too.
    std::string pendingMessage_;
    bool cancelled_ = false;
};

std::string Opening::TempFolder() const {
    struct stat st;
    for (const std::string& folder : {tempFolder_, process_.TempFolder()}) {
        if (!folder.empty() && ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return folder;
    }
    return LFile::GetTempFolder();
}

LProcessResult Opening::Run(LSoundSource& out) {
    // First rung: our own reader of the extension.
    if (LGenSourceReader reader = FindReader(ext_)) source_ = reader(path_, process_);
    if (source_->IsOk()) {
        out = source_;
        return LProcessOK;
    }
    if (Stopped()) return Fail(out, source_);
    // Second rung: whatever the platform reads itself, whatever the
    // extension. Here that is the Wave reader, so a Wave file under another
    // name opens as it is, without a decoder.
    if (ext_ != ".wav") {
        LSoundSource wave = LWaveFile::OpenSource(path_);
        if (wave->IsOk()) {
            out = wave;
            return LProcessOK;
        }
    }

    if (!temp_.Claim(TempFolder())) return Fail(out, source_);
    RunDecoderRungs();
    if (cancelled_ || Stopped()) {
        temp_.DeleteWave();
        out = Error(kSourceClosed);
        return LProcessStopped;
    }
    if (source_->IsOk()) {
        out = source_;
        return LProcessOK;
    }
    return Fail(out, source_);
}

LProcessResult Opening::Fail(LSoundSource& out, LSoundSource failed) {
    if (Stopped()) {
        temp_.DeleteWave();
        out = Error(kSourceClosed);
        return LProcessStopped;
    }
    if (!quiet_) {
        if (!pendingMessage_.empty()) {
            process_.SetError(pendingMessage_.c_str());
        } else {
            ProcessGenSourceGetError(process_, failed, path_.c_str(), temp_.WavePath().c_str());
        }
    }
    temp_.DeleteWave();
    out = failed;
    return LProcessFailed;
}

void Opening::RunDecoderRungs() {
    // Formats known only in outline here (dictation and phone formats) are
    // not handled: their files go to FFmpeg like any other.
    if (LGenSourceDecoderFind(ext_) != nullptr || IsOneOf(ext_, {".rec", ".rcd", ".act"})) RunGenericRoute();
    if (source_->IsOk() || cancelled_ || Stopped()) return;
    if (ext_ != ".mpdp") RunFFmpeg();
}

void Opening::RunGenericRoute() {
    process_.SetStatusF(0, "%s Datei wird decodiert", ext_.c_str());
    LGenSourceDecoderRun run = LGenSourceDecoderRunCommand(process_, ext_, path_, temp_);
    switch (run.outcome) {
        case LGenSourceDecoderRun::Outcome::Decoded:
            OpenDecodedWave();
            break;
        case LGenSourceDecoderRun::Outcome::Cancelled:
            cancelled_ = true;
            break;
        case LGenSourceDecoderRun::Outcome::NoComponent:
            pendingMessage_ = run.message;
            break;
        case LGenSourceDecoderRun::Outcome::Failed:
            break;
    }
}

bool Opening::OpenDecodedWave() {
    LSoundSource decoded = LWaveFile::OpenSourceDeletingFileWhenClosed(temp_.WavePath());
    if (!decoded->IsOk()) return false;
    source_ = decoded;
    return true;
}

void Opening::RunFFmpeg() {
    temp_.DeleteWave();  // what an earlier rung may have left
    if (LGenSourceDecodeWithFFmpeg(process_, path_, temp_.WavePath()) == LProcessOK) OpenDecodedWave();
    if (!source_->IsOk()) temp_.DeleteWave();
}

}  // namespace

void LGenSourceRegisterReader(const char* extension, LGenSourceReader reader) {
    ReaderTable& table = Readers();
    std::lock_guard<std::mutex> lock(table.mutex);
    if (reader) {
        table.readers[LPathLower(extension)] = reader;
    } else {
        table.readers.erase(LPathLower(extension));
    }
}

const std::vector<std::string>& LGenSourceOpenExtensions() {
    static const std::vector<std::string> list(std::begin(kOpenExtensions), std::end(kOpenExtensions));
    return list;
}

LProcessResult ProcessGenSourceOpenSource(LSoundSource& source, const char* path,
                                          LGenSourceOpenInterfaceProcess& process, bool quiet,
                                          const char* tempFolder) {
    return Opening(process, path ? path : "", quiet, tempFolder).Run(source);
}

std::string LGenSourceErrorText(unsigned char error, const std::string& path, const std::string& tempPath) {
    const std::string ext = LPathExtension(path);
    std::string text;
    if (error == kSourceNoFile) {
        text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden. Überprüfen Sie, ob diese existiert und Sie "
                      "Lesezugriff haben.", path.c_str());
    } else if (error == kSourceBadFormat) {
        text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden, da sie beschädigt ist.", path.c_str());
    } else {
        text = LFormatText("Datei \"%s\" kann nicht geöffnet werden. Es ist möglich, dass das Dateiformat nicht von "
                      "Kelvane unterstützt wird.\r\n\r\n%s", path.c_str(), kFormatsPage);
    }

    auto codecName = [](const std::string& file) {
        LWaveFileFormat format;
        return LGetWaveFileCodecName(format, file);
    };
    if (ext == ".wav" && error == kSourceNoCodec) {
        const std::string name = codecName(path);
        if (name == "Microsoft Unknown Wave Format") {
            text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden, da der benötigte Codec (\"%s\") nicht "
                          "installiert ist.", path.c_str(), "Für Microsoft unbekanntes Wave-Format");
        } else {
            text = LFormatText("Kann die Datei \"%s\" nicht öffnen, da der benötigte Codec (\"%s\") nicht installiert ist.", path.c_str(), name.c_str());
        }
        text += std::string("\r\n\r\n") + kCodecPage;
    } else if (ext == ".mp3") {
        text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden. Sie ist entweder beschädigt oder keine wahre "
                      "Layer-3 MPEG Datei.", path.c_str());
    } else if (IsOneOf(ext, {".mid", ".smf"})) {
        text = "MIDI-Entschlüsselung wird derzeit in unseren Produkten in OS X nicht unterstützt.";
    } else if (ext == ".dct" && error == kSourceEnciphered) {
        text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden, da sie verschlüsselt ist.", path.c_str());
    } else if (IsOneOf(ext, {".dct", ".oga", ".ogg", ".flac", ".wma", ".wmv", ".act", ".rec", ".rcd", ".shn", ".mpc"})) {
        if (error == kSourceNoCodec) {
            text = LFormatText("Cannot open the file \"%s\" because the required codec (\"%s\") is not installed.", path.c_str(), codecName(tempPath).c_str());
        } else if (ext != ".dct") {
            const size_t slash = tempPath.rfind('/');
            const std::string folder = slash == std::string::npos ? tempPath : tempPath.substr(0, slash);
            text = LFormatText("Die Decodierung ist während der Komprimierung der Datei \"%s\" ins Wave-Format "
                          "fehlgeschlagen. Möglicherweise hat Ihr Anmeldekonto keine Schreibberechtigung für den "
                          "Ordner \"%s\"", path.c_str(), folder.c_str());
        }
    } else if (IsOneOf(ext, {".aac", ".m4a", ".mp4", ".amr"})) {
        // The missing blank after the second quote is the message as users know it.
        text = LFormatText("Quicktime konnte die Datei \"%s\"nicht entschlüsseln. Bitte laden Sie die Datei in den "
                      "Quicktime-Spieler und prüfen Sie, dass sie richtig spielt.", path.c_str());
    } else if (IsOneOf(ext, {".dss", ".msv", ".dvf"})) {
        text = LFormatText("Kann Datei \"%s\" nicht öffnen, da dieses Format nicht auf OS X unterstützt wird.", path.c_str());
    }
    if (text.empty()) {
        text = LFormatText("Die Datei \"%s\" kann nicht geöffnet werden, da sie einen unbekannten Codec verwendet oder "
                      "möglicherweise keine wahre Wave-Datei ist.", path.c_str());
    }
    return text;
}

void ProcessGenSourceGetError(LGenSourceOpenInterfaceProcess& process, const LSoundSource& source, const char* path,
                              const char* tempPath) {
    process.SetError(LGenSourceErrorText(ErrorOf(source), path ? path : "", tempPath ? tempPath : "").c_str());
}
