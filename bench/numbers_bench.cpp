// Reading and printing typical statement parameters, against strtod/snprintf.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "foundation/numbers.h"
#include "ratios.h"

using namespace corvane;

namespace {

void readRealOf(benchmark::State& state, const char* input) {
    const Text source(input);
    for (auto _ : state) {
        Text text = source;
        benchmark::DoNotOptimize(readReal(text));
    }
}
BENCHMARK_CAPTURE(readRealOf, plain, "3.25");
BENCHMARK_CAPTURE(readRealOf, exponent, "1e-3");
BENCHMARK_CAPTURE(readRealOf, expression, "3*4+2");

void readVectorOf(benchmark::State& state) {
    const Text source("<1, 2, 3>");
    for (auto _ : state) {
        Text text = source;
        benchmark::DoNotOptimize(readVector3(text));
    }
}
BENCHMARK(readVectorOf);

void readIntegerOf(benchmark::State& state) {
    const Text source("128");
    for (auto _ : state) {
        Text text = source;
        benchmark::DoNotOptimize(readInteger(text));
    }
}
BENCHMARK(readIntegerOf);

void printReal(benchmark::State& state) {
    double value = 3.25;
    for (auto _ : state) {
        benchmark::DoNotOptimize(realToText(value));
        value += 0.5;
    }
}
BENCHMARK(printReal);

// Reference: the C library on the same inputs.
void referenceStrtod(benchmark::State& state) {
    const std::string source("3.25");
    for (auto _ : state) {
        std::string text = source;
        benchmark::DoNotOptimize(std::strtod(text.c_str(), nullptr));
    }
}
BENCHMARK(referenceStrtod);

void referenceSnprintf(benchmark::State& state) {
    double value = 3.25;
    char buffer[64];
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, "%.16f", value));
        benchmark::DoNotOptimize(std::string(buffer));
        value += 0.5;
    }
}
BENCHMARK(referenceSnprintf);

const int ratios = addBenchRatio("readRealOf/plain", "referenceStrtod") +
                   addBenchRatio("readRealOf/exponent", "referenceStrtod") +
                   addBenchRatio("readRealOf/expression", "referenceStrtod") +
                   addBenchRatio("readVectorOf", "referenceStrtod") +
                   addBenchRatio("readIntegerOf", "referenceStrtod") +
                   addBenchRatio("printReal", "referenceSnprintf");

}  // namespace
