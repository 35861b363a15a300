// Worker threads: the z slices of a field handed out in order to at most
// `thread.max` workers, each taking the next slice as it finishes one, and
// finished slices written back into the field by the caller itself. The smoothing, scanning
// and measuring commands give only their per-slice kernel.
#pragma once

#include <cstdint>
#include <functional>

#include "foundation/text.h"

namespace corvane {

// One parallel run over the z slices of a field. Slice numbers handed to the
// kernels are 0-based (0 .. slices - 1), the natural plane offset.
struct SliceJob {
    std::int64_t slices = 0;         // sizeZ
    std::int64_t parallelLimit = 1;  // thread.max as the caller read it; below 1 counts as 1
    Text title;                      // progress title

    // Above 0 the command works in place: every slice gets a zeroed result
    // plane of this many bytes, the kernel writes only there, and the caller's
    // thread copies it into the field through writeBack once neither
    // neighbour slice is still being worked on. At 0 the kernel writes its
    // target field directly, gets a null plane, and writeBack is not used.
    std::int64_t planeBytes = 0;

    // Per-slice kernel, run on a worker thread (several at once): it may read
    // the field and write only its plane or its own slice of a separate
    // target. It must not throw, print or report progress. A plane that could
    // not be allocated (the memory line is printed) skips the slice.
    std::function<void(std::int64_t slice, void* plane)> work;
    // Copies a finished plane into the field; runs on the caller's thread.
    std::function<void(std::int64_t slice, const void* plane)> writeBack;

    // The serial form of the command, run instead when there are fewer than
    // 2 slices or the limit is below 2. Left empty, the kernel runs slice by
    // slice on the caller's thread, each in-place plane written back only
    // after the next slice is done, so a z-1..z+1 kernel still reads the old
    // neighbours.
    std::function<void()> serial;
};

// Runs the job: the serial form, or the threaded one with the lines
// "Working threads: " slices and "Parallel: " limit and the progress line.
// Every thread it starts has ended when it returns. For each worker that
// cannot be started one slice stays unprocessed without a message.
void runSlices(const SliceJob& job);

// Starts a thread with a 4 MiB stack running function(parameter); false on
// failure. The caller owns the handle and must join it.
using ThreadFunction = void* (*)(void* parameter);
struct ThreadHandle {
    std::uint64_t native = 0;  // pthread_t of the platform
};
bool threadStart(ThreadFunction function, void* parameter, ThreadHandle& handle);
void threadJoin(ThreadHandle& handle);

constexpr std::int64_t workerStackBytes = 4 * 1024 * 1024;

// Test hook: when set, threadStart asks it first and fails without starting
// a thread if it answers true.
using ThreadStartRefusal = bool (*)();
extern ThreadStartRefusal threadStartRefusal;

}  // namespace corvane
