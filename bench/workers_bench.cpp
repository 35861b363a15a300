// Per-slice kernels over a 256^3 fullgray volume through the worker
// protocol, thread.max 2 against 1.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "foundation/console.h"
#include "foundation/workers.h"
#include "ratios.h"

using namespace corvane;

namespace {

constexpr std::int64_t edge = 256;
constexpr std::int64_t planeVoxels = edge * edge;

std::vector<std::uint16_t>& volume() {
    static std::vector<std::uint16_t> voxels = [] {
        std::vector<std::uint16_t> v(static_cast<std::size_t>(planeVoxels * edge));
        for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<std::uint16_t>(i * 2654435761u >> 16);
        return v;
    }();
    return voxels;
}

// Scales every voxel of a slice into a separate target and sums the slice.
void scaleSlices(benchmark::State& state) {
    const std::vector<std::uint16_t>& source = volume();
    std::vector<std::uint16_t> target(source.size());
    std::vector<std::uint64_t> sums(static_cast<std::size_t>(edge));
    SliceJob job;
    job.slices = edge;
    job.parallelLimit = state.range(0);
    job.title = "Scaling";
    job.work = [&](std::int64_t z, void*) {
        const std::uint16_t* in = source.data() + z * planeVoxels;
        std::uint16_t* out = target.data() + z * planeVoxels;
        std::uint64_t sum = 0;
        for (std::int64_t i = 0; i < planeVoxels; ++i) {
            out[i] = static_cast<std::uint16_t>(in[i] * 3 / 2);
            sum += in[i];
        }
        sums[static_cast<std::size_t>(z)] = sum;
    };
    // The report lines and the progress line stay out of the timing output.
    const bool consoleWas = outputSettings.consoleActive;
    outputSettings.consoleActive = false;
    for (auto _ : state) {
        runSlices(job);
        benchmark::DoNotOptimize(sums.data());
        benchmark::ClobberMemory();
    }
    outputSettings.consoleActive = consoleWas;
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size() * sizeof(std::uint16_t)));
}
BENCHMARK(scaleSlices)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// In-place 3x3x3 box mean, the shape of the smoothing command: enough work
// per slice to outweigh the thread start that every slice pays.
void smoothSlices(benchmark::State& state) {
    std::vector<std::uint16_t> field = volume();
    SliceJob job;
    job.slices = edge;
    job.parallelLimit = state.range(0);
    job.title = "Smoothing";
    job.planeBytes = planeVoxels * static_cast<std::int64_t>(sizeof(std::uint16_t));
    job.work = [&field](std::int64_t z, void* plane) {
        auto* out = static_cast<std::uint16_t*>(plane);
        const std::int64_t z0 = z > 0 ? z - 1 : 0, z1 = z + 1 < edge ? z + 1 : edge - 1;
        for (std::int64_t y = 0; y < edge; ++y) {
            const std::int64_t y0 = y > 0 ? y - 1 : 0, y1 = y + 1 < edge ? y + 1 : edge - 1;
            for (std::int64_t x = 0; x < edge; ++x) {
                const std::int64_t x0 = x > 0 ? x - 1 : 0, x1 = x + 1 < edge ? x + 1 : edge - 1;
                std::uint32_t sum = 0, count = 0;
                for (std::int64_t k = z0; k <= z1; ++k)
                    for (std::int64_t j = y0; j <= y1; ++j) {
                        const std::uint16_t* row = field.data() + k * planeVoxels + j * edge;
                        for (std::int64_t i = x0; i <= x1; ++i, ++count) sum += row[i];
                    }
                out[y * edge + x] = static_cast<std::uint16_t>(sum / count);
            }
        }
    };
    job.writeBack = [&field](std::int64_t z, const void* plane) {
        const auto* in = static_cast<const std::uint16_t*>(plane);
        std::copy(in, in + planeVoxels, field.data() + z * planeVoxels);
    };
    const bool consoleWas = outputSettings.consoleActive;
    outputSettings.consoleActive = false;
    for (auto _ : state) {
        runSlices(job);
        benchmark::DoNotOptimize(field.data());
        benchmark::ClobberMemory();
    }
    outputSettings.consoleActive = consoleWas;
}
BENCHMARK(smoothSlices)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

const int ratios = addBenchRatio("scaleSlices/2/real_time", "scaleSlices/1/real_time") +
                   addBenchRatio("smoothSlices/2/real_time", "smoothSlices/1/real_time");

}  // namespace
