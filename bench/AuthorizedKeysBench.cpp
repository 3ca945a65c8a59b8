#include "CompanionCore/AuthorizedKeys.h"
#include "Samples.h"

#include <benchmark/benchmark.h>

namespace AuthorizedKeys = CompanionCore::AuthorizedKeys;

namespace {

void normalize(benchmark::State& state, const std::string& key) {
    const std::string comment = "nuvexa:iPhone de Ana";
    for (auto _ : state) {
        auto line = AuthorizedKeys::normalize(key, comment);
        benchmark::DoNotOptimize(line);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * key.size()));
    state.counters["input_bytes"] = static_cast<double>(key.size());
}

void AuthorizedKeys_NormalizeEd25519(benchmark::State& state) {
    normalize(state, BenchSamples::ed25519Key());
}
BENCHMARK(AuthorizedKeys_NormalizeEd25519);

void AuthorizedKeys_NormalizeRsa4096(benchmark::State& state) {
    normalize(state, BenchSamples::rsa4096Key());
}
BENCHMARK(AuthorizedKeys_NormalizeRsa4096);

} // namespace
