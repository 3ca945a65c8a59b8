#include "CompanionCore/HttpRequest.h"
#include "Samples.h"

#include <benchmark/benchmark.h>

using CompanionCore::HttpRequest;

namespace {

void parse(benchmark::State& state, const std::string& data) {
    for (auto _ : state) {
        auto request = HttpRequest::parse(data);
        benchmark::DoNotOptimize(request);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
    state.counters["input_bytes"] = static_cast<double>(data.size());
}

void HttpRequest_ParseTypicalPairingRequest(benchmark::State& state) {
    parse(state, BenchSamples::pairingRequest());
}
BENCHMARK(HttpRequest_ParseTypicalPairingRequest);

void HttpRequest_ParseHeadAndLargeBody(benchmark::State& state) {
    parse(state, BenchSamples::largeRequest());
}
BENCHMARK(HttpRequest_ParseHeadAndLargeBody);

void HttpRequest_ParseLargeBufferWithoutTerminator(benchmark::State& state) {
    parse(state, BenchSamples::unterminatedBuffer());
}
BENCHMARK(HttpRequest_ParseLargeBufferWithoutTerminator);

void HttpRequest_ParseHeaderLinesWithoutTerminator(benchmark::State& state) {
    parse(state, BenchSamples::unterminatedHeaderLines());
}
BENCHMARK(HttpRequest_ParseHeaderLinesWithoutTerminator);

} // namespace
