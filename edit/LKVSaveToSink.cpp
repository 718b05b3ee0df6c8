#include "edit/LKVSaveToSink.h"

#include "base/LPathName.h"
#include "edit/LSoundCache.h"
#include "formats/LGenSink.h"
#include "stream/LPRSourceToSink.h"
#include "stream/LSPConvertSourceRateChannels.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr const char* kCannotCreate = "Kann Datei \"%s\" nicht zum Speichern erstellen.";


}  // namespace

const char* const kKVSaveNoSpaceText =
    "Datei \"%s\" kann nicht gespeichert werden, da nicht genug Speicherplatz zur Verfügung steht. Bitte "
    "versuchen Sie die Datei an anderer Stelle zu speichern oder durch Entfernen unerwünschter Dateien Platz "
    "freizugeben und versuchen Sie es erneut.";

int LKVSaveChannelMaximum(const std::string& extension) {
    const LGenSinkFormat* format = LGenSinkFindFormat(extension);
    return format ? format->channelMax : 0;
}

std::string KVGetChannelString(int channels) {
    switch (channels) {
        case 1: return "Mono";
        case 2: return "Stereo";
        case 6: return "5.1";
        case 8: return "7.1";
        default: return std::to_string(channels) + " Kanäle";
    }
}

LProcessResult Process(LProcessInterface& process, LKVSaveToSink& job) {
    if (job.cutList.IsEmpty()) return LProcessFailed;
    LSoundSource source = job.cutList.OpenSource();
    const int channels = job.channels > 0 ? job.channels : job.cutList.GetChannels();
    if (channels != job.cutList.GetChannels()) {
        LSPConvertSourceRateChannels(job.cutList.GetSampleRate(), static_cast<unsigned char>(channels), source);
    }
    LGenSinkRequest request{job.writePath, job.target, job.cutList.GetSampleRate(), channels, job.tags};
    LPRSourceToSink copy;
    copy.title = "Datei speichern...";
    copy.source = source;
    copy.sink = LGenSinkOpenSink(request);
    if (copy.sink->HasFailed()) {
        process.SetErrorF(kCannotCreate, job.target.c_str());
        return LProcessFailed;
    }
    process.SetStatus(copy.title, 0);
    const bool failedBefore = copy.sink->HasFailed();
    LProcessResult result = Process(process, copy);
    if (result == LProcessFailed && !failedBefore) {
        // A full disk is the usual reason; say so when it is.
        const int64_t needed = job.cutList.GetLength() * channels * 4;
        const bool full = LSoundCacheFreeSpaceOfFolder(LPathFolder(job.writePath)) < needed;
        process.SetErrorF(full ? kKVSaveNoSpaceText : kCannotCreate, job.target.c_str());
    }
    copy.sink.Close();
    return result;
}
