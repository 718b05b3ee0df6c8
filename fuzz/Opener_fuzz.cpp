// Feeds arbitrary bytes to the opening ladder as a file with one of the
// opening extensions (chosen by the first byte), with no decoder programs on
// PATH: our own readers, then FFmpeg. Whatever opens is read at a few places;
// nothing may be left in the temporary folder.
#include "base/LProcessInterface.h"
#include "formats/LGenSourceOpen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const std::string& Folder() {
    static const std::string folder = [] {
        const char* tmp = std::getenv("TMPDIR");
        std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/kv-opener-fuzz-" + std::to_string(getpid());
        ::mkdir(path.c_str(), 0777);
        ::setenv("PATH", "/nonexistent", 1);  // no decoder programs
        return path;
    }();
    return folder;
}

void ReadAround(LSoundSource& source) {
    std::vector<float> buffer(size_t(512) * source->GetChannels());
    const long long end = source->GetEndSample();
    for (long long at : {0LL, end / 2, end - 100}) {
        source->Seek(at);
        source->Read(buffer.data(), 512);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::vector<std::string>& extensions = LGenSourceOpenExtensions();
    const std::string path = Folder() + "/input" + extensions[data[0] % extensions.size()];
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return 0;
    const bool written = ::write(fd, data + 1, size - 1) == static_cast<ssize_t>(size - 1);
    ::close(fd);
    if (written) {
        LProcessInterfaceVoid job;
        LGenSourceOpenInterfaceProcess opening(job, false, Folder());
        LSoundSource source;
        if (ProcessGenSourceOpenSource(source, path.c_str(), opening, true, Folder().c_str()) == LProcessOK) {
            ReadAround(source);
        }
    }
    ::unlink(path.c_str());
    return 0;
}
