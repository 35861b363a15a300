// Summing every voxel of a 256^3 fullgray field through the row pointers
// kernels use, against the same loop over a plain std::vector<uint16_t>.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "fields/fieldrecords.h"
#include "foundation/console.h"
#include "ratios.h"

using namespace corvane;

namespace {

constexpr std::int64_t edge = 256;

std::uint16_t sample(std::int64_t i) { return static_cast<std::uint16_t>(static_cast<std::uint64_t>(i) * 2654435761u >> 16); }

void sumThroughRows(benchmark::State& state) {
    const bool consoleWas = outputSettings.consoleActive;
    outputSettings.consoleActive = false;  // the allocation lines stay out of the report
    ScalarField field;
    newField(field, VoxelKind::scalarFullgray, edge, edge, edge);
    outputSettings.consoleActive = consoleWas;
    std::uint16_t* voxels = field.payload->data<std::uint16_t>();
    for (std::int64_t i = 0; i < edge * edge * edge; ++i) voxels[i] = sample(i);

    for (auto _ : state) {
        const ScalarPayload& payload = *field.payload;
        std::uint64_t sum = 0;
        for (std::int64_t z = 1; z <= payload.sizeZ; ++z) {
            for (std::int64_t y = 1; y <= payload.sizeY; ++y) {
                const std::uint16_t* row = payload.row<std::uint16_t>(y, z);
                for (std::int64_t x = 0; x < payload.sizeX; ++x) sum += row[x];
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * edge * edge * edge * 2);
}
BENCHMARK(sumThroughRows)->Unit(benchmark::kMillisecond);

void sumPlainVector(benchmark::State& state) {
    std::vector<std::uint16_t> voxels(static_cast<std::size_t>(edge * edge * edge));
    for (std::size_t i = 0; i < voxels.size(); ++i) voxels[i] = sample(static_cast<std::int64_t>(i));
    for (auto _ : state) {
        std::uint64_t sum = 0;
        for (const std::uint16_t voxel : voxels) sum += voxel;
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * edge * edge * edge * 2);
}
BENCHMARK(sumPlainVector)->Unit(benchmark::kMillisecond);

const int ratios = addBenchRatio("sumThroughRows", "sumPlainVector");

}  // namespace
