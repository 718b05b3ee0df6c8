#pragma once
// Helpers shared by the unit tests of every folder: temporary folders,
// isolated home and XDG folders, reference tools and file bytes.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kvtest {

// A fresh folder under /tmp, removed with everything in it on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Sets an environment variable for the life of the object; restores it after.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::string old_;
    bool had_;
};

// HOME and the XDG folders pointed into one temporary folder, so a test never
// touches the real user's settings, cache or data.
class IsolatedHome {
public:
    IsolatedHome();
    const std::string& Path() const { return dir_.Path(); }

private:
    TempDir dir_;
    ScopedEnv home_, cache_, data_, config_;
};

bool HaveTool(const std::string& name);

// Runs a shell command; returns its exit status and appends its stdout to *out.
int RunCommand(const std::string& command, std::string* out = nullptr);
// Same, capturing stdout as raw bytes.
int RunCommandBytes(const std::string& command, std::vector<uint8_t>* out);

std::vector<uint8_t> ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes);
std::string ShellQuote(const std::string& text);

}  // namespace kvtest

// A test that needs a reference tool fails loudly when it is missing.
#define KV_REQUIRE_TOOL(name) \
    ASSERT_TRUE(::kvtest::HaveTool(name)) << "reference tool '" << (name) << "' is missing: run scripts/bootstrap"
