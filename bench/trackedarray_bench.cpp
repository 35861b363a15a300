// Appending 10^8 one-byte records one at a time: a dynamic tracked array
// through setRecord(count + 1), against std::vector::push_back in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "foundation/console.h"
#include "foundation/trackedarray.h"
#include "ratios.h"

namespace corvane {
namespace {

constexpr std::int64_t appendCount = 100000000;

// Seconds per record, shown with an SI prefix ("2.1n" is 2.1 ns).
void reportPerRecord(benchmark::State& state) {
    const auto records = static_cast<double>(state.iterations()) * static_cast<double>(appendCount);
    state.SetItemsProcessed(static_cast<std::int64_t>(records));
    state.counters["per_record"] = benchmark::Counter(records, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void TrackedArrayAppendBytes(benchmark::State& state) {
    const bool logWasActive = outputSettings.logActive;
    outputSettings.logActive = false;  // the memory lines would be timed too
    for (auto _ : state) {
        TrackedArray array;
        array.allocDynamic(1);
        for (std::int64_t i = 0; i < appendCount; ++i) {
            const auto value = static_cast<std::uint8_t>(i);
            array.setRecord(array.count() + 1, &value);
        }
        benchmark::DoNotOptimize(array.data);
        const std::uint8_t last = static_cast<std::uint8_t>(appendCount - 1);
        if (array.count() != appendCount || array.records<std::uint8_t>()[appendCount - 1] != last) {
            state.SkipWithError("records lost");
        }
    }
    outputSettings.logActive = logWasActive;
    reportPerRecord(state);
}
BENCHMARK(TrackedArrayAppendBytes)->Unit(benchmark::kMillisecond);

// Reference: the standard library's doubling vector.
void TrackedReferenceVectorPushBack(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::uint8_t> vector;
        for (std::int64_t i = 0; i < appendCount; ++i) vector.push_back(static_cast<std::uint8_t>(i));
        benchmark::DoNotOptimize(vector.data());
        if (static_cast<std::int64_t>(vector.size()) != appendCount) state.SkipWithError("records lost");
    }
    reportPerRecord(state);
}
BENCHMARK(TrackedReferenceVectorPushBack)->Unit(benchmark::kMillisecond);

const int appendRatio = addBenchRatio("TrackedArrayAppendBytes", "TrackedReferenceVectorPushBack");

}  // namespace
}  // namespace corvane
