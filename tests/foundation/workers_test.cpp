// Worker threads: identical results for any thread.max, the neighbour
// write-back rule, the report lines, the serial form and a lost slice.
#include "foundation/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/progress.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

constexpr std::int64_t sizeX = 7, sizeY = 5, sizeZ = 40;
constexpr std::int64_t planeVoxels = sizeX * sizeY;

std::vector<std::uint16_t> testVolume(std::int64_t slices = sizeZ) {
    std::vector<std::uint16_t> volume(static_cast<std::size_t>(planeVoxels * slices));
    std::uint32_t seed = 12345;
    for (auto& voxel : volume) {
        seed = seed * 1103515245u + 12345u;
        voxel = static_cast<std::uint16_t>(seed >> 16);
    }
    return volume;
}

// A kernel into a separate target: each voxel mixed with its slice number.
std::vector<std::uint16_t> mixIntoTarget(const std::vector<std::uint16_t>& source, std::int64_t slices,
                                         std::int64_t limit) {
    std::vector<std::uint16_t> target(source.size(), 0);
    SliceJob job;
    job.slices = slices;
    job.parallelLimit = limit;
    job.title = "Mixing";
    job.work = [&](std::int64_t z, void*) {
        for (std::int64_t i = 0; i < planeVoxels; ++i) {
            const std::size_t at = static_cast<std::size_t>(z * planeVoxels + i);
            target[at] = static_cast<std::uint16_t>(source[at] * 3 + z * 7 + i);
        }
    };
    runSlices(job);
    return target;
}

// Mean of the voxel with its z neighbours, a neighbour outside the volume
// counting as the voxel itself.
std::uint16_t smoothedVoxel(const std::uint16_t* field, std::int64_t slices, std::int64_t z, std::int64_t i) {
    const std::uint32_t self = field[z * planeVoxels + i];
    const std::uint32_t below = z > 0 ? field[(z - 1) * planeVoxels + i] : self;
    const std::uint32_t above = z + 1 < slices ? field[(z + 1) * planeVoxels + i] : self;
    return static_cast<std::uint16_t>((below + self + above) / 3);
}

std::vector<std::uint16_t> smoothReference(const std::vector<std::uint16_t>& field, std::int64_t slices) {
    std::vector<std::uint16_t> result(field.size());
    for (std::int64_t z = 0; z < slices; ++z) {
        for (std::int64_t i = 0; i < planeVoxels; ++i) {
            result[static_cast<std::size_t>(z * planeVoxels + i)] = smoothedVoxel(field.data(), slices, z, i);
        }
    }
    return result;
}

// In place: the kernel reads z-1, z, z+1 of the field and writes its plane.
SliceJob smoothInPlace(std::vector<std::uint16_t>& field, std::int64_t slices, std::int64_t limit) {
    SliceJob job;
    job.slices = slices;
    job.parallelLimit = limit;
    job.title = "Smoothing";
    job.planeBytes = planeVoxels * static_cast<std::int64_t>(sizeof(std::uint16_t));
    job.work = [&field, slices](std::int64_t z, void* plane) {
        auto* out = static_cast<std::uint16_t*>(plane);
        for (std::int64_t i = 0; i < planeVoxels; ++i) out[i] = smoothedVoxel(field.data(), slices, z, i);
    };
    job.writeBack = [&field](std::int64_t z, const void* plane) {
        std::memcpy(field.data() + z * planeVoxels, plane, static_cast<std::size_t>(planeVoxels) * sizeof(std::uint16_t));
    };
    return job;
}

// The log without the memory lines, which start with two blanks.
std::string reportLines(const std::string& log) {
    std::string kept;
    std::size_t start = 0;
    while (start < log.size()) {
        std::size_t end = log.find('\n', start);
        end = end == std::string::npos ? log.size() : end + 1;
        if (log.compare(start, 2, "  ") != 0) kept += log.substr(start, end - start);
        start = end;
    }
    return kept;
}

class Worker : public ::testing::Test {
protected:
    void SetUp() override { progress = ProgressState(); }
    void TearDown() override {
        progress = ProgressState();
        threadStartRefusal = nullptr;
    }
};

TEST_F(Worker, SameResultForEveryLimit) {
    OutputCapture capture;
    const auto source = testVolume();
    const auto serial = mixIntoTarget(source, sizeZ, 1);
    EXPECT_EQ(mixIntoTarget(source, sizeZ, 2), serial);
    EXPECT_EQ(mixIntoTarget(source, sizeZ, 16), serial);
    EXPECT_EQ(mixIntoTarget(source, sizeZ, 100), serial);
    // Sanity: the kernel did touch every voxel.
    EXPECT_EQ(serial[5], static_cast<std::uint16_t>(source[5] * 3 + 5));
    EXPECT_EQ(serial.back(), static_cast<std::uint16_t>(source.back() * 3 + 39 * 7 + planeVoxels - 1));
}

TEST_F(Worker, SingleSliceRunsSerially) {
    OutputCapture capture;
    const auto source = testVolume(1);
    const auto one = mixIntoTarget(source, 1, 16);
    for (std::int64_t i = 0; i < planeVoxels; ++i) {
        EXPECT_EQ(one[static_cast<std::size_t>(i)], static_cast<std::uint16_t>(source[static_cast<std::size_t>(i)] * 3 + i));
    }
    EXPECT_EQ(capture.console(), "");
}

TEST_F(Worker, InPlaceSmoothingKeepsNeighboursIntact) {
    OutputCapture capture;
    const auto original = testVolume();
    const auto expected = smoothReference(original, sizeZ);
    for (std::int64_t limit : {1, 2, 3, 16, 64}) {
        auto field = original;
        runSlices(smoothInPlace(field, sizeZ, limit));
        EXPECT_EQ(field, expected) << "limit " << limit;
    }
}

TEST_F(Worker, InPlaceSmoothingOfTwoSlices) {
    OutputCapture capture;
    const auto original = testVolume(2);
    auto field = original;
    runSlices(smoothInPlace(field, 2, 2));
    EXPECT_EQ(field, smoothReference(original, 2));
}

TEST_F(Worker, SerialFormOfTheJobRunsBelowTwo) {
    OutputCapture capture;
    int serialRuns = 0;
    std::atomic<int> kernelRuns{0};
    SliceJob job;
    job.slices = sizeZ;
    job.title = "Counting";
    job.work = [&](std::int64_t, void*) { ++kernelRuns; };
    job.serial = [&] { ++serialRuns; };
    for (std::int64_t limit : {1, 0, -5}) {
        job.parallelLimit = limit;
        runSlices(job);
    }
    EXPECT_EQ(serialRuns, 3);
    EXPECT_EQ(kernelRuns, 0);
    job.parallelLimit = 2;
    runSlices(job);
    EXPECT_EQ(serialRuns, 3);
    EXPECT_EQ(kernelRuns, sizeZ);
}

TEST_F(Worker, ReportLines) {
    OutputCapture capture;
    const auto source = testVolume();
    mixIntoTarget(source, sizeZ, 2);
    const std::string console = capture.console();
    EXPECT_EQ(console.rfind("Working threads: 40\nParallel: 2\n", 0), 0u) << console;
    EXPECT_NE(console.find("Mixing. "), std::string::npos);  // the progress line
    EXPECT_EQ(reportLines(capture.log()), "Working threads: 40\nParallel: 2\n");
}

TEST_F(Worker, LimitZeroOrNegativeCountsAsOne) {
    OutputCapture capture;
    const auto source = testVolume();
    const auto reference = mixIntoTarget(source, sizeZ, 1);
    EXPECT_EQ(mixIntoTarget(source, sizeZ, 0), reference);
    EXPECT_EQ(mixIntoTarget(source, sizeZ, -3), reference);
    EXPECT_EQ(capture.console(), "");
}

TEST_F(Worker, LimitCapsTheRunningWorkers) {
    OutputCapture capture;
    std::atomic<int> running{0}, most{0};
    SliceJob job;
    job.slices = 8;
    job.parallelLimit = 3;
    job.work = [&](std::int64_t, void*) {
        const int now = ++running;
        int seen = most.load();
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        --running;
    };
    runSlices(job);
    EXPECT_LE(most.load(), 3);  // the limit caps the running workers
    EXPECT_GE(most.load(), 1);
}

int startCalls = 0;
bool refuseFirstStart() { return ++startCalls == 1; }

TEST_F(Worker, FailedThreadStartLosesTheSliceSilently) {
    OutputCapture capture;
    startCalls = 0;
    threadStartRefusal = refuseFirstStart;
    const auto original = testVolume();
    auto field = original;
    runSlices(smoothInPlace(field, sizeZ, 4));
    threadStartRefusal = nullptr;

    // The failed start loses the first slice, before any worker runs: it
    // keeps its old values, and slice 1 reads them unchanged.
    const auto expected = smoothReference(original, sizeZ);
    for (std::int64_t z = 0; z < sizeZ; ++z) {
        const auto begin = static_cast<std::ptrdiff_t>(z * planeVoxels);
        const auto& want = z == 0 ? original : expected;
        EXPECT_TRUE(std::equal(field.begin() + begin, field.begin() + begin + planeVoxels, want.begin() + begin))
            << "slice " << z;
    }
    EXPECT_EQ(reportLines(capture.log()), "Working threads: 40\nParallel: 4\n");  // no message for the lost slice
}

TEST_F(Worker, EveryStartFailingStillEnds) {
    OutputCapture capture;
    threadStartRefusal = [] { return true; };
    std::atomic<int> kernelRuns{0};
    SliceJob job;
    job.slices = 5;
    job.parallelLimit = 2;
    job.work = [&](std::int64_t, void*) { ++kernelRuns; };
    runSlices(job);
    EXPECT_EQ(kernelRuns, 0);
}

TEST_F(Worker, ThreadStartGivesAJoinableThread) {
    std::atomic<int> ran{0};
    ThreadHandle handle;
    ASSERT_TRUE(threadStart(
        [](void* parameter) -> void* {
            ++*static_cast<std::atomic<int>*>(parameter);
            return nullptr;
        },
        &ran, handle));
    threadJoin(handle);
    EXPECT_EQ(ran.load(), 1);
}

}  // namespace
}  // namespace corvane
