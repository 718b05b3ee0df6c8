#include "base/testing/TestSupport.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

namespace kvtest {

TempDir::TempDir() {
    std::string pattern = "/tmp/kvtest-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name) {
    const char* old = getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
    if (had_) setenv(name_.c_str(), old_.c_str(), 1);
    else unsetenv(name_.c_str());
}

IsolatedHome::IsolatedHome()
    : home_("HOME", dir_.Path()),
      cache_("XDG_CACHE_HOME", dir_.Path() + "/.cache"),
      data_("XDG_DATA_HOME", dir_.Path() + "/.local/share"),
      config_("XDG_CONFIG_HOME", dir_.Path() + "/.config") {}

bool HaveTool(const std::string& name) {
    return RunCommand("command -v " + ShellQuote(name) + " >/dev/null 2>&1") == 0;
}

int RunCommandBytes(const std::string& command, std::vector<uint8_t>* out) {
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    uint8_t block[65536];
    size_t got;
    while ((got = fread(block, 1, sizeof block, pipe)) > 0) {
        if (out) out->insert(out->end(), block, block + got);
    }
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int RunCommand(const std::string& command, std::string* out) {
    std::vector<uint8_t> bytes;
    int status = RunCommandBytes(command, &bytes);
    if (out) out->append(bytes.begin(), bytes.end());
    return status;
}

std::vector<uint8_t> ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::string ShellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'') quoted += "'\\''";
        else quoted += c;
    }
    return quoted + "'";
}

}  // namespace kvtest
