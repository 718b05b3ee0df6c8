// Feeds arbitrary bytes to the Wave reader (and its tag reader) as a file.
#include "formats/wave/LWaveCodecNames.h"
#include "formats/wave/LWaveFile.h"
#include "formats/wave/LWavTagIterator.h"
#include "formats/wave/LWavTagWriter.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

void ReadSource(const std::string& path) {
    LWaveLimits limits;
    limits.firstDataChunkMax = 64;  // small chunks, so the input can describe several
    limits.laterDataChunkMax = 48;
    LSoundSource source = LWaveFile::OpenSource(path, limits);
    std::vector<float> buffer(size_t(256) * source->GetChannels());
    long long end = source->GetEndSample();
    source->IsStreaming();
    for (long long start : {-5LL, 0LL, end / 2, end - 3, end + 7}) {
        source->Seek(start);
        source->Read(buffer.data(), 256);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = memfd_create("wave", 0);
    if (fd < 0) return 0;
    if (size > 0 && write(fd, data, size) != ssize_t(size)) {
        close(fd);
        return 0;
    }
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    ReadSource(path);
    LWaveFileFormat format;
    LGetWaveFileCodecName(format, path);
    format.LoadFromPCMWaveFile(path);

    LWaveLimits limits;
    limits.bigFileSize = 4096;  // larger inputs take the walk to the end of the file
    LWavTagIterator tags(limits);
    tags.Read(path);
    LFileTagDataAudio table;
    tags.CopyTo(table);
    table.Set("TITLE", "fuzz");
    // The rewrite must leave a file that reads as before.
    if (LWavTagWriter(limits).Write(path, table)) {
        ReadSource(path);
        LWavTagIterator again(limits);
        again.Read(path);
    }
    close(fd);
    return 0;
}
