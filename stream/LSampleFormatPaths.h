#pragma once
// Processor-specific kernels of the hot sample conversions (16-bit and 24-bit
// PCM, read on every import and written on every save).
//
// ConvertSamplesIn / ConvertSamplesOut pick the fastest level the processor
// has, once. Every level gives bit-identical results; the level is a
// parameter here so that tests can run each one against the plain loops.
// A level without its own kernel for a format uses the next lower one.
#include "stream/LSampleFormat.h"

namespace LSampleFormatPaths {

enum class Level { Scalar, Sse2, Ssse3, Avx2, Avx512 };

bool IsSupported(Level level);
Level Fastest();

void In16(Level level, float* out, const LSF16* in, long long n);
void In24(Level level, float* out, const LSFLE24* in, long long n);
void In24(Level level, float* out, const LSFBE24* in, long long n);

void Out16(Level level, LSF16* out, const float* in, long long n);
void Out24(Level level, LSFLE24* out, const float* in, long long n);
void Out24(Level level, LSFBE24* out, const float* in, long long n);

}  // namespace LSampleFormatPaths
