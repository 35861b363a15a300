// Tracked arrays: growth schedule, static and dynamic modes, record access,
// block operations, guard words, memory log lines and failed allocations.
#include "foundation/trackedarray.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/console.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

constexpr std::int64_t mebibyte = 1048576;

// Heap with fault injection: requests numbered failFirst..failLast (from 1)
// yield null, reallocations counted alike. Blocks come from calloc, so the
// default release fits them.
struct FaultPlan {
    int calls = 0;
    int failFirst = 0;  // 0: never fail
    int failLast = 0;
    std::int64_t lastRequest = 0;
    int releases = 0;
};
FaultPlan faults;

bool nextCallFails(std::int64_t bytes) {
    ++faults.calls;
    faults.lastRequest = bytes;
    return faults.failFirst > 0 && faults.calls >= faults.failFirst && faults.calls <= faults.failLast;
}
void* faultyAllocate(std::int64_t bytes) {
    return nextCallFails(bytes) ? nullptr : std::calloc(1, static_cast<std::size_t>(bytes));
}
void* faultyReallocate(void* block, std::int64_t bytes) {
    return nextCallFails(bytes) ? nullptr : std::realloc(block, static_cast<std::size_t>(bytes));
}
void faultyRelease(void* block) {
    ++faults.releases;
    std::free(block);
}
std::int64_t faultyBlockSize(void* block) { return static_cast<std::int64_t>(malloc_usable_size(block)); }

const MemoryAllocator faultyHeap = {faultyAllocate, faultyRelease, faultyReallocate, faultyBlockSize};
// The same without reallocate: every move is allocate, copy, release.
const MemoryAllocator faultyCopyingHeap = {faultyAllocate, faultyRelease, nullptr, faultyBlockSize};

class TrackedFixture : public ::testing::Test {
protected:
    void SetUp() override {
        faults = FaultPlan();
        savedAllocator_ = setMemoryAllocator(faultyHeap);
    }
    void TearDown() override { setMemoryAllocator(savedAllocator_); }

    void failCalls(int first, int last) {
        faults.calls = 0;
        faults.failFirst = first;
        faults.failLast = last;
    }

    OutputCapture capture;

    // Moving blocks by reallocate and by copy must not differ.
    struct Heap {
        const char* name;
        const MemoryAllocator* allocator;
    };
    static constexpr Heap heaps[] = {{"reallocating heap", &faultyHeap}, {"copying heap", &faultyCopyingHeap}};

private:
    MemoryAllocator savedAllocator_;
};

class TrackedModes : public TrackedFixture {};
class TrackedResize : public TrackedFixture {};
class TrackedRecords : public TrackedFixture {};
class TrackedBlocks : public TrackedFixture {};
class TrackedGuards : public TrackedFixture {};
class TrackedLog : public TrackedFixture {};
class TrackedFaults : public TrackedFixture {};

// One-byte records from a string, in a static or a dynamic array.
void fillText(TrackedArray& array, std::string_view text, bool dynamic) {
    if (dynamic) {
        array.allocDynamic(1);
        for (char c : text) array.setRecord(array.count() + 1, &c);
    } else {
        array.allocStatic(static_cast<std::int64_t>(text.size()), 1);
        for (std::size_t i = 0; i < text.size(); ++i) array.setRecord(static_cast<std::int64_t>(i) + 1, &text[i]);
    }
}

std::string textOf(const TrackedArray& array) {
    const char* bytes = array.records<char>();
    return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(array.count()));
}

// The record invariants every operation must leave behind, failed or not.
void expectConsistent(const TrackedArray& array, const char* where) {
    SCOPED_TRACE(where);
    EXPECT_EQ(array.guardWord1, 0u);
    EXPECT_EQ(array.guardWord2, 0u);
    EXPECT_EQ(array.guardWord3, 0u);
    if (array.isAllocated()) {
        if (array.isDynamic()) {
            EXPECT_EQ(array.reserve, array.capacity - array.count());
        } else {
            EXPECT_EQ(array.capacity, array.count());
        }
        EXPECT_EQ(array.rangeFirst, array.count() > 0 ? 1 : 0);
        EXPECT_EQ(array.rangeLast, array.count());
    } else {
        EXPECT_EQ(array.count(), 0);
        EXPECT_EQ(array.capacity, 0);
        EXPECT_EQ(array.reserve, 0);
        EXPECT_EQ(array.rangeFirst, 0);
        EXPECT_EQ(array.rangeLast, 0);
    }
}

// ---- Growth schedule ------------------------------------------------------

TEST(TrackedGrowthSchedule, FirstReserveHoldsAbout64KiB) {
    const struct {
        std::int64_t recordSize, reserve;
    } cases[] = {
        {1, 65536},       {2, 32768}, {3, 21845}, {24, 2730}, {512, 128},
        {65536, 1},       {65537, 65537},  // records count as bytes from here on
        {100000, 100000}, {0, 0},          {-4, 0},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(firstReserve(row.recordSize), row.reserve) << "record size " << row.recordSize;
    }
}

TEST(TrackedGrowthSchedule, ExtraRecordsFollowTheByteSize) {
    const std::int64_t max = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t newCount, recordSize, oldReserve, reserve;
    } cases[] = {
        {1, 1, 0, 1},
        {mebibyte, 1, 0, mebibyte},                      // up to 1 MiB: as many again
        {mebibyte + 1, 1, 0, (mebibyte + 1) / 2},
        {2000000, 1, 0, 1000000},                         // capacity 3,000,000
        {10 * mebibyte, 1, 0, 5 * mebibyte},
        {10 * mebibyte + 1, 1, 0, (10 * mebibyte + 1) / 4},
        {102 * mebibyte, 1, 0, 102 * mebibyte / 4},
        {102 * mebibyte + 1, 1, 0, (102 * mebibyte + 1) / 8},
        {1024 * mebibyte, 1, 0, 1024 * mebibyte / 8},
        {1024 * mebibyte + 1, 1, 0, (1024 * mebibyte + 1) / 32},  // no sixteenth
        {2000000000, 1, 0, 62500000},
        {10240 * mebibyte, 1, 0, 10240 * mebibyte / 32},
        {10240 * mebibyte + 1, 1, 0, (10240 * mebibyte + 1) / 64},
        {1000000, 8, 0, 500000},           // the byte size decides, not the count
        {250000000, 8, 0, 250000000 / 32},
        {100, 1, 5000, 5000},              // the reserve never shrinks
        {max / 2, 4, 0, max / 2 / 64},     // byte size beyond int64: the smallest share
        {-5, 1, 7, 7},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(growthReserve(row.newCount, row.recordSize, row.oldReserve), row.reserve)
            << "newCount " << row.newCount << " size " << row.recordSize << " old " << row.oldReserve;
    }
}

TEST_F(TrackedResize, GrowingPastOneMebibyteGivesHalfAgain) {
    TrackedArray array;
    array.allocDynamic(1);
    array.resize(2000000);
    EXPECT_EQ(array.count(), 2000000);
    EXPECT_EQ(array.capacity, 3000000);
    EXPECT_EQ(array.reserve, 1000000);
    EXPECT_EQ(faults.lastRequest, 3000000);
}

TEST_F(TrackedModes, LargeRecordAsksForSizeSquaredBytes) {
    // Refuse the 10 GB block, but look at what was asked for.
    failCalls(1, 1);
    TrackedArray array;
    array.allocDynamic(100000);
    EXPECT_EQ(faults.lastRequest, 100000LL * 100000LL);
    EXPECT_FALSE(array.isAllocated());
}

// ---- Static and dynamic modes ---------------------------------------------

TEST_F(TrackedModes, DefaultRecordIsEmptyByDesign) {
    TrackedArray array;
    EXPECT_FALSE(array.isAllocated());
    EXPECT_EQ(array.guardCopy, TrackedArray::emptyMark());
    EXPECT_EQ(array.data, nullptr);
    EXPECT_EQ(array.count(), 0);
    EXPECT_EQ(array.recordSize(), 0);
    EXPECT_EQ(array.records<char>(), nullptr);
}

TEST_F(TrackedModes, StaticHoldsExactlyCount) {
    TrackedArray array;
    array.typeTag = 77;
    array.allocStatic(10, 4);
    EXPECT_TRUE(array.isAllocated());
    EXPECT_FALSE(array.isDynamic());
    EXPECT_EQ(array.typeTag, 0);
    EXPECT_EQ(array.guardCopy, array.data);
    EXPECT_EQ(array.count(), 10);
    EXPECT_EQ(array.capacity, 10);
    EXPECT_EQ(array.reserve, 0);
    EXPECT_EQ(array.rangeFirst, 1);
    EXPECT_EQ(array.rangeLast, 10);
    EXPECT_EQ(array.recordSize(), 4);
    for (std::int64_t i = 0; i < 10; ++i) EXPECT_EQ(array.records<std::int32_t>()[i], 0);
}

TEST_F(TrackedModes, DynamicStartsEmptyWithItsFirstReserve) {
    TrackedArray array;
    array.allocDynamic(4);
    EXPECT_TRUE(array.isAllocated());
    EXPECT_TRUE(array.isDynamic());
    EXPECT_EQ(array.count(), 0);
    EXPECT_EQ(array.capacity, 16384);
    EXPECT_EQ(array.reserve, 16384);
    EXPECT_EQ(array.rangeFirst, 0);
    EXPECT_EQ(array.rangeLast, 0);
}

TEST_F(TrackedModes, NonPositiveArgumentsGiveEmptyOrDynamicArrays) {
    TrackedArray zeroCount;
    zeroCount.allocStatic(0, 4);
    EXPECT_TRUE(zeroCount.isDynamic());
    EXPECT_EQ(zeroCount.capacity, 16384);

    TrackedArray zeroSize;
    zeroSize.allocStatic(5, 0);
    EXPECT_FALSE(zeroSize.isAllocated());
    EXPECT_EQ(zeroSize.guardCopy, TrackedArray::emptyMark());
    EXPECT_EQ(zeroSize.recordSize(), 0);

    TrackedArray freedBySize;
    freedBySize.allocStatic(5, 4);
    freedBySize.allocStatic(5, -1);
    EXPECT_FALSE(freedBySize.isAllocated());
    EXPECT_EQ(capture.takeConsole(), "");
}

TEST_F(TrackedModes, SameShapeKeepsContentsWithoutAllocating) {
    TrackedArray array;
    fillText(array, "abcd", false);
    faults.calls = 0;
    array.allocStatic(4, 1);
    EXPECT_EQ(faults.calls, 0);
    EXPECT_EQ(textOf(array), "abcd");

    array.allocStatic(5, 1);  // another shape starts afresh
    EXPECT_EQ(faults.calls, 1);
    EXPECT_EQ(textOf(array), std::string(5, '\0'));
}

TEST_F(TrackedModes, ReserveTracksCapacityThroughEveryOperation) {
    TrackedArray array;
    array.allocDynamic(2);
    const struct {
        const char* step;
        std::int64_t newCount;
    } steps[] = {{"within", 100}, {"to capacity", 32768}, {"shrink", 10},     {"zero", 0},
                 {"past", 100000}, {"same", 100000},      {"add", 100001},    {"back", 5}};
    for (const auto& row : steps) {
        array.resize(row.newCount);
        EXPECT_EQ(array.count(), row.newCount) << row.step;
        EXPECT_TRUE(array.isDynamic()) << row.step;
        expectConsistent(array, row.step);
    }
    const std::uint16_t value = 7;
    array.setRecord(array.capacity + 3, &value);
    expectConsistent(array, "setRecord past capacity");
    array.addLength(-3);
    expectConsistent(array, "addLength");
}

TEST_F(TrackedModes, MoveTransfersTheBlockAndEmptiesTheSource) {
    TrackedArray source;
    fillText(source, "xyz", true);
    void* block = source.data;
    TrackedArray moved(std::move(source));
    EXPECT_EQ(moved.data, block);
    EXPECT_EQ(textOf(moved), "xyz");
    EXPECT_FALSE(source.isAllocated());  // moved-from arrays are empty by design
    EXPECT_EQ(source.count(), 0);

    TrackedArray target;
    fillText(target, "old", false);
    target = std::move(moved);  // releases "old"; LeakSanitizer checks that
    EXPECT_EQ(textOf(target), "xyz");
    EXPECT_FALSE(moved.isAllocated());
}

// ---- Resize ---------------------------------------------------------------

TEST_F(TrackedResize, SameCountTouchesOnlyTheTail) {
    TrackedArray array;
    fillText(array, "hello", true);
    array.records<char>()[20] = '!';  // a stray byte in the reserve
    array.resize(5);
    EXPECT_EQ(textOf(array), "hello");
    EXPECT_EQ(array.records<char>()[20], '\0');
    EXPECT_EQ(array.capacity, 65536);
}

TEST_F(TrackedResize, ToZeroAndBackKeepsCapacityWithZeroRecords) {
    TrackedArray array;
    fillText(array, "records", true);
    const std::int64_t capacity = array.capacity;
    void* block = array.data;
    array.resize(0);
    EXPECT_EQ(array.count(), 0);
    EXPECT_EQ(array.reserve, capacity);
    EXPECT_TRUE(array.isDirty());
    EXPECT_EQ(array.rangeFirst, 0);
    EXPECT_EQ(array.rangeLast, 0);

    array.resize(7);
    EXPECT_EQ(array.capacity, capacity);
    EXPECT_EQ(array.data, block);
    EXPECT_EQ(textOf(array), std::string(7, '\0'));
    EXPECT_FALSE(array.isDirty());
}

TEST_F(TrackedResize, StaticToZeroReleasesAndComesBackStatic) {
    TrackedArray array;
    array.allocStatic(10, 4);
    capture.takeLog();
    array.resize(0);
    EXPECT_EQ(capture.takeLog(), "  Deallocate : 40 Bytes (10 * 4)\n");
    EXPECT_FALSE(array.isAllocated());
    EXPECT_TRUE(array.isDirty());
    EXPECT_EQ(array.recordSize(), 4);  // known, so the array can come back

    array.resize(3);
    EXPECT_EQ(capture.takeLog(), "  Allocate first : 12 Bytes (3 * 4)\n");
    EXPECT_TRUE(array.isAllocated());
    EXPECT_FALSE(array.isDynamic());
    EXPECT_EQ(array.count(), 3);
    EXPECT_EQ(capture.takeConsole(), "");
}

TEST_F(TrackedResize, StaticKeepsTheCommonRecords) {
    const struct {
        std::int64_t newCount;
        const char* expected;
    } cases[] = {{3, "abc"}, {6, "abcdef"}, {8, "abcdef\0\0"}, {1, "a"}};
    for (const Heap& heap : heaps) {
        setMemoryAllocator(*heap.allocator);
        for (const auto& row : cases) {
            TrackedArray array;
            fillText(array, "abcdef", false);
            array.resize(row.newCount);
            EXPECT_EQ(textOf(array), std::string(row.expected, static_cast<std::size_t>(row.newCount))) << heap.name;
            EXPECT_EQ(array.capacity, row.newCount);
            EXPECT_EQ(array.reserve, 0);
        }
    }
}

TEST_F(TrackedResize, DynamicGrowsAtCapacityNotOnlyBeyond) {
    TrackedArray array;
    array.allocDynamic(1);
    array.resize(65536);
    EXPECT_EQ(array.capacity, 131072);
    EXPECT_TRUE(array.isDynamic());
}

TEST_F(TrackedResize, AddLengthMovesByDelta) {
    TrackedArray array;
    fillText(array, "abc", true);
    array.addLength(2);
    EXPECT_EQ(textOf(array), std::string("abc\0\0", 5));
    array.addLength(-4);
    EXPECT_EQ(textOf(array), "a");
    array.addLength(-10);
    EXPECT_EQ(array.count(), 0);
}

TEST_F(TrackedResize, WithoutRecordSizeReportsAndStaysEmpty) {
    TrackedArray array;
    array.resize(5);
    EXPECT_EQ(capture.takeConsole(), "  Memory not allocated! Can't resize memory!\n");
    EXPECT_EQ(capture.takeLog(), "  Memory not allocated! Can't resize memory!\n");
    EXPECT_FALSE(array.isAllocated());
}

TEST_F(TrackedResize, BlockWithoutRecordSizeIsCorrupt) {
    TrackedArray array;
    array.allocStatic(4, 8);
    array.recordBytes = 0;
    array.resize(2);
    EXPECT_EQ(capture.takeConsole(), "  Corrupt memory packet (size=0)!\n");
    EXPECT_FALSE(array.isAllocated());
}

// ---- Records ----------------------------------------------------------------

TEST_F(TrackedRecords, SetBeyondCountGrowsDynamicArrays) {
    TrackedArray array;
    array.allocDynamic(4);
    const std::int32_t value = 42;
    array.setRecord(10, &value);  // within capacity: count and reserve move
    EXPECT_EQ(array.count(), 10);
    EXPECT_EQ(array.reserve, array.capacity - 10);
    for (std::int64_t i = 1; i <= 9; ++i) EXPECT_EQ(array.records<std::int32_t>()[i - 1], 0);
    EXPECT_EQ(array.records<std::int32_t>()[9], 42);

    const std::int64_t beyond = array.capacity + 5;  // through resize
    array.setRecord(beyond, &value);
    EXPECT_EQ(array.count(), beyond);
    EXPECT_GT(array.capacity, beyond);
    EXPECT_EQ(array.records<std::int32_t>()[9], 42);
    EXPECT_EQ(array.records<std::int32_t>()[beyond - 1], 42);
}

TEST_F(TrackedRecords, AppendingOneByOneKeepsEveryRecord) {
    for (const Heap& heap : heaps) {
        SCOPED_TRACE(heap.name);
        setMemoryAllocator(*heap.allocator);
        TrackedArray array;
        array.allocDynamic(4);
        for (std::int32_t i = 1; i <= 300000; ++i) array.setRecord(array.count() + 1, &i);
        ASSERT_EQ(array.count(), 300000);
        expectConsistent(array, "after appending");
        bool allThere = true;
        for (std::int32_t i = 1; i <= 300000; ++i) allThere = allThere && array.records<std::int32_t>()[i - 1] == i;
        EXPECT_TRUE(allThere);
        bool tailClear = true;
        for (std::int64_t i = 300000; i < array.capacity; ++i) tailClear = tailClear && array.records<std::int32_t>()[i] == 0;
        EXPECT_TRUE(tailClear);
    }
}

TEST_F(TrackedRecords, OutsideTheRecordsReadsZeroAndWritesNothing) {
    TrackedArray array;
    fillText(array, "abc", false);
    const char x = 'x';
    array.setRecord(4, &x);  // a static array does not grow
    array.setRecord(0, &x);
    array.setRecord(-1, &x);
    EXPECT_EQ(textOf(array), "abc");

    for (std::int64_t index : {0, 4, -7}) {
        char out = 'q';
        array.getRecord(index, &out);
        EXPECT_EQ(out, '\0') << index;
        EXPECT_EQ(array.recordAddress(index), nullptr) << index;
    }
    char out = 0;
    array.getRecord(2, &out);
    EXPECT_EQ(out, 'b');
    EXPECT_EQ(array.recordAddress(3), array.records<char>() + 2);
}

TEST_F(TrackedRecords, WritesClearTheDirtyFlag) {
    TrackedArray array;
    fillText(array, "ab", true);
    array.resize(0);
    EXPECT_TRUE(array.isDirty());
    const char c = 'c';
    array.setRecord(1, &c);
    EXPECT_FALSE(array.isDirty());
}

// ---- Block operations -------------------------------------------------------

TEST_F(TrackedBlocks, CopyFromNeedsEqualRecordSizes) {
    TrackedArray source;
    fillText(source, "source", true);
    TrackedArray target;
    fillText(target, "xy", false);
    target.copyFrom(source);
    EXPECT_EQ(textOf(target), "source");

    TrackedArray wide;
    wide.allocStatic(2, 2);
    wide.copyFrom(source);
    EXPECT_EQ(wide.count(), 2);

    TrackedArray empty;
    empty.allocDynamic(1);
    target.copyFrom(empty);
    EXPECT_EQ(target.count(), 0);
}

TEST_F(TrackedBlocks, InsertBlockReplacesAndMovesTheTail) {
    const struct {
        std::int64_t position, deleteCount;
        const char* source;
        const char* expected;
    } cases[] = {
        {1, 0, "XY", "XYabcdef"}, {7, 0, "XY", "abcdefXY"}, {3, 2, "XY", "abXYef"},
        {3, 2, "", "abef"},       {2, 1, "XYZ", "aXYZcdef"}, {3, 10, "Q", "abQ"},
        {1, 6, "", ""},           {4, 1, "Z", "abcZef"},      {8, 0, "XY", "abcdef"},  // past the end: nothing
        {0, 0, "XY", "abcdef"},
    };
    for (bool dynamic : {false, true}) {
        for (const auto& row : cases) {
            TrackedArray target;
            fillText(target, "abcdef", dynamic);
            TrackedArray source;
            fillText(source, row.source, true);
            target.insertBlock(row.position, row.deleteCount, source);
            EXPECT_EQ(textOf(target), row.expected)
                << (dynamic ? "dynamic " : "static ") << row.position << "/" << row.deleteCount << "/" << row.source;
            expectConsistent(target, row.expected);
        }
    }
}

TEST_F(TrackedBlocks, InsertBlockIntoItselfAndWithOtherSizes) {
    TrackedArray array;
    fillText(array, "abc", true);
    array.insertBlock(2, 0, array);
    EXPECT_EQ(textOf(array), "aabcbc");

    TrackedArray wide;
    wide.allocStatic(1, 2);
    array.insertBlock(1, 0, wide);
    EXPECT_EQ(textOf(array), "aabcbc");
}

TEST_F(TrackedBlocks, FlipReversesRecordsOfAnySize) {
    TrackedArray bytes;
    fillText(bytes, "abcde", true);
    bytes.flip();
    EXPECT_EQ(textOf(bytes), "edcba");

    // Records wider than the swap buffer.
    constexpr std::int64_t size = 300;
    TrackedArray wide;
    wide.allocStatic(4, size);
    for (std::int64_t r = 0; r < 4; ++r)
        for (std::int64_t b = 0; b < size; ++b) wide.records<unsigned char>()[r * size + b] = static_cast<unsigned char>(r * 7 + b);
    wide.flip();
    bool reversed = true;
    for (std::int64_t r = 0; r < 4; ++r)
        for (std::int64_t b = 0; b < size; ++b)
            reversed = reversed && wide.records<unsigned char>()[r * size + b] == static_cast<unsigned char>((3 - r) * 7 + b);
    EXPECT_TRUE(reversed);
}

TEST_F(TrackedBlocks, SwapExchangesBlocksOfTheSameShape) {
    TrackedArray a;
    fillText(a, "one", true);
    TrackedArray b;
    fillText(b, "two", false);
    swapArrays(a, b);
    EXPECT_EQ(textOf(a), "two");
    EXPECT_EQ(textOf(b), "one");
    EXPECT_FALSE(a.isDynamic());
    EXPECT_TRUE(b.isDynamic());
    expectConsistent(a, "a");
    expectConsistent(b, "b");

    TrackedArray longer;
    fillText(longer, "four", false);
    swapArrays(a, longer);
    EXPECT_EQ(textOf(a), "two");
    EXPECT_EQ(textOf(longer), "four");
}

// ---- Guard words and unallocated records ------------------------------------

TEST_F(TrackedGuards, DirtyGuardWordIsReportedAndTheBlockKept) {
    TrackedArray array;
    array.allocStatic(10, 4);
    void* block = array.data;  // the array will not release it
    array.guardWord2 = 0xDEADBEEF;
    capture.takeLog();
    const int releases = faults.releases;
    array.free();
    EXPECT_EQ(faults.releases, releases);
    EXPECT_EQ(capture.takeConsole(), "  Corrupt memory (Done size=40 and should=40)!\n");
    EXPECT_EQ(capture.takeLog(),
              "  Deallocate finaly : 40 Bytes (10 * 4)\n"
              "  Corrupt memory (Done size=40 and should=40)!\n");
    EXPECT_FALSE(array.isAllocated());
    EXPECT_EQ(array.guardWord2, 0u);

    array.allocStatic(2, 4);  // and the process goes on
    EXPECT_TRUE(array.isAllocated());
    std::free(block);
}

TEST_F(TrackedGuards, EachReleaseNamesItsPlace) {
    const struct {
        const char* name;
        bool dynamic;
        std::int64_t newCount;
    } cases[] = {{"Newlength-0", false, 0}, {"Newlength-static", false, 20}, {"Newlength-dynamic", true, 70000}};
    for (const Heap& heap : heaps) {
        setMemoryAllocator(*heap.allocator);
        for (const auto& row : cases) {
            SCOPED_TRACE(heap.name);
            TrackedArray array;
            if (row.dynamic) {
                array.allocDynamic(1);
            } else {
                array.allocStatic(10, 1);
            }
            void* block = array.data;
            const std::int64_t should = array.capacity;
            array.guardWord1 = 1;
            const int releases = faults.releases;
            array.resize(row.newCount);
            EXPECT_EQ(faults.releases, releases);
            EXPECT_EQ(capture.takeConsole(), "  Corrupt memory (" + std::string(row.name) + " size=" +
                                                 std::to_string(malloc_usable_size(block)) + " and should=" +
                                                 std::to_string(should) + ")!\n");
            EXPECT_EQ(array.count(), row.newCount);
            array.guardWord1 = 0;
            std::free(block);
        }
    }
}

TEST_F(TrackedGuards, RecordOfArbitraryBytesReadsUnallocated) {
    std::mt19937_64 random(20240517);
    for (int round = 0; round < 50; ++round) {
        TrackedArray array;
        array.typeTag = static_cast<std::uint8_t>(random());
        array.guardCopy = reinterpret_cast<void*>(random() | 1);
        array.capacity = static_cast<std::int64_t>(random());
        array.reserve = static_cast<std::int64_t>(random());
        array.spareWords[0] = static_cast<std::int64_t>(random());
        array.spareFlag = static_cast<std::uint8_t>(random());
        array.guardWord1 = random();
        array.data = round % 2 == 0 ? nullptr : reinterpret_cast<void*>(random() & ~std::uint64_t{1});
        array.guardWord2 = random();
        array.recordBytes = static_cast<std::int64_t>(random());
        array.guardWord3 = random();
        array.length = static_cast<std::int64_t>(random());
        ASSERT_NE(array.data, array.guardCopy);
        EXPECT_FALSE(array.isAllocated());
        EXPECT_EQ(array.records<char>(), nullptr);
        EXPECT_EQ(array.recordAddress(1), nullptr);

        // Allocating over it neither trusts nor releases the wild pointer.
        array.allocStatic(3, 2);
        EXPECT_TRUE(array.isAllocated());
        EXPECT_EQ(array.count(), 3);
        EXPECT_EQ(array.spareWords[0], 0);
        EXPECT_EQ(array.spareFlag, 0);
        expectConsistent(array, "allocated over random bytes");
    }
    EXPECT_EQ(capture.takeConsole(), "");
}

// ---- Memory lines of the log ------------------------------------------------

TEST_F(TrackedLog, AllocationAndReleaseLinesVerbatim) {
    {
        TrackedArray array;
        array.allocStatic(262144, 4);
        array.free();
        TrackedArray dynamic;
        dynamic.allocDynamic(8);
        dynamic.resize(9000);
    }
    EXPECT_EQ(capture.takeLog(),
              "  Allocate first : 1,048,576 Bytes (262144 * 4)\n"
              "  Deallocate finaly : 1,048,576 Bytes (262144 * 4)\n"
              "  Allocate first dynamic : 65,536 Bytes ((0 + 8192) * 8)\n"
              "  Deallocate : 65,536 Bytes (8192 * 8)\n"
              "  Allocate dynamic : 144,000 Bytes ((9000 + 9000) * 8)\n"
              "  Deallocate finaly : 144,000 Bytes (18000 * 8)\n");
    EXPECT_EQ(capture.takeConsole(), "");  // memory lines have no console twin
}

TEST_F(TrackedLog, MismatchedBookkeepingRefusesToRelease) {
    TrackedArray array;
    array.allocStatic(10, 1);
    void* block = array.data;
    array.length = 3;
    capture.takeLog();
    const int releases = faults.releases;
    array.free();
    EXPECT_EQ(faults.releases, releases);
    EXPECT_EQ(capture.takeLog(), "  Deallocation fails! Length: 3 Dynamic length: 0 Maximal: 10 mismatch!\n");
    EXPECT_FALSE(array.isAllocated());
    std::free(block);
}

TEST_F(TrackedLog, NothingIsLoggedWhileTheLogIsOff) {
    outputSettings.logActive = false;
    {
        TrackedArray array;
        array.allocDynamic(1);
        array.resize(100000);
        array.resize(0);
    }
    outputSettings.logActive = true;
    EXPECT_EQ(capture.takeLog(), "");
    EXPECT_EQ(capture.takeConsole(), "");
}

// ---- Failed allocations -----------------------------------------------------

TEST_F(TrackedFaults, FailedAllocationsLeaveEmptyArraysAndALine) {
    const struct {
        const char* name;
        int failFirst, failLast;
        std::int64_t (*run)(TrackedArray&);  // yields the count it expects
        const char* line;
        std::int64_t recordSize;  // kept after the failure
    } cases[] = {
        {"static", 1, 1, [](TrackedArray& a) { a.allocStatic(10, 4); return std::int64_t{0}; },
         "  Wrong static allocation (Out of memory?)! Create empty field.\n", 4},
        {"dynamic", 1, 1, [](TrackedArray& a) { a.allocDynamic(4); return std::int64_t{0}; },
         "  Wrong dynamic allocation (Out of memory?)! Create empty field.\n", 0},
        {"static resize", 2, 2, [](TrackedArray& a) { a.allocStatic(10, 4); a.resize(20); return std::int64_t{0}; },
         "  Not enough Memory! Create empty field.\n", 4},
        {"dynamic without reserve", 2, 2,
         [](TrackedArray& a) { a.allocDynamic(4); a.resize(20000); return std::int64_t{20000}; },
         "  Not enough Memory! Disable dynamic memory.\n", 4},
        {"dynamic without any", 2, 3,
         [](TrackedArray& a) { a.allocDynamic(4); a.resize(20000); return std::int64_t{0}; },
         "  Not enough Memory! Create empty field.\n", 4},
        {"byte size beyond int64", 0, 0,
         [](TrackedArray& a) { a.allocStatic(std::numeric_limits<std::int64_t>::max() / 2, 4); return std::int64_t{0}; },
         "  Wrong static allocation (Out of memory?)! Create empty field.\n", 4},
        {"growth beyond int64", 0, 0,
         [](TrackedArray& a) { a.allocDynamic(8); a.resize(std::numeric_limits<std::int64_t>::max() / 4); return std::int64_t{0}; },
         "  Not enough Memory! Create empty field.\n", 8},
    };
    for (const Heap& heap : heaps) {
        setMemoryAllocator(*heap.allocator);
        for (const auto& row : cases) {
            SCOPED_TRACE(std::string(row.name) + ", " + heap.name);
            failCalls(row.failFirst, row.failLast);
            TrackedArray array;
            const std::int64_t expectedCount = row.run(array);
            EXPECT_EQ(capture.takeConsole(), row.line);
            EXPECT_NE(capture.takeLog().find(row.line), std::string::npos);
            EXPECT_EQ(array.count(), expectedCount);
            EXPECT_EQ(array.isAllocated(), expectedCount > 0);
            EXPECT_EQ(array.recordSize(), row.recordSize);
            expectConsistent(array, row.name);
        }
    }
}

TEST_F(TrackedFaults, FallbackGoesOnAsStaticWithItsRecords) {
    TrackedArray array;
    fillText(array, "keep", true);
    failCalls(1, 1);
    array.resize(70000);
    EXPECT_EQ(capture.takeConsole(), "  Not enough Memory! Disable dynamic memory.\n");
    EXPECT_FALSE(array.isDynamic());
    EXPECT_EQ(array.capacity, 70000);
    EXPECT_EQ(textOf(array).substr(0, 5), std::string("keep\0", 5));
    const char c = 'c';
    array.setRecord(70001, &c);
    EXPECT_EQ(array.count(), 70000);
}

TEST_F(TrackedFaults, StaticFailureRetriesOnTheNextResize) {
    failCalls(1, 1);
    TrackedArray array;
    array.allocStatic(10, 4);
    EXPECT_FALSE(array.isAllocated());
    array.resize(6);
    EXPECT_TRUE(array.isAllocated());
    EXPECT_EQ(array.count(), 6);
}

// Runs a mixed workload failing each allocation in turn (and every one from
// there on): no crash, no leak, every array consistent afterwards.
TEST_F(TrackedFaults, EachAllocationMayFail) {
    auto workload = [] {
        TrackedArray list;
        list.allocDynamic(1);
        for (int i = 0; i < 70000; ++i) {
            const auto value = static_cast<std::uint8_t>(i);
            list.setRecord(list.count() + 1, &value);
        }
        TrackedArray copy;
        copy.allocStatic(10, 1);
        copy.copyFrom(list);
        copy.insertBlock(1, 0, list);
        list.insertBlock(2, 0, list);
        list.resize(300000);
        list.flip();
        expectConsistent(list, "list");
        expectConsistent(copy, "copy");
    };
    for (const Heap& heap : heaps) {
        setMemoryAllocator(*heap.allocator);
        failCalls(0, 0);
        workload();
        const int total = faults.calls;
        ASSERT_GT(total, 5);
        for (int n = 1; n <= total; ++n) {
            SCOPED_TRACE("failing allocation " + std::to_string(n) + ", " + heap.name);
            failCalls(n, n);
            workload();
            failCalls(n, 1 << 30);
            workload();
        }
    }
    capture.takeConsole();
    capture.takeLog();
}

}  // namespace
}  // namespace corvane
