// Typed layers over the tracked array: byte and word planes, 2D planes,
// vector arrays and name lists. Each embeds its TrackedArray by value, sets
// the type tag after allocating and reads zero outside its records.
#pragma once

#include <cstdint>

#include "foundation/text.h"
#include "foundation/trackedarray.h"
#include "foundation/vectors.h"

namespace corvane {

struct BytePlane {
    TrackedArray array;
    std::uint8_t defaultValue = 0;  // stored for the fields that use it
    std::uint8_t background = 0;

    void allocStatic(std::int64_t count);
    void allocDynamic();
    std::int64_t count() const { return array.count(); }
    std::uint8_t get(std::int64_t index) const;
    void set(std::int64_t index, std::uint8_t value);
};

struct WordPlane {
    TrackedArray array;
    std::uint16_t defaultWord = 0;  // stored for the fields that use them
    std::uint16_t valueWord = 0;

    void allocStatic(std::int64_t count);
    void allocDynamic();
    std::int64_t count() const { return array.count(); }
    std::uint16_t get(std::int64_t index) const;
    void set(std::int64_t index, std::uint16_t value);
};

// Row-major plane of 1- or 2-byte records; x and y count from 1 and record
// (x, y) is array record (y - 1) * sizeX + x.
struct Plane2D {
    TrackedArray array;
    std::int64_t sizeX = 0;
    std::int64_t sizeY = 0;

    // Any other record size, a non-positive side or a failed allocation
    // leaves an empty plane with both sides 0.
    void alloc(std::int64_t width, std::int64_t height, std::int64_t recordSize);
    // 0 for a point off the plane.
    std::int64_t index(std::int64_t x, std::int64_t y) const;
    std::uint16_t get(std::int64_t x, std::int64_t y) const;
    void set(std::int64_t x, std::int64_t y, std::uint16_t value);
};

// The voxel records of a vector field: three reals each.
struct VectorArray {
    TrackedArray array;

    void allocStatic(std::int64_t count);
    void allocDynamic();
    std::int64_t count() const { return array.count(); }
    Vector3 get(std::int64_t index) const;
    void set(std::int64_t index, const Vector3& value);
    // Index of the new record, 0 when the array could not grow.
    std::int64_t append(const Vector3& value);
};

// List of ShortText names. While `sorted` holds, the entries stand in text
// order (compareText) and find searches by halving; otherwise it scans.
struct NameList {
    TrackedArray array;
    bool sorted = false;

    void allocDynamic();
    std::int64_t count() const { return array.count(); }
    // Index of the new entry, 0 when the list could not grow. An unallocated
    // list allocates itself first.
    std::int64_t append(const Text& name);
    Text get(std::int64_t index) const;
    // Index of the first entry equal to name, 0 when there is none.
    std::int64_t find(const Text& name) const;
    void sort();
};

}  // namespace corvane
