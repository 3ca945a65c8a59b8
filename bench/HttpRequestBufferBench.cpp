#include "CompanionCore/HttpRequestBuffer.h"
#include "Samples.h"

#include <benchmark/benchmark.h>

using CompanionCore::HttpRequestBuffer;

namespace {

/// A peer that sends one byte per packet: the whole buffer must still cost linear work.
void appendOneByteAtATime(benchmark::State& state, const std::string& data) {
    for (auto _ : state) {
        HttpRequestBuffer buffer;
        for (const char byte : data) {
            auto request = buffer.append(std::string_view(&byte, 1));
            benchmark::DoNotOptimize(request);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
    state.counters["input_bytes"] = static_cast<double>(data.size());
}

void HttpRequestBuffer_LargeRequestOneByteAtATime(benchmark::State& state) {
    appendOneByteAtATime(state, BenchSamples::largeRequest());
}
BENCHMARK(HttpRequestBuffer_LargeRequestOneByteAtATime)->Unit(benchmark::kMicrosecond);

void HttpRequestBuffer_UnterminatedOneByteAtATime(benchmark::State& state) {
    appendOneByteAtATime(state, BenchSamples::unterminatedBuffer());
}
BENCHMARK(HttpRequestBuffer_UnterminatedOneByteAtATime)->Unit(benchmark::kMicrosecond);

void HttpRequestBuffer_HeaderLinesOneByteAtATime(benchmark::State& state) {
    appendOneByteAtATime(state, BenchSamples::unterminatedHeaderLines());
}
BENCHMARK(HttpRequestBuffer_HeaderLinesOneByteAtATime)->Unit(benchmark::kMicrosecond);

} // namespace
