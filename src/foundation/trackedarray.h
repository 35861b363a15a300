// Tracked array: the one record that holds bulk data, a block of fixed-size
// records in static or dynamic mode, with guard words around the data
// reference and an out-of-memory path that leaves an empty array behind.
#pragma once

#include <cstdint>
#include <cstring>

namespace corvane {

// The heap behind every tracked array. `allocate` yields zeroed memory or
// null, never raises. The others are optional: `reallocate` moves a block to
// a new size keeping its bytes (the rest undefined) and leaves it alone on
// failure, which spares growing arrays a copy; `blockSize` tells the real
// size of a block for the corrupt-memory report.
struct MemoryAllocator {
    void* (*allocate)(std::int64_t bytes) = nullptr;
    void (*release)(void* block) = nullptr;
    void* (*reallocate)(void* block, std::int64_t bytes) = nullptr;
    std::int64_t (*blockSize)(void* block) = nullptr;
};

// calloc, free, realloc and malloc_usable_size of the runtime.
MemoryAllocator defaultMemoryAllocator();
MemoryAllocator currentMemoryAllocator();
// Installs an allocator and yields the one it replaces; a record without
// allocate or release installs the default.
MemoryAllocator setMemoryAllocator(const MemoryAllocator& allocator);

// Growth schedule of dynamic arrays, in records. The first block holds about
// 64 KiB; records above 64 KiB get a reserve of as many records as they have
// bytes, so that block is size squared.
std::int64_t firstReserve(std::int64_t recordSize);
// Reserve after growing to newCount: a share of newCount chosen by the byte
// size of the new length, never below the old reserve.
std::int64_t growthReserve(std::int64_t newCount, std::int64_t recordSize, std::int64_t oldReserve);

// Type tags of the typed layers.
constexpr std::uint8_t untypedTag = 0;
constexpr std::uint8_t bytePlaneTag = 4;
constexpr std::uint8_t wordPlaneTag = 5;
constexpr std::uint8_t plane2DTag = 68;
constexpr std::uint8_t vectorArrayTag = 88;
constexpr std::uint8_t nameListTag = 241;

// The field order is part of the design: the guard words sit around the data
// reference, so a stray write from a neighbouring field hits a canary first.
// An array is allocated exactly when data is not null and equals guardCopy,
// so a record of random bytes reads as unallocated and can be allocated
// without clearing it first. Static mode has reserve 0 and capacity ==
// length; dynamic mode keeps reserve = capacity - length above 0, which is
// what tells the two modes apart. Records behind length are kept zero.
// Record indices are 1-based.
struct TrackedArray {
    std::uint8_t typeTag = untypedTag;
    void* guardCopy = emptyMark();  // data again when allocated, 1 when empty by design
    std::int64_t capacity = 0;      // records the block holds
    std::int64_t reserve = 0;       // free records behind length
    std::int64_t spareWords[2] = {0, 0};
    std::uint8_t spareFlag = 0;
    std::uint64_t guardWord1 = 0;   // canary, must stay 0
    void* data = nullptr;
    std::uint64_t guardWord2 = 0;   // canary, must stay 0
    std::int64_t recordBytes = 0;   // bytes per record
    std::uint64_t guardWord3 = 0;   // canary, must stay 0
    std::int64_t length = 0;        // records in use
    std::int64_t rangeFirst = 0;    // (1, length), or (0, 0) when empty
    std::int64_t rangeLast = 0;
    std::uint8_t dirty = 0;         // set by a resize to 0, cleared by writes

    TrackedArray() = default;
    ~TrackedArray() { free(); }
    TrackedArray(const TrackedArray&) = delete;
    TrackedArray& operator=(const TrackedArray&) = delete;
    TrackedArray(TrackedArray&& other) noexcept;
    TrackedArray& operator=(TrackedArray&& other) noexcept;

    static void* emptyMark() { return reinterpret_cast<void*>(std::uintptr_t{1}); }

    bool isAllocated() const { return data != nullptr && data == guardCopy; }
    bool isDynamic() const { return reserve > 0 && isAllocated(); }
    bool isDirty() const { return dirty != 0; }
    std::int64_t count() const { return length; }
    std::int64_t recordSize() const { return recordBytes; }

    // Exactly count records; a count below 1 gives an empty dynamic array.
    // An allocated array of the same shape keeps its contents.
    void allocStatic(std::int64_t count, std::int64_t size);
    // Empty array with the first reserve of firstReserve(size).
    void allocDynamic(std::int64_t size);
    // Grows or shrinks; negative counts are 0. New records read as zero.
    void resize(std::int64_t newCount);
    void addLength(std::int64_t delta) { resize(length + delta); }
    // Releases the block after the guard check; the array becomes empty.
    void free();

    // Copies one record out; an index outside 1..count yields zero bytes.
    void getRecord(std::int64_t index, void* buffer) const;
    // Copies one record in. Past count, a dynamic array grows to index;
    // a static one ignores the write.
    void setRecord(std::int64_t index, const void* buffer) {
        if (index >= 1 && index <= length && isAllocated()) {
            std::memcpy(static_cast<char*>(data) + (index - 1) * recordBytes, buffer,
                        static_cast<std::size_t>(recordBytes));
            dirty = 0;
        } else if (index == length + 1 && index < capacity && reserve > 0 && isAllocated()) {
            // Appending within the block, the common case of a growing list.
            length = index;
            reserve = capacity - index;
            rangeFirst = 1;
            rangeLast = index;
            std::memcpy(static_cast<char*>(data) + (index - 1) * recordBytes, buffer,
                        static_cast<std::size_t>(recordBytes));
            dirty = 0;
        } else {
            setRecordBeyond(index, buffer);
        }
    }
    // Null for an index outside 1..count.
    void* recordAddress(std::int64_t index) const {
        if (index < 1 || index > length || !isAllocated()) return nullptr;
        return static_cast<char*>(data) + (index - 1) * recordBytes;
    }
    // The block for hot loops: record i (1-based) is records<T>()[i - 1].
    template <typename T>
    T* records() const {
        return isAllocated() ? static_cast<T*>(data) : nullptr;
    }

    // With equal record sizes: resize to the source count and copy the block.
    void copyFrom(const TrackedArray& source);
    // Replaces deleteCount records from position on by all records of source,
    // moving the tail; record sizes must agree. position may be count + 1.
    void insertBlock(std::int64_t position, std::int64_t deleteCount, const TrackedArray& source);
    // Reverses the record order in place.
    void flip();

private:
    void setRecordBeyond(std::int64_t index, const void* buffer);
    void makeEmpty(std::int64_t size);
    void setLength(std::int64_t newLength);
    bool guardCheck(const char* name, void* block) const;
    void* newBlock(std::int64_t bytes, std::int64_t keptBytes, bool& moved);
    void releaseChecked(void* block, const char* name);
};

// With equal count and record size, exchanges the blocks (and the capacity
// and reserve that describe them).
void swapArrays(TrackedArray& a, TrackedArray& b);

}  // namespace corvane
