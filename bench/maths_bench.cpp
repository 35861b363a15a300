// The symmetric eigen solver, which later runs once per tensor voxel, against
// a plain 3-by-3 matrix-vector product over the same data as the floor.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "foundation/maths.h"
#include "ratios.h"

using namespace corvane;

namespace {

constexpr std::size_t tensorCount = 1000000;

// Generated once and shared, so that both runs read the same memory.
const std::vector<Symmetric3>& randomTensors() {
    static const std::vector<Symmetric3> tensors = [] {
        std::mt19937_64 generator(7);
        std::uniform_real_distribution<double> entry(-10, 10);
        std::vector<Symmetric3> result(tensorCount);
        for (Symmetric3& t : result)
            t = {{entry(generator), entry(generator), entry(generator)},
                 {entry(generator), entry(generator), entry(generator)}};
        return result;
    }();
    return tensors;
}

// One iteration is one tensor; the times read as time per matrix.
void EigenSystemPerMatrix(benchmark::State& state) {
    const std::vector<Symmetric3>& tensors = randomTensors();
    std::size_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(eigenSystem(tensors[index]));
        if (++index == tensors.size()) index = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(EigenSystemPerMatrix);

// One pass over all 10^6 tensors, as a voxel loop would do it.
void EigenSystemMillion(benchmark::State& state) {
    const std::vector<Symmetric3>& tensors = randomTensors();
    for (auto _ : state) {
        for (const Symmetric3& t : tensors) benchmark::DoNotOptimize(eigenSystem(t));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(tensors.size()));
}
BENCHMARK(EigenSystemMillion)->Unit(benchmark::kMillisecond);

void EigenValuesPerMatrix(benchmark::State& state) {
    const std::vector<Symmetric3>& tensors = randomTensors();
    std::size_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(eigenValues(tensors[index]));
        if (++index == tensors.size()) index = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(EigenValuesPerMatrix);

// Reference: spread the same tensor and apply it to a vector.
void EigenReferenceMatrixVector(benchmark::State& state) {
    const std::vector<Symmetric3>& tensors = randomTensors();
    std::size_t index = 0;
    const Vector3 probe{0.5, -0.25, 1};
    for (auto _ : state) {
        const Symmetric3& t = tensors[index];
        const Matrix3 m{{{t.diagonal.x, t.offDiagonal.x, t.offDiagonal.y},
                         {t.offDiagonal.x, t.diagonal.y, t.offDiagonal.z},
                         {t.offDiagonal.y, t.offDiagonal.z, t.diagonal.z}}};
        benchmark::DoNotOptimize(apply(m, probe));
        if (++index == tensors.size()) index = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(EigenReferenceMatrixVector);

const int ratios = addBenchRatio("EigenSystemPerMatrix", "EigenReferenceMatrixVector") +
                   addBenchRatio("EigenValuesPerMatrix", "EigenReferenceMatrixVector");

}  // namespace
