#include "CompanionCore/PairingCode.h"
#include "Samples.h"

#include <benchmark/benchmark.h>

#include <string>

using CompanionCore::constantTimeEquals;

namespace {

/// Equal inputs and inputs that differ in their first byte must cost the same.
void compare(benchmark::State& state, bool differFirst) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string left = BenchSamples::noise(size, 3);
    std::string right = left;
    if (differFirst) {
        right[0] = static_cast<char>(right[0] ^ 1);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        bool equal = constantTimeEquals(left, right);
        benchmark::DoNotOptimize(equal);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void ConstantTimeEquals_Equal(benchmark::State& state) {
    compare(state, false);
}
BENCHMARK(ConstantTimeEquals_Equal)->Arg(6)->Arg(64)->Arg(4096);

void ConstantTimeEquals_DifferInFirstByte(benchmark::State& state) {
    compare(state, true);
}
BENCHMARK(ConstantTimeEquals_DifferInFirstByte)->Arg(6)->Arg(64)->Arg(4096);

} // namespace
