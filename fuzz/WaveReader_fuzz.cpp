// Feeds arbitrary bytes to the Wave reader and its tag reader through a
// memory stream; the in-place tag rewrite, which needs a real file, works on
// a scratch file in the temporary folder.
#include "base/LInputStreamBuffer.h"
#include "formats/wave/LWavTagIterator.h"
#include "formats/wave/LWavTagWriter.h"
#include "formats/wave/LWaveCodecNames.h"
#include "formats/wave/LWaveFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

LWaveLimits SmallChunks() {
    LWaveLimits limits;
    limits.firstDataChunkMax = 64;  // small chunks, so the input can describe several
    limits.laterDataChunkMax = 48;
    limits.bigFileSize = 4096;      // larger inputs take the walk to the end of the file
    return limits;
}

void ReadSource(LSoundSource source) {
    std::vector<float> buffer(size_t(256) * source->GetChannels());
    long long end = source->GetEndSample();
    source->IsStreaming();
    for (long long start : {-5LL, 0LL, end / 2, end - 3, end + 7}) {
        source->Seek(start);
        source->Read(buffer.data(), 256);
    }
}

void ReadTags(LWavTagIterator& tags, const uint8_t* data, size_t size) {
    LInputStreamBuffer in(data, size);
    tags.FileScanForInfo(in);
}

const std::string& ScratchPath() {
    static const std::string path = [] {
        const char* tmp = std::getenv("TMPDIR");
        return std::string(tmp && *tmp ? tmp : "/tmp") + "/kv-wave-fuzz-" + std::to_string(getpid()) + ".wav";
    }();
    return path;
}

void RewriteTags(const uint8_t* data, size_t size, const LFileTagDataAudio& table) {
    const std::string& path = ScratchPath();
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return;
    const bool written = size == 0 || write(fd, data, size) == ssize_t(size);
    close(fd);
    // The rewrite must leave a file that reads as before.
    if (written && LWavTagWriter(SmallChunks()).Write(path, table)) {
        ReadSource(LWaveFile::OpenSource(path, SmallChunks()));
        LWavTagIterator again(SmallChunks());
        again.Read(path);
    }
    unlink(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ReadSource(LWaveFile::OpenSource(std::make_unique<LInputStreamBuffer>(data, size), SmallChunks()));
    LWaveFileFormat format;
    LInputStreamBuffer header(data, size);
    LGetWaveFileCodecName(format, header);
    LInputStreamBuffer pcm(data, size);
    format.LoadFromPCMWaveFile(pcm);

    LWavTagIterator tags(SmallChunks());
    ReadTags(tags, data, size);
    LFileTagDataAudio table;
    tags.CopyTo(table);
    table.Set("TITLE", "fuzz");
    RewriteTags(data, size, table);
    return 0;
}
