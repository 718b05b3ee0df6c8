#include "base/LCpuFeatures.h"

#include <atomic>

namespace {

LCpuLevel Detect() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    // __builtin_cpu_supports reports AVX and wider only when the operating
    // system saves their registers.
    if (!__builtin_cpu_supports("sse2")) return LCpuLevel::Scalar;
    if (!__builtin_cpu_supports("ssse3")) return LCpuLevel::Sse2;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return LCpuLevel::Ssse3;
    if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512bw")) return LCpuLevel::Avx2;
    return LCpuLevel::Avx512;
#else
    return LCpuLevel::Scalar;
#endif
}

// The test cap; the detected level when there is none.
std::atomic<LCpuLevel>& Cap() {
    static std::atomic<LCpuLevel> cap{LCpuFeatures::Detected()};
    return cap;
}

}  // namespace

LCpuLevel LCpuFeatures::Detected() {
    static const LCpuLevel detected = Detect();
    return detected;
}

LCpuLevel LCpuFeatures::Usable() { return Cap().load(std::memory_order_relaxed); }

bool LCpuFeatures::ForceLevelForTesting(LCpuLevel level) {
    if (level > Detected()) return false;
    Cap().store(level, std::memory_order_relaxed);
    return true;
}

void LCpuFeatures::ResetForTesting() { Cap().store(Detected(), std::memory_order_relaxed); }

LCpuLevelScope::LCpuLevelScope(LCpuLevel level)
    : previous_(LCpuFeatures::Usable()), applied_(LCpuFeatures::ForceLevelForTesting(level)) {}

LCpuLevelScope::~LCpuLevelScope() {
    if (applied_) LCpuFeatures::ForceLevelForTesting(previous_);
}
