#include "base/LCpuFeatures.h"

#include "base/LFile.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// The flags the kernel reports for the first processor.
std::string CpuFlags() {
    std::string info;
    LFile::ReadWholeFile("/proc/cpuinfo", &info);
    std::istringstream lines(info);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("flags", 0) == 0) return line + " ";
    }
    return {};
}

bool HasFlag(const std::string& flags, const char* flag) { return flags.find(std::string(" ") + flag + " ") != std::string::npos; }

TEST(LCpuFeatures, DetectionAgreesWithTheKernelsView) {
#if defined(__x86_64__)
    const std::string flags = CpuFlags();
    ASSERT_FALSE(flags.empty());
    LCpuLevel expected = LCpuLevel::Sse2;
    if (HasFlag(flags, "ssse3")) expected = LCpuLevel::Ssse3;
    if (expected == LCpuLevel::Ssse3 && HasFlag(flags, "avx2") && HasFlag(flags, "fma")) expected = LCpuLevel::Avx2;
    if (expected == LCpuLevel::Avx2 && HasFlag(flags, "avx512f") && HasFlag(flags, "avx512bw")) expected = LCpuLevel::Avx512;
    EXPECT_EQ(LCpuFeatures::Detected(), expected);
#else
    EXPECT_EQ(LCpuFeatures::Detected(), LCpuLevel::Scalar);
#endif
    EXPECT_EQ(LCpuFeatures::Usable(), LCpuFeatures::Detected());
}

TEST(LCpuFeatures, ACapHoldsForItsScopeAndNeverRisesAboveTheProcessor) {
    {
        LCpuLevelScope scalar(LCpuLevel::Scalar);
        EXPECT_TRUE(scalar.IsApplied());
        EXPECT_EQ(LCpuFeatures::Usable(), LCpuLevel::Scalar);
        EXPECT_FALSE(LCpuFeatures::CanUse(LCpuLevel::Sse2));
        {
            LCpuLevelScope detected(LCpuFeatures::Detected());
            EXPECT_EQ(LCpuFeatures::Usable(), LCpuFeatures::Detected());
        }
        EXPECT_EQ(LCpuFeatures::Usable(), LCpuLevel::Scalar);
    }
    EXPECT_EQ(LCpuFeatures::Usable(), LCpuFeatures::Detected());
    if (LCpuFeatures::Detected() < LCpuLevel::Avx512) {
        LCpuLevelScope beyond(LCpuLevel::Avx512);
        EXPECT_FALSE(beyond.IsApplied());
        EXPECT_EQ(LCpuFeatures::Usable(), LCpuFeatures::Detected());
    }
}

}  // namespace
