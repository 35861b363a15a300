// Typed layers over the tracked array.
#include "foundation/typedarrays.h"

#include <algorithm>

namespace corvane {

namespace {

// Zero when the index is outside the records or the array holds records of
// another size.
template <typename T>
T readValue(const TrackedArray& array, std::int64_t index) {
    T value{};
    if (array.recordSize() == static_cast<std::int64_t>(sizeof(T))) array.getRecord(index, &value);
    return value;
}

template <typename T>
void writeValue(TrackedArray& array, std::int64_t index, const T& value) {
    if (array.recordSize() == static_cast<std::int64_t>(sizeof(T))) array.setRecord(index, &value);
}

}  // namespace

void BytePlane::allocStatic(std::int64_t count) {
    array.allocStatic(count, 1);
    array.typeTag = bytePlaneTag;
}

void BytePlane::allocDynamic() {
    array.allocDynamic(1);
    array.typeTag = bytePlaneTag;
}

std::uint8_t BytePlane::get(std::int64_t index) const { return readValue<std::uint8_t>(array, index); }

void BytePlane::set(std::int64_t index, std::uint8_t value) { writeValue(array, index, value); }

void WordPlane::allocStatic(std::int64_t count) {
    array.allocStatic(count, 2);
    array.typeTag = wordPlaneTag;
}

void WordPlane::allocDynamic() {
    array.allocDynamic(2);
    array.typeTag = wordPlaneTag;
}

std::uint16_t WordPlane::get(std::int64_t index) const { return readValue<std::uint16_t>(array, index); }

void WordPlane::set(std::int64_t index, std::uint16_t value) { writeValue(array, index, value); }

void Plane2D::alloc(std::int64_t width, std::int64_t height, std::int64_t recordSize) {
    sizeX = 0;
    sizeY = 0;
    std::int64_t count = 0;
    if ((recordSize != 1 && recordSize != 2) || width < 1 || height < 1 ||
        __builtin_mul_overflow(width, height, &count)) {
        array.free();
        array.typeTag = plane2DTag;
        return;
    }
    array.allocStatic(count, recordSize);
    array.typeTag = plane2DTag;
    if (array.count() == count) {
        sizeX = width;
        sizeY = height;
    }
}

std::int64_t Plane2D::index(std::int64_t x, std::int64_t y) const {
    if (x < 1 || x > sizeX || y < 1 || y > sizeY) return 0;
    return (y - 1) * sizeX + x;
}

std::uint16_t Plane2D::get(std::int64_t x, std::int64_t y) const {
    const std::int64_t at = index(x, y);
    if (at == 0) return 0;
    if (array.recordSize() == 1) return readValue<std::uint8_t>(array, at);
    return readValue<std::uint16_t>(array, at);
}

void Plane2D::set(std::int64_t x, std::int64_t y, std::uint16_t value) {
    const std::int64_t at = index(x, y);
    if (at == 0) return;
    if (array.recordSize() == 1) {
        writeValue(array, at, static_cast<std::uint8_t>(value));
    } else {
        writeValue(array, at, value);
    }
}

void VectorArray::allocStatic(std::int64_t count) {
    array.allocStatic(count, sizeof(Vector3));
    array.typeTag = vectorArrayTag;
}

void VectorArray::allocDynamic() {
    array.allocDynamic(sizeof(Vector3));
    array.typeTag = vectorArrayTag;
}

Vector3 VectorArray::get(std::int64_t index) const { return readValue<Vector3>(array, index); }

void VectorArray::set(std::int64_t index, const Vector3& value) { writeValue(array, index, value); }

std::int64_t VectorArray::append(const Vector3& value) {
    const std::int64_t index = array.count() + 1;
    writeValue(array, index, value);
    return array.count() == index ? index : 0;
}

void NameList::allocDynamic() {
    array.allocDynamic(sizeof(ShortText));
    array.typeTag = nameListTag;
    sorted = false;
}

std::int64_t NameList::append(const Text& name) {
    if (!array.isAllocated()) allocDynamic();
    const ShortText entry(name);
    const std::int64_t index = array.count() + 1;
    // Appending in order keeps a sorted list sorted.
    if (sorted && index > 1 && compareText(entry.toText(), get(index - 1)) < 0) sorted = false;
    writeValue(array, index, entry);
    return array.count() == index ? index : 0;
}

Text NameList::get(std::int64_t index) const { return readValue<ShortText>(array, index).toText(); }

std::int64_t NameList::find(const Text& name) const {
    const std::int64_t count = array.count();
    if (!sorted) {
        for (std::int64_t index = 1; index <= count; ++index) {
            if (get(index) == name) return index;
        }
        return 0;
    }
    // First entry not below name.
    std::int64_t low = 1;
    std::int64_t high = count + 1;
    while (low < high) {
        const std::int64_t middle = low + (high - low) / 2;
        if (compareText(get(middle), name) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low <= count && get(low) == name ? low : 0;
}

void NameList::sort() {
    auto* entries = array.records<ShortText>();
    if (entries != nullptr && array.recordSize() == static_cast<std::int64_t>(sizeof(ShortText))) {
        // Stable, so that equal names keep their order and find yields the first.
        std::stable_sort(entries, entries + array.count(), [](const ShortText& a, const ShortText& b) {
            return compareText(a.toText(), b.toText()) < 0;
        });
    }
    sorted = true;
}

}  // namespace corvane
