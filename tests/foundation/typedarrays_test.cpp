// Typed layers: tags and record sizes, indexed access, the 2D index rule,
// name lookup sorted and unsorted, and behaviour after a failed allocation.
#include "foundation/typedarrays.h"

#include <gtest/gtest.h>

#include <string>

#include "support/outputcapture.h"

namespace corvane {
namespace {

void* refuseAll(std::int64_t) { return nullptr; }
void releaseNothing(void*) {}

class TypedArrays : public ::testing::Test {
protected:
    // Every allocation fails until the scope ends.
    struct OutOfMemory {
        OutOfMemory() : saved(setMemoryAllocator({refuseAll, releaseNothing, nullptr})) {}
        ~OutOfMemory() { setMemoryAllocator(saved); }
        MemoryAllocator saved;
    };

    OutputCapture output;  // console and log into memory, log on
};

TEST_F(TypedArrays, EachLayerSetsItsTagAndRecordSize) {
    BytePlane bytes;
    bytes.allocStatic(4);
    WordPlane words;
    words.allocDynamic();
    Plane2D plane;
    plane.alloc(3, 2, 2);
    VectorArray vectors;
    vectors.allocStatic(2);
    NameList names;
    names.allocDynamic();

    const struct {
        const char* layer;
        const TrackedArray& array;
        std::uint8_t tag;
        std::int64_t recordSize;
    } cases[] = {
        {"byte plane", bytes.array, 4, 1},   {"word plane", words.array, 5, 2},
        {"2D plane", plane.array, 68, 2},    {"vector array", vectors.array, 88, 24},
        {"name list", names.array, 241, 512},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(row.array.typeTag, row.tag) << row.layer;
        EXPECT_EQ(row.array.recordSize(), row.recordSize) << row.layer;
        EXPECT_TRUE(row.array.isAllocated()) << row.layer;
    }
}

TEST_F(TypedArrays, PlanesReadWhatWasWrittenAndZeroOutside) {
    BytePlane bytes;
    bytes.allocStatic(3);
    bytes.defaultValue = 9;
    bytes.background = 200;
    bytes.set(2, 250);
    bytes.set(4, 1);  // static: no growth
    EXPECT_EQ(bytes.get(2), 250);
    EXPECT_EQ(bytes.get(1), 0);
    EXPECT_EQ(bytes.get(4), 0);
    EXPECT_EQ(bytes.count(), 3);

    WordPlane words;
    words.allocDynamic();
    words.set(5, 60000);  // dynamic: grows to the index
    EXPECT_EQ(words.count(), 5);
    EXPECT_EQ(words.get(5), 60000);
    EXPECT_EQ(words.get(0), 0);
}

TEST_F(TypedArrays, Plane2DIndexesRowByRow) {
    Plane2D plane;
    plane.alloc(4, 3, 1);
    const struct {
        std::int64_t x, y, index;
    } cases[] = {{1, 1, 1}, {4, 1, 4}, {1, 2, 5}, {3, 3, 11}, {4, 3, 12},
                 {0, 1, 0}, {5, 1, 0}, {1, 4, 0}, {2, 0, 0}};
    for (const auto& row : cases) {
        EXPECT_EQ(plane.index(row.x, row.y), row.index) << row.x << "," << row.y;
    }
    plane.set(3, 2, 77);
    EXPECT_EQ(plane.get(3, 2), 77);
    EXPECT_EQ(plane.array.records<std::uint8_t>()[(2 - 1) * 4 + 3 - 1], 77);
    plane.set(3, 2, 0x1FF);  // one-byte records keep the low byte
    EXPECT_EQ(plane.get(3, 2), 0xFF);
    EXPECT_EQ(plane.get(9, 9), 0);

    Plane2D wide;
    wide.alloc(2, 2, 2);
    wide.set(2, 2, 0xABCD);
    EXPECT_EQ(wide.get(2, 2), 0xABCD);
}

TEST_F(TypedArrays, Plane2DRefusesOtherRecordSizes) {
    for (std::int64_t size : {0, 3, 8}) {
        Plane2D plane;
        plane.alloc(4, 4, size);
        EXPECT_FALSE(plane.array.isAllocated()) << size;
        EXPECT_EQ(plane.sizeX, 0);
        EXPECT_EQ(plane.sizeY, 0);
        EXPECT_EQ(plane.get(1, 1), 0);
    }
}

TEST_F(TypedArrays, VectorArrayAppendsAndReads) {
    VectorArray vectors;
    vectors.allocDynamic();
    EXPECT_EQ(vectors.append({1, 2, 3}), 1);
    EXPECT_EQ(vectors.append({-4, 0.5, 6}), 2);
    const Vector3 second = vectors.get(2);
    EXPECT_EQ(second.x, -4);
    EXPECT_EQ(second.y, 0.5);
    EXPECT_EQ(second.z, 6);
    vectors.set(1, {7, 8, 9});
    EXPECT_EQ(vectors.get(1).z, 9);
    EXPECT_EQ(vectors.get(3).x, 0);
}

TEST_F(TypedArrays, NameListFindsSortedAndUnsorted) {
    NameList names;
    for (const char* name : {"pear", "apple", "fig", "apple", "kiwi"}) names.append(name);
    EXPECT_EQ(names.count(), 5);
    EXPECT_FALSE(names.sorted);
    EXPECT_TRUE(names.get(2) == Text("apple"));

    const struct {
        const char* name;
        std::int64_t unsortedIndex, sortedIndex;
    } cases[] = {{"pear", 1, 5}, {"apple", 2, 1}, {"fig", 3, 3}, {"kiwi", 5, 4}, {"plum", 0, 0}, {"", 0, 0}};
    for (const auto& row : cases) EXPECT_EQ(names.find(row.name), row.unsortedIndex) << row.name;

    names.sort();
    EXPECT_TRUE(names.sorted);
    for (const auto& row : cases) EXPECT_EQ(names.find(row.name), row.sortedIndex) << row.name;
    EXPECT_TRUE(names.get(2) == Text("apple"));
}

TEST_F(TypedArrays, NameListStaysSortedOnlyWhileAppendsKeepOrder) {
    NameList names;
    names.allocDynamic();
    names.sort();
    names.append("alpha");
    names.append("beta");
    EXPECT_TRUE(names.sorted);
    EXPECT_EQ(names.find("beta"), 2);
    names.append("aardvark");
    EXPECT_FALSE(names.sorted);
    EXPECT_EQ(names.find("aardvark"), 3);
}

TEST_F(TypedArrays, LayersSurviveAFailedAllocation) {
    OutOfMemory outOfMemory;
    BytePlane bytes;
    bytes.allocStatic(100);
    bytes.set(1, 5);
    EXPECT_EQ(bytes.get(1), 0);
    EXPECT_EQ(bytes.count(), 0);

    Plane2D plane;
    plane.alloc(8, 8, 2);
    EXPECT_EQ(plane.sizeX, 0);
    EXPECT_EQ(plane.get(1, 1), 0);

    VectorArray vectors;
    vectors.allocDynamic();
    EXPECT_EQ(vectors.append({1, 1, 1}), 0);

    NameList names;
    EXPECT_EQ(names.append("name"), 0);
    EXPECT_EQ(names.find("name"), 0);

    const std::string printed = output.console() + output.log();
    EXPECT_NE(printed.find("  Wrong static allocation (Out of memory?)! Create empty field.\n"), std::string::npos);
    EXPECT_NE(printed.find("  Wrong dynamic allocation (Out of memory?)! Create empty field.\n"), std::string::npos);
}

}  // namespace
}  // namespace corvane
