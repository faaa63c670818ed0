// Micro-benchmarks of the portable core's hot paths: the catalogue lookup made
// on every property-store call, and the value text of information lines.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/HResultText.h"
#include "core/ParameterCatalogue.h"
#include "core/ValueText.h"

namespace {

void LookupParameter(benchmark::State& state) {
    const kelix::ParameterId ids[] = {1002, 1105, 1176, 2121, 3002, 1001};
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(kelix::LookupParameter(ids[i++ % 6]));
    }
}
BENCHMARK(LookupParameter);

void CountedValueText(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes(static_cast<std::size_t>(state.range(0)), 0x7F);
    for (auto _ : state) {
        benchmark::DoNotOptimize(kelix::CountedValueText(1114, bytes.data(), static_cast<std::uint32_t>(bytes.size())));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(CountedValueText)->Arg(4)->Arg(172)->Arg(2044);

void FallbackHResultText(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(kelix::FallbackHResultText(0x80040201));
}
BENCHMARK(FallbackHResultText);

}  // namespace

BENCHMARK_MAIN();
