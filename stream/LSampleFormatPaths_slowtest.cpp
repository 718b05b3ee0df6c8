// Every one of the 2^32 float bit patterns through each writer at each
// processor level, against the plain loop. A few minutes; not run by CI.
#include "stream/LSampleFormatPaths.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using LSampleFormatPaths::Level;

template <class T, class Convert>
void ExpectAllFloatsMatch(Convert convert) {
    constexpr long long kChunk = 1 << 20;
    std::vector<uint32_t> bits(kChunk);
    std::vector<float> in(kChunk);
    std::vector<T> reference(kChunk), fast(kChunk);
    for (Level level : {Level::Sse2, Level::Ssse3, Level::Avx2, Level::Avx512}) {
        if (!LSampleFormatPaths::IsSupported(level)) continue;
        for (uint64_t start = 0; start < (uint64_t(1) << 32); start += kChunk) {
            for (long long i = 0; i < kChunk; ++i) bits[i] = static_cast<uint32_t>(start + i);
            std::memcpy(in.data(), bits.data(), kChunk * sizeof(float));
            convert(Level::Scalar, reference.data(), in.data(), kChunk);
            convert(level, fast.data(), in.data(), kChunk);
            ASSERT_EQ(std::memcmp(reference.data(), fast.data(), kChunk * sizeof(T)), 0)
                << "level " << int(level) << " chunk at bit pattern " << start;
        }
    }
}

TEST(SampleFormatPathsSlow, SixteenBitWriterOnAllFloats) {
    ExpectAllFloatsMatch<LSF16>([](Level l, LSF16* o, const float* i, long long n) { LSampleFormatPaths::Out16(l, o, i, n); });
}

TEST(SampleFormatPathsSlow, TwentyFourBitWriterOnAllFloats) {
    ExpectAllFloatsMatch<LSFLE24>(
        [](Level l, LSFLE24* o, const float* i, long long n) { LSampleFormatPaths::Out24(l, o, i, n); });
}

}  // namespace
