#pragma once
// LCpuFeatures: which of the processor's instruction sets the signal code may
// use, detected once for the whole program. Every kernel choice (FFT, rate
// converter, sample conversions) asks here and nowhere else, so a test can
// cap the level for all of them at once and compare each level's results
// with the plain loops.
//
// The levels are ordered; each includes those below it. Avx2 means AVX2 with
// FMA (the kernels use both); Avx512 means AVX-512 F and BW. The operating
// system's support for the wide registers is part of the detection.
//
// Queries: any thread, at any time (one relaxed atomic load). Forcing: tests
// only, before the work that should see it starts; objects that choose their
// kernel when they are made (LFFT) keep the choice they made.

enum class LCpuLevel { Scalar, Sse2, Ssse3, Avx2, Avx512 };

class LCpuFeatures {
public:
    // The highest level the processor and the operating system support.
    static LCpuLevel Detected();
    // The level kernels may use: the detected one, or lower while a test
    // caps it.
    static LCpuLevel Usable();
    static bool CanUse(LCpuLevel level) { return level <= Usable(); }

    // Caps Usable() at `level`; false (nothing changes) when the processor
    // doesn't reach it.
    static bool ForceLevelForTesting(LCpuLevel level);
    // Lifts the cap.
    static void ResetForTesting();
};

// Caps the level for a scope and restores the previous cap after it.
class LCpuLevelScope {
public:
    explicit LCpuLevelScope(LCpuLevel level);
    ~LCpuLevelScope();
    LCpuLevelScope(const LCpuLevelScope&) = delete;
    LCpuLevelScope& operator=(const LCpuLevelScope&) = delete;
    // False when the processor doesn't reach the level (the cap is unchanged).
    bool IsApplied() const { return applied_; }

private:
    LCpuLevel previous_;
    bool applied_;
};
