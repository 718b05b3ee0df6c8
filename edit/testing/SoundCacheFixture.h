#pragma once
// Shared by the sound cache tests: an isolated cache folder per test.
#include "base/testing/TestSupport.h"
#include "edit/LSoundCache.h"
#include "stream/testing/MemorySource.h"

#include <unistd.h>

#include <string>
#include <vector>

class SoundCacheTest : public ::testing::Test {
protected:
    void SetUp() override { LSoundCache::Instance().ResetForTesting(dir_.Path()); }
    void TearDown() override { LSoundCache::Instance().ResetForTesting(dir_.Path()); }

    LSoundCache& Cache() { return LSoundCache::Instance(); }
    std::string ItemFile(uint16_t number, const char* extension) { return Cache().GetFilePath(number, extension); }
    bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }
    void Touch(const std::string& path) { kvtest::WriteFileBytes(path, {}); }

    static std::vector<float> Ramp(long long frames, int channels) {
        std::vector<float> samples(frames * channels);
        for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>((i * 37) % 1000) / 1000.0f - 0.5f;
        return samples;
    }

    kvtest::IsolatedHome home_;
    kvtest::TempDir dir_;
};
