#include "foundation/workers.h"

#include <pthread.h>

#include <atomic>
#include <memory>
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

// Join states of a slice's thread.
constexpr std::uint8_t joinRunning = 1;
constexpr std::uint8_t joinSeenEnded = 2;

// Everything of one threaded run. It lives on the caller's stack and outlives
// every worker, because all are joined before it goes.
struct SliceRun {
    const SliceJob* job = nullptr;
    // Counters change by atomic increment only. Waits block on them through
    // atomic wait/notify, so a waiting caller does not burn a core.
    std::atomic<std::uint32_t> threadsStarted{0};
    std::atomic<std::uint32_t> threadsFinished{0};
    std::atomic<std::uint32_t> threadTaken{0};
    // Slice table: a result plane per slot (unallocated when the job writes
    // directly) and a state per slice. States are atomic because the caller
    // scans them while workers set theirs.
    std::vector<TrackedArray> slots;
    std::unique_ptr<std::atomic<std::uint8_t>[]> states;
    // Per slice: its thread, whether it still has to be joined, and whether
    // the worker is through with everything but its exit.
    std::vector<ThreadHandle> threads;
    std::vector<std::uint8_t> joinPending;
    std::unique_ptr<std::atomic<bool>[]> ended;

    std::uint8_t state(std::int64_t slice) const {
        if (slice < 0 || slice >= job->slices) return stateDone;  // outside the volume
        return states[slice].load(std::memory_order_acquire);
    }
};

// Parameter block, on the caller's stack and reused for the next slice as
// soon as the worker has taken its copy.
struct WorkerBlock {
    SliceRun* run = nullptr;
    std::int64_t slice = 0;
};

void* sliceWorker(void* parameter) {
    const WorkerBlock block = *static_cast<const WorkerBlock*>(parameter);
    SliceRun& run = *block.run;
    run.threadTaken.fetch_add(1);
    run.threadTaken.notify_all();

    const SliceJob& job = *run.job;
    if (job.planeBytes > 0) {
        void* plane = run.slots[block.slice].records<std::uint8_t>();
        if (plane != nullptr) job.work(block.slice, plane);
        run.states[block.slice].store(stateFinished, std::memory_order_release);
    } else {
        job.work(block.slice, nullptr);
    }
    run.ended[block.slice].store(true, std::memory_order_release);
    run.threadsFinished.fetch_add(1);
    run.threadsFinished.notify_all();
    return nullptr;
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

// Joins the threads whose workers are through, so ended threads do not hold
// their stacks until the end of the command. A worker seen through is joined
// only at the next call: by then it has left, and the join does not block.
void joinEnded(SliceRun& run, bool all) {
    for (std::int64_t i = 0; i < run.job->slices; ++i) {
        if (run.joinPending[i] == joinSeenEnded || (run.joinPending[i] != 0 && all)) {
            threadJoin(run.threads[i]);
            run.joinPending[i] = 0;
        } else if (run.joinPending[i] == joinRunning && run.ended[i].load(std::memory_order_acquire)) {
            run.joinPending[i] = joinSeenEnded;
        }
    }
}

void waitUntilTaken(SliceRun& run) {
    std::uint32_t taken = run.threadTaken.load();
    while (taken == 0) {
        run.threadTaken.wait(taken);
        taken = run.threadTaken.load();
    }
}

// Blocks while at least `limit` workers run.
void waitBelow(SliceRun& run, std::int64_t limit) {
    const std::int64_t started = run.threadsStarted.load();
    std::uint32_t finished = run.threadsFinished.load();
    while (started - static_cast<std::int64_t>(finished) >= limit) {
        run.threadsFinished.wait(finished);
        finished = run.threadsFinished.load();
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
    run.threads.resize(static_cast<std::size_t>(job.slices));
    run.joinPending.assign(static_cast<std::size_t>(job.slices), 0);
    run.ended = std::make_unique<std::atomic<bool>[]>(static_cast<std::size_t>(job.slices));

    writeLine("Working threads: " + integerToText(job.slices).toUtf8());
    writeLine("Parallel: " + integerToText(limit).toUtf8());
    ready(0, job.title);

    WorkerBlock block;
    block.run = &run;
    for (std::int64_t z = 0; z < job.slices; ++z) {
        run.threadsStarted.fetch_add(1);
        run.threadTaken.store(0);
        block.slice = z;
        if (threadStart(sliceWorker, &block, run.threads[z])) {
            run.joinPending[z] = joinRunning;
        } else {
            // The slice is lost without a message; counting it keeps the
            // protocol going.
            run.threadTaken.fetch_add(1);
            run.states[z].store(stateDone);
            run.threadsFinished.fetch_add(1);
        }
        waitUntilTaken(run);
        waitBelow(run, limit);
        writeBackScan(run, true);
        joinEnded(run, false);
        ready(static_cast<double>(run.threadsFinished.load()) / static_cast<double>(job.slices), job.title);
    }
    waitBelow(run, 1);
    joinEnded(run, true);
    writeBackScan(run, false);

    // Planes from the last to the first, then the lists.
    for (std::int64_t i = job.slices - 1; i >= 0; --i) run.slots[i].free();
    run.slots.clear();
    readyDone();
}

}  // namespace corvane
