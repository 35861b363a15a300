// Tracked array: allocation modes, growth schedule, guard check and the
// memory lines of the log.
#include "foundation/trackedarray.h"

#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include "foundation/console.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

constexpr std::uintptr_t hugePageBytes = std::uintptr_t{2} << 20;

// Volumes are filled right after allocation; on large pages the first touch
// of a 32 MiB block costs 16 faults instead of 8192. Advice only: where the
// system has no large pages nothing changes.
void adviseLargePages(void* block, std::int64_t bytes) {
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (start + hugePageBytes - 1) & ~(hugePageBytes - 1);
    const std::uintptr_t last = (start + static_cast<std::uintptr_t>(bytes)) & ~(hugePageBytes - 1);
    if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

void* heapAllocate(std::int64_t bytes) {
    if (bytes <= 0) return nullptr;
    void* block = std::calloc(1, static_cast<std::size_t>(bytes));
    if (block != nullptr && bytes >= static_cast<std::int64_t>(2 * hugePageBytes)) adviseLargePages(block, bytes);
    return block;
}

void heapRelease(void* block) { std::free(block); }

void* heapReallocate(void* block, std::int64_t bytes) {
    if (bytes <= 0) return nullptr;
    return std::realloc(block, static_cast<std::size_t>(bytes));
}

std::int64_t heapBlockSize(void* block) { return static_cast<std::int64_t>(malloc_usable_size(block)); }

MemoryAllocator allocator = {heapAllocate, heapRelease, heapReallocate, heapBlockSize};

constexpr std::int64_t mebibyte = 1048576;

// count * size, false when it leaves the int64 range; such a block can never
// be had and counts as a failed allocation.
bool byteSize(std::int64_t count, std::int64_t size, std::int64_t& bytes) {
    return !__builtin_mul_overflow(count, size, &bytes) && bytes > 0;
}

// For report lines only: fields may be corrupt, and printing them must not
// trip over signed overflow.
std::int64_t wrappedProduct(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

ByteText grouped(std::int64_t value) { return groupedIntegerToText(value).toUtf8(); }
ByteText plain(std::int64_t value) { return integerToText(value).toUtf8(); }

bool logOn() { return outputSettings.logActive; }

// Zeroes with the widest store that divides the byte count, so the stores
// never straddle the end of the range.
void clearBytes(void* start, std::int64_t bytes) {
    if (bytes <= 0) return;
    auto* out = static_cast<unsigned char*>(start);
    if (bytes % 8 == 0) {
        const std::uint64_t zero = 0;
        for (std::int64_t i = 0; i < bytes; i += 8) std::memcpy(out + i, &zero, 8);
    } else if (bytes % 4 == 0) {
        const std::uint32_t zero = 0;
        for (std::int64_t i = 0; i < bytes; i += 4) std::memcpy(out + i, &zero, 4);
    } else if (bytes % 2 == 0) {
        const std::uint16_t zero = 0;
        for (std::int64_t i = 0; i < bytes; i += 2) std::memcpy(out + i, &zero, 2);
    } else {
        for (std::int64_t i = 0; i < bytes; ++i) out[i] = 0;
    }
}

}  // namespace

MemoryAllocator defaultMemoryAllocator() { return {heapAllocate, heapRelease, heapReallocate, heapBlockSize}; }

MemoryAllocator currentMemoryAllocator() { return allocator; }

MemoryAllocator setMemoryAllocator(const MemoryAllocator& replacement) {
    MemoryAllocator previous = allocator;
    if (replacement.allocate == nullptr || replacement.release == nullptr) {
        allocator = defaultMemoryAllocator();
    } else {
        allocator = replacement;
    }
    return previous;
}

std::int64_t firstReserve(std::int64_t recordSize) {
    if (recordSize < 1) return 0;
    // Above 64 KiB records the reserve counts records as if they were bytes;
    // the block is then recordSize squared, an oddity kept on purpose.
    return recordSize < 65537 ? 65536 / recordSize : recordSize;
}

std::int64_t growthReserve(std::int64_t newCount, std::int64_t recordSize, std::int64_t oldReserve) {
    if (newCount < 0) newCount = 0;
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(newCount, recordSize, &bytes)) bytes = std::numeric_limits<std::int64_t>::max();
    // The step from an eighth to a thirty-second is deliberate: past 1 GiB
    // the spare room stays near 3 percent, past 10 GiB near 1.6.
    std::int64_t extra;
    if (bytes <= mebibyte) {
        extra = newCount;
    } else if (bytes <= 10 * mebibyte) {
        extra = newCount / 2;
    } else if (bytes <= 102 * mebibyte) {
        extra = newCount / 4;
    } else if (bytes <= 1024 * mebibyte) {
        extra = newCount / 8;
    } else if (bytes <= 10240 * mebibyte) {
        extra = newCount / 32;
    } else {
        extra = newCount / 64;
    }
    return std::max(oldReserve, extra);
}

TrackedArray::TrackedArray(TrackedArray&& other) noexcept { *this = std::move(other); }

TrackedArray& TrackedArray::operator=(TrackedArray&& other) noexcept {
    if (this == &other) return *this;
    free();
    typeTag = other.typeTag;
    guardCopy = other.guardCopy;
    capacity = other.capacity;
    reserve = other.reserve;
    spareWords[0] = other.spareWords[0];
    spareWords[1] = other.spareWords[1];
    spareFlag = other.spareFlag;
    guardWord1 = other.guardWord1;
    data = other.data;
    guardWord2 = other.guardWord2;
    recordBytes = other.recordBytes;
    guardWord3 = other.guardWord3;
    length = other.length;
    rangeFirst = other.rangeFirst;
    rangeLast = other.rangeLast;
    dirty = other.dirty;
    other.makeEmpty(0);
    other.typeTag = untypedTag;
    return *this;
}

void TrackedArray::makeEmpty(std::int64_t size) {
    guardCopy = emptyMark();
    capacity = 0;
    reserve = 0;
    spareWords[0] = 0;
    spareWords[1] = 0;
    spareFlag = 0;
    guardWord1 = 0;
    data = nullptr;
    guardWord2 = 0;
    recordBytes = size;
    guardWord3 = 0;
    length = 0;
    rangeFirst = 0;
    rangeLast = 0;
    dirty = 0;
}

void TrackedArray::setLength(std::int64_t newLength) {
    length = newLength;
    rangeFirst = newLength > 0 ? 1 : 0;
    rangeLast = newLength;
}

bool TrackedArray::guardCheck(const char* name, void* block) const {
    if (guardWord1 == 0 && guardWord2 == 0 && guardWord3 == 0) return true;
    const std::int64_t should = wrappedProduct(capacity, recordBytes);
    const std::int64_t actual = allocator.blockSize != nullptr ? allocator.blockSize(block) : should;
    writeLine("  Corrupt memory (" + ByteText(name) + " size=" + plain(actual) + " and should=" +
              plain(should) + ")!");
    return false;
}

void TrackedArray::releaseChecked(void* block, const char* name) {
    // A block behind dirty guard words stays leaked: its reference cannot be
    // trusted, and handing a wild pointer to the heap is worse than a leak.
    if (guardCheck(name, block)) allocator.release(block);
}

// A block of `bytes` holding the first keptBytes of the current one, zero
// behind them, or null with the current block untouched. When reallocate
// served the request the current block is gone and `moved` is set; otherwise
// the caller still releases it. Blocks behind dirty guard words never go to
// reallocate, which would release them.
void* TrackedArray::newBlock(std::int64_t bytes, std::int64_t keptBytes, bool& moved) {
    moved = false;
    const bool guardsClean = guardWord1 == 0 && guardWord2 == 0 && guardWord3 == 0;
    if (allocator.reallocate != nullptr && guardsClean) {
        void* block = allocator.reallocate(data, bytes);
        if (block == nullptr) return nullptr;
        clearBytes(static_cast<unsigned char*>(block) + keptBytes, bytes - keptBytes);
        moved = true;
        return block;
    }
    void* block = allocator.allocate(bytes);
    if (block != nullptr) std::memcpy(block, data, static_cast<std::size_t>(keptBytes));
    return block;
}

void TrackedArray::allocStatic(std::int64_t count, std::int64_t size) {
    typeTag = untypedTag;
    guardWord1 = 0;
    guardWord2 = 0;
    guardWord3 = 0;
    if (count <= 0) {
        allocDynamic(size);
        return;
    }
    if (isAllocated()) {
        if (size > 0 && capacity > 0 && length == count && recordBytes == size) {
            resize(count);
            return;
        }
        free();
    }
    if (size <= 0) {
        makeEmpty(0);
        return;
    }
    std::int64_t bytes = 0;
    void* block = byteSize(count, size, bytes) ? allocator.allocate(bytes) : nullptr;
    makeEmpty(size);
    if (block != nullptr) {
        if (logOn()) {
            writeLogLine("  Allocate first : " + grouped(bytes) + " Bytes (" + plain(count) + " * " +
                         plain(size) + ")");
        }
        capacity = count;
        setLength(count);
    } else {
        writeLine("  Wrong static allocation (Out of memory?)! Create empty field.");  // verbatim
    }
    data = block;
    guardCopy = data;
}

void TrackedArray::allocDynamic(std::int64_t size) {
    typeTag = untypedTag;
    guardWord1 = 0;
    guardWord2 = 0;
    guardWord3 = 0;
    if (isAllocated()) {
        if (size > 0 && capacity > 0 && length == 0 && recordBytes == size) {
            resize(0);
            return;
        }
        free();
    }
    if (size <= 0) {
        makeEmpty(0);
        return;
    }
    const std::int64_t first = firstReserve(size);
    std::int64_t bytes = 0;
    void* block = byteSize(first, size, bytes) ? allocator.allocate(bytes) : nullptr;
    makeEmpty(size);
    if (block != nullptr) {
        if (logOn()) {
            writeLogLine("  Allocate first dynamic : " + grouped(bytes) + " Bytes ((0 + " + plain(first) +
                         ") * " + plain(size) + ")");
        }
        capacity = first;
        reserve = first;
    } else {
        writeLine("  Wrong dynamic allocation (Out of memory?)! Create empty field.");  // verbatim
        recordBytes = 0;
    }
    data = block;
    guardCopy = data;
}

void TrackedArray::resize(std::int64_t newCount) {
    if (newCount < 0) newCount = 0;
    const std::int64_t size = recordBytes;

    // Only a record that holds no block may lack a record size.
    if (size < 1 && data != nullptr) {
        writeLine("  Corrupt memory packet (size=" + plain(size) + ")!");
        free();
        return;
    }

    if (!isAllocated()) {
        // An empty array is already of length 0.
        if (newCount == 0) return;
        if (size >= 1) {
            const std::uint8_t tag = typeTag;
            allocStatic(newCount, size);
            typeTag = tag;
        } else {
            writeLine("  Memory not allocated! Can't resize memory!");
        }
        return;
    }

    if (newCount == 0) {
        if (reserve > 0) {
            clearBytes(data, length * size);
            setLength(0);
            reserve = capacity;
        } else {
            if (logOn()) {
                writeLogLine("  Deallocate : " + grouped(capacity * size) + " Bytes (" + plain(capacity) +
                             " * " + plain(size) + ")");
            }
            void* block = data;
            releaseChecked(block, "Newlength-0");
            const std::uint8_t tag = typeTag;
            makeEmpty(size);
            typeTag = tag;
        }
        dirty = 1;
        return;
    }

    if (reserve <= 0) {
        // Static: the block always has exactly count records.
        if (newCount == length) return;
        std::int64_t bytes = 0;
        bool moved = false;
        void* block = byteSize(newCount, size, bytes) ? newBlock(bytes, std::min(length, newCount) * size, moved)
                                                      : nullptr;
        if (block == nullptr) {
            writeLine("  Not enough Memory! Create empty field.");
            releaseChecked(data, "Newlength-static");
            const std::uint8_t tag = typeTag;
            makeEmpty(size);
            typeTag = tag;
            return;
        }
        if (!moved) releaseChecked(data, "Newlength-static");
        data = block;
        guardCopy = block;
        capacity = newCount;
        setLength(newCount);
        dirty = 0;
        return;
    }

    if (newCount < capacity) {
        clearBytes(static_cast<unsigned char*>(data) + newCount * size, (capacity - newCount) * size);
        setLength(newCount);
        reserve = capacity - newCount;
        dirty = 0;
        return;
    }

    // Dynamic growth; at capacity as well, so that a dynamic array never
    // runs out of reserve and turns static.
    const std::int64_t newReserve = growthReserve(newCount, size, reserve);
    std::int64_t newCapacity = 0;
    std::int64_t bytes = 0;
    void* block = nullptr;
    bool moved = false;
    if (!__builtin_add_overflow(newCount, newReserve, &newCapacity) && byteSize(newCapacity, size, bytes)) {
        block = newBlock(bytes, length * size, moved);
    }
    if (block != nullptr) {
        if (logOn()) {
            writeLogLine("  Deallocate : " + grouped(capacity * size) + " Bytes (" + plain(capacity) + " * " +
                         plain(size) + ")");
            writeLogLine("  Allocate dynamic : " + grouped(bytes) + " Bytes ((" + plain(newCount) + " + " +
                         plain(newReserve) + ") * " + plain(size) + ")");
        }
        if (!moved) releaseChecked(data, "Newlength-dynamic");
        data = block;
        guardCopy = block;
        capacity = newCapacity;
        reserve = newReserve;
        setLength(newCount);
        dirty = 0;
        return;
    }

    // No room for the reserve: try the bare count and go on without one.
    block = byteSize(newCount, size, bytes) ? newBlock(bytes, length * size, moved) : nullptr;
    if (block == nullptr) {
        writeLine("  Not enough Memory! Create empty field.");
        releaseChecked(data, "Newlength-dynamic");
        const std::uint8_t tag = typeTag;
        makeEmpty(size);
        typeTag = tag;
        return;
    }
    writeLine("  Not enough Memory! Disable dynamic memory.");
    if (!moved) releaseChecked(data, "Newlength-dynamic");
    data = block;
    guardCopy = block;
    capacity = newCount;
    reserve = 0;
    setLength(newCount);
    dirty = 0;
}

void TrackedArray::free() {
    void* block = data;
    const bool wasAllocated = block != nullptr && block == guardCopy;
    data = nullptr;
    if (wasAllocated) {
        const std::int64_t used =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(capacity) - static_cast<std::uint64_t>(reserve));
        if (used == length) {
            if (logOn()) {
                // "finaly" is verbatim.
                writeLogLine("  Deallocate finaly : " + grouped(wrappedProduct(capacity, recordBytes)) + " Bytes (" +
                             plain(capacity) + " * " + plain(recordBytes) + ")");
            }
            releaseChecked(block, "Done");
        } else if (logOn()) {
            // The bookkeeping disagrees with itself; the block may not be ours.
            writeLogLine("  Deallocation fails! Length: " + plain(length) + " Dynamic length: " + plain(reserve) +
                         " Maximal: " + plain(capacity) + " mismatch!");
        }
    }
    makeEmpty(0);
    typeTag = untypedTag;
}

void TrackedArray::getRecord(std::int64_t index, void* buffer) const {
    if (recordBytes < 1) return;
    const void* address = recordAddress(index);
    if (address != nullptr) {
        std::memcpy(buffer, address, static_cast<std::size_t>(recordBytes));
    } else {
        std::memset(buffer, 0, static_cast<std::size_t>(recordBytes));
    }
}

void TrackedArray::setRecordBeyond(std::int64_t index, const void* buffer) {
    if (index < 1 || !isAllocated()) return;
    if (index <= length) {
        std::memcpy(static_cast<char*>(data) + (index - 1) * recordBytes, buffer,
                    static_cast<std::size_t>(recordBytes));
        dirty = 0;
        return;
    }
    if (reserve <= 0) return;  // static arrays do not grow on writes
    if (index < capacity) {
        // The records in between are zero already: the tail of a dynamic
        // block is kept clear.
        setLength(index);
        reserve = capacity - index;
    } else {
        resize(index);
        if (length < index) return;
    }
    std::memcpy(static_cast<char*>(data) + (index - 1) * recordBytes, buffer, static_cast<std::size_t>(recordBytes));
    dirty = 0;
}

void TrackedArray::copyFrom(const TrackedArray& source) {
    if (&source == this || source.recordBytes != recordBytes) return;
    const std::int64_t count = source.isAllocated() ? source.length : 0;
    resize(count);
    if (count > 0 && length == count) {
        std::memcpy(data, source.data, static_cast<std::size_t>(count * recordBytes));
        dirty = 0;
    }
}

void TrackedArray::insertBlock(std::int64_t position, std::int64_t deleteCount, const TrackedArray& source) {
    const std::int64_t size = recordBytes;
    if (size < 1 || source.recordBytes != size) return;
    const std::int64_t oldCount = isAllocated() ? length : 0;
    if (position < 1 || position > oldCount + 1) return;
    deleteCount = std::clamp<std::int64_t>(deleteCount, 0, oldCount - position + 1);
    const std::int64_t inserted = source.isAllocated() ? source.length : 0;

    // Inserting an array into itself reads from a copy, since the move of
    // the tail would overwrite the source.
    const void* from = source.data;
    void* copy = nullptr;
    if (&source == this && inserted > 0) {
        copy = allocator.allocate(inserted * size);
        if (copy == nullptr) return;
        std::memcpy(copy, source.data, static_cast<std::size_t>(inserted * size));
        from = copy;
    }

    const std::int64_t newCount = oldCount - deleteCount + inserted;
    const std::int64_t tailIndex = position - 1 + deleteCount;  // 0-based, first record kept behind
    const std::int64_t tailCount = oldCount - tailIndex;
    const std::int64_t newTailIndex = position - 1 + inserted;
    if (newCount > oldCount) {
        resize(newCount);
        if (length != newCount) {
            if (copy != nullptr) allocator.release(copy);
            return;
        }
        auto* base = static_cast<unsigned char*>(data);
        std::memmove(base + newTailIndex * size, base + tailIndex * size, static_cast<std::size_t>(tailCount * size));
    } else if (newCount < oldCount) {
        auto* base = static_cast<unsigned char*>(data);
        std::memmove(base + newTailIndex * size, base + tailIndex * size, static_cast<std::size_t>(tailCount * size));
        resize(newCount);
    }
    if (inserted > 0 && length == newCount) {
        std::memcpy(static_cast<unsigned char*>(data) + (position - 1) * size, from,
                    static_cast<std::size_t>(inserted * size));
    }
    if (copy != nullptr) allocator.release(copy);
    dirty = 0;
}

void TrackedArray::flip() {
    if (!isAllocated() || length < 2 || recordBytes < 1) return;
    // One record's worth of buffer, taken in pieces so that no record size
    // needs a heap buffer.
    unsigned char buffer[256];
    auto* base = static_cast<unsigned char*>(data);
    const std::int64_t size = recordBytes;
    for (std::int64_t low = 0, high = length - 1; low < high; ++low, --high) {
        unsigned char* a = base + low * size;
        unsigned char* b = base + high * size;
        for (std::int64_t offset = 0; offset < size; offset += static_cast<std::int64_t>(sizeof buffer)) {
            const auto piece = static_cast<std::size_t>(std::min<std::int64_t>(sizeof buffer, size - offset));
            std::memcpy(buffer, a + offset, piece);
            std::memcpy(a + offset, b + offset, piece);
            std::memcpy(b + offset, buffer, piece);
        }
    }
    dirty = 0;
}

void swapArrays(TrackedArray& a, TrackedArray& b) {
    if (&a == &b || a.length != b.length || a.recordBytes != b.recordBytes) return;
    std::swap(a.data, b.data);
    std::swap(a.guardCopy, b.guardCopy);
    std::swap(a.capacity, b.capacity);
    std::swap(a.reserve, b.reserve);
    std::swap(a.dirty, b.dirty);
}

}  // namespace corvane

#if defined(__SANITIZE_ADDRESS__)
// Failed allocations are part of the design (the empty field and its line),
// so sanitized builds let an impossible request fail instead of aborting.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif
