// Float <-> integer sample conversion against a plain copy of the float
// buffer's bytes, the cost floor of touching the same data.
//
// "The same bytes": a conversion of n values reads or writes n floats (4n
// bytes) on one side and n stored values (2n or 3n bytes) on the other. The
// memcpy baseline copies the larger side, n floats (4n bytes in, 4n out), so
// it moves at least as many bytes as the conversion; a ratio near 1 means the
// conversion runs at the speed of the memory traffic. Every group pairs the
// two with the same n, measured in the same run.
#include "stream/LSampleFormat.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

std::vector<float> Signal(size_t n) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-0.99f, 0.99f);
    std::vector<float> v(n);
    for (auto& x : v) x = dist(rng);
    return v;
}

template <class T>
void ConvertOut(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const auto in = Signal(n);
    std::vector<T> out(n);
    for (auto _ : state) {
        ConvertSamplesOut(out.data(), in.data(), static_cast<long long>(n));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
}

template <class T>
void ConvertIn(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const auto f = Signal(n);
    std::vector<T> in(n);
    ConvertSamplesOut(in.data(), f.data(), static_cast<long long>(n));
    std::vector<float> out(n);
    for (auto _ : state) {
        ConvertSamplesIn(out.data(), in.data(), static_cast<long long>(n));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
}

void CopyFloats(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const auto in = Signal(n);
    std::vector<float> out(n);
    for (auto _ : state) {
        std::memcpy(out.data(), in.data(), n * sizeof(float));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
}

// 4096 values: one player block, in cache. 1M values: a save, from memory.
#define KV_SIZES Arg(4096)->Arg(1 << 20)

BENCHMARK(ConvertOut<LSF16>)->Name("ToInt16/kelvane")->KV_SIZES;
BENCHMARK(CopyFloats)->Name("ToInt16/memcpy")->KV_SIZES;
BENCHMARK(ConvertIn<LSF16>)->Name("FromInt16/kelvane")->KV_SIZES;
BENCHMARK(CopyFloats)->Name("FromInt16/memcpy")->KV_SIZES;
BENCHMARK(ConvertOut<LSFLE24>)->Name("ToInt24/kelvane")->KV_SIZES;
BENCHMARK(CopyFloats)->Name("ToInt24/memcpy")->KV_SIZES;
BENCHMARK(ConvertIn<LSFLE24>)->Name("FromInt24/kelvane")->KV_SIZES;
BENCHMARK(CopyFloats)->Name("FromInt24/memcpy")->KV_SIZES;

}  // namespace

BENCHMARK_MAIN();
