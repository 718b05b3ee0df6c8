#include "base/LComponent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

enum class Kind { Program, Linked, Missing };

struct ComponentRow {
    const char* name;
    Kind kind;
    const char* program;  // for Kind::Program
};

// What each component is on this system.
constexpr ComponentRow kComponents[] = {
    {"oggdec3x64", Kind::Program, "oggdec"},
    {"oggenc3x64", Kind::Program, "oggenc"},
    {"speexdec", Kind::Program, "speexdec"},
    {"speexenc4x64", Kind::Program, "speexenc"},
    {"mpcdec3x64", Kind::Program, "mpcdec"},
    {"mpcenc3x64", Kind::Program, "mpcenc"},
    {"ffmpeg24bx64", Kind::Linked, nullptr},
    // The Opus and MP3 encoder libraries are linked with their writers.
    {"opusencoder3x64", Kind::Missing, nullptr},
    {"mp3el5x64", Kind::Missing, nullptr},
    // FFmpeg reads these formats better than these decoders would (float
    // output, edit lists), so they are not looked for.
    {"aacdec2", Kind::Missing, nullptr},
    {"wmadec2x64", Kind::Missing, nullptr},
    {"speexdec3x64", Kind::Missing, nullptr},
    {"amrdec3x64", Kind::Missing, nullptr},
    {"amrenc3x64", Kind::Missing, nullptr},
    {"amrenc2", Kind::Missing, nullptr},
};

bool IsExecutableFile(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

bool LFindProgramOnPath(const std::string& program, std::string* path) {
    if (program.empty()) return false;
    if (program.find('/') != std::string::npos) {
        if (!IsExecutableFile(program)) return false;
        *path = program;
        return true;
    }
    const char* variable = std::getenv("PATH");
    const std::string search = variable ? variable : "/usr/local/bin:/usr/bin:/bin";
    size_t start = 0;
    while (start <= search.size()) {
        size_t end = search.find(':', start);
        if (end == std::string::npos) end = search.size();
        // An empty entry means the current folder, as in a shell.
        const std::string folder = end == start ? "." : search.substr(start, end - start);
        const std::string candidate = folder + "/" + program;
        if (IsExecutableFile(candidate)) {
            *path = candidate;
            return true;
        }
        start = end + 1;
    }
    return false;
}

bool LComponentGetPathDownload(LProcessInterface& /*process*/, const char* name, std::string* path) {
    if (name == nullptr) return false;
    for (const ComponentRow& row : kComponents) {
        if (std::strcmp(row.name, name) != 0) continue;
        switch (row.kind) {
            case Kind::Program: return LFindProgramOnPath(row.program, path);
            case Kind::Linked: path->clear(); return true;
            case Kind::Missing: return false;
        }
    }
    return false;
}
