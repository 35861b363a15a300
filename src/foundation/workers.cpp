#include "foundation/workers.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <semaphore>
#include <vector>

#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"
#include "foundation/trackedarray.h"

namespace corvane {

ThreadStartRefusal threadStartRefusal = nullptr;

static_assert(sizeof(pthread_t) <= sizeof(std::uint64_t), "pthread_t must fit the handle");

bool threadStart(ThreadFunction function, void* parameter, ThreadHandle& handle) {
    if (threadStartRefusal != nullptr && threadStartRefusal()) return false;
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    bool started = pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(workerStackBytes)) == 0;
    pthread_t thread{};
    started = started && pthread_create(&thread, &attributes, function, parameter) == 0;
    pthread_attr_destroy(&attributes);
    if (started) handle.native = static_cast<std::uint64_t>(thread);
    return started;
}

void threadJoin(ThreadHandle& handle) {
    pthread_join(static_cast<pthread_t>(handle.native), nullptr);
    handle.native = 0;
}

namespace {

// Slice states.
constexpr std::uint8_t stateDone = 0;      // written back, or nothing to do
constexpr std::uint8_t stateFinished = 1;  // plane holds the result, not yet written back
constexpr std::uint8_t stateWaiting = 2;   // waiting or running; the field slice is still read

// How long the caller sleeps between write-back scans while no worker wakes it.
constexpr std::chrono::milliseconds callerPause{200};

// Everything of one threaded run. It lives on the caller's stack and outlives
// every worker, because all are joined before it goes.
struct SliceRun {
    const SliceJob* job = nullptr;
    // Slices are handed out in order through `nextSlice`; the finished count
    // (lost slices included) only rises. The caller sleeps on `allFinished`,
    // so a waiting caller does not burn a core.
    std::atomic<std::int64_t> nextSlice{0};
    std::atomic<std::uint32_t> threadsFinished{0};
    std::binary_semaphore allFinished{0};
    // Slice table: a result plane per slot (unallocated when the job writes
    // directly) and a state per slice. States are atomic because the caller
    // scans them while workers set theirs.
    std::vector<TrackedArray> slots;
    std::unique_ptr<std::atomic<std::uint8_t>[]> states;

    std::uint8_t state(std::int64_t slice) const {
        if (slice < 0 || slice >= job->slices) return stateDone;  // outside the volume
        return states[slice].load(std::memory_order_acquire);
    }
    // The next slice to work on, or -1 when every slice is out.
    std::int64_t claim() {
        const std::int64_t slice = nextSlice.fetch_add(1);
        return slice < job->slices ? slice : -1;
    }
    // Only the last slice wakes the caller; in between it wakes on its own
    // every few tenths of a second to write back and show progress, so that
    // on a machine with few cores it does not take turns from the workers.
    void countFinished() {
        if (threadsFinished.fetch_add(1) + 1 == job->slices) allFinished.release();
    }
};

// A worker takes slice after slice until none is left, so a thread start is
// paid once per worker and not once per slice; at most thread.max of them
// exist, which caps the slices worked on at once.
void* sliceWorker(void* parameter) {
    SliceRun& run = *static_cast<SliceRun*>(parameter);
    const SliceJob& job = *run.job;
    for (std::int64_t slice = run.claim(); slice >= 0; slice = run.claim()) {
        if (job.planeBytes > 0) {
            void* plane = run.slots[slice].records<std::uint8_t>();
            if (plane != nullptr) job.work(slice, plane);
            run.states[slice].store(stateFinished, std::memory_order_release);
        } else {
            job.work(slice, nullptr);
            run.states[slice].store(stateDone, std::memory_order_release);
        }
        run.countFinished();
    }
    return nullptr;
}

// Starts one more worker. When that fails, the next slice is lost without
// a message; counting it keeps the run going.
void startWorkerOrLoseSlice(SliceRun& run, std::vector<ThreadHandle>& crew) {
    ThreadHandle handle;
    if (threadStart(sliceWorker, &run, handle)) {
        crew.push_back(handle);
        return;
    }
    const std::int64_t lost = run.claim();
    if (lost < 0) return;
    run.states[lost].store(stateDone, std::memory_order_release);
    run.countFinished();
}

// Copies one finished plane into the field and releases it.
void writeBackSlice(SliceRun& run, std::int64_t slice) {
    TrackedArray& plane = run.slots[slice];
    if (plane.isAllocated() && run.job->writeBack) run.job->writeBack(slice, plane.records<std::uint8_t>());
    plane.free();
    run.states[slice].store(stateDone, std::memory_order_release);
}

// Writes back every finished slice; with the neighbour test only those whose
// neighbours no longer read the field.
void writeBackScan(SliceRun& run, bool neighbourTest) {
    for (std::int64_t i = 0; i < run.job->slices; ++i) {
        if (run.state(i) != stateFinished) continue;
        if (neighbourTest && (run.state(i - 1) >= stateWaiting || run.state(i + 1) >= stateWaiting)) continue;
        writeBackSlice(run, i);
    }
}

// Serial form when the job gives none: slice by slice on this thread, an
// in-place plane held back until the next slice has been computed.
void runSerially(const SliceJob& job) {
    if (job.planeBytes <= 0) {
        for (std::int64_t z = 0; z < job.slices; ++z) job.work(z, nullptr);
        return;
    }
    TrackedArray planes[2];
    for (std::int64_t z = 0; z < job.slices; ++z) {
        TrackedArray& plane = planes[z % 2];
        plane.allocStatic(job.planeBytes, 1);
        if (plane.isAllocated()) job.work(z, plane.records<std::uint8_t>());
        TrackedArray& previous = planes[(z + 1) % 2];
        if (z > 0 && previous.isAllocated() && job.writeBack) job.writeBack(z - 1, previous.records<std::uint8_t>());
        previous.free();
    }
    TrackedArray& last = planes[(job.slices - 1) % 2];
    if (job.slices > 0 && last.isAllocated() && job.writeBack) job.writeBack(job.slices - 1, last.records<std::uint8_t>());
    planes[1].free();
    planes[0].free();
}

}  // namespace

void runSlices(const SliceJob& job) {
    const std::int64_t limit = job.parallelLimit < 1 ? 1 : job.parallelLimit;
    if (job.slices < 2 || limit < 2) {
        if (job.serial) {
            job.serial();
        } else if (job.work) {
            runSerially(job);
        }
        return;
    }
    if (!job.work) return;

    SliceRun run;
    run.job = &job;
    run.slots.resize(static_cast<std::size_t>(job.slices));
    if (job.planeBytes > 0) {
        for (TrackedArray& plane : run.slots) plane.allocStatic(job.planeBytes, 1);
    }
    run.states = std::make_unique<std::atomic<std::uint8_t>[]>(static_cast<std::size_t>(job.slices));
    for (std::int64_t i = 0; i < job.slices; ++i) run.states[i].store(stateWaiting);
    writeLine("Working threads: " + integerToText(job.slices).toUtf8());
    writeLine("Parallel: " + integerToText(limit).toUtf8());
    ready(0, job.title);

    std::vector<ThreadHandle> crew;
    const std::int64_t crewSize = std::min(limit, job.slices);
    for (std::int64_t i = 0; i < crewSize; ++i) startWorkerOrLoseSlice(run, crew);
    // With no worker running, every slice left gets its own try.
    while (crew.empty() && run.nextSlice.load() < job.slices) startWorkerOrLoseSlice(run, crew);

    for (;;) {
        const std::uint32_t finished = run.threadsFinished.load();
        writeBackScan(run, true);
        ready(static_cast<double>(finished) / static_cast<double>(job.slices), job.title);
        if (finished >= job.slices) break;
        (void)run.allFinished.try_acquire_for(callerPause);
    }
    for (ThreadHandle& worker : crew) threadJoin(worker);
    writeBackScan(run, false);

    // Planes from the last to the first, then the lists.
    for (std::int64_t i = job.slices - 1; i >= 0; --i) run.slots[i].free();
    run.slots.clear();
    readyDone();
}

}  // namespace corvane
