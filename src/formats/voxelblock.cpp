// The block reader holds one row of stored voxels at a time. Each pair of
// stored type and field kind is one instantiation of a row converter, so
// the row loop itself has no per-voxel dispatch; a stored row that already
// is the field's row is read straight into the field.
#include "formats/voxelblock.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"

namespace corvane {

// 16-bit colours hold their channels in words, twice what the bit count says.
std::int64_t sourceBytes(int code) {
    const std::int64_t bytes = (code < 0 ? -code : code) % 1000 / 8;
    return code / 1000 == 3 ? 2 * bytes : bytes;
}

const char* sourceName(int code) {
    switch (code) {
        case sourcecode::grey: return "Grey";
        case sourcecode::signedGrey: return "-Grey";
        case sourcecode::fullgrey: return "Fullgrey";
        case sourcecode::signedFullgrey: return "-Fullgrey";
        case sourcecode::grey32: return "32Grey";
        case sourcecode::signedGrey32: return "-32Grey";
        case sourcecode::grey64: return "64Grey";
        case sourcecode::signedGrey64: return "-64Grey";
        case sourcecode::float32: return "32Float";
        case sourcecode::float64: return "64Float";
        case sourcecode::float80: return "80Float";
        case sourcecode::rgb: return "RGB";
        case sourcecode::rgba: return "RGBA";
        case sourcecode::fullRgb: return "FullRGB";
        case sourcecode::fullRgba: return "FullRGBA";
        default: return "";
    }
}

bool isFloatSource(int code) { return code / 1000 == 1; }
bool isColourSource(int code) { return code / 1000 == 2 || code / 1000 == 3; }

namespace {

// ---- stored values -------------------------------------------------------------

struct Extended {  // 80-bit float as stored
    unsigned char bytes[10];
};
template <class Channel, int count>
struct Colour {
    Channel channel[count];
};

template <class Stored>
Stored loadStored(const unsigned char* at) {
    Stored value;
    std::memcpy(&value, at, sizeof(Stored));
    return value;
}
template <>
Extended loadStored<Extended>(const unsigned char* at) {
    Extended value;
    std::memcpy(value.bytes, at, sizeof(value.bytes));
    return value;
}

long double realOf(Extended value) {
    long double real = 0;
    static_assert(sizeof(long double) >= 10, "x87 extended reals");
    std::memcpy(&real, value.bytes, sizeof(value.bytes));
    return real;
}
template <class Stored>
long double realOf(Stored value) { return static_cast<long double>(value); }

// Byte width of what a swap reverses: the channel for colours.
int swapUnit(int code) {
    if (code / 1000 == 3) return 2;
    if (code / 1000 == 2) return 1;
    return static_cast<int>(sourceBytes(code));
}

void swapRow(unsigned char* row, std::int64_t bytes, int unit) {
    switch (unit) {
        case 2:
            for (std::int64_t i = 0; i + 2 <= bytes; i += 2) std::swap(row[i], row[i + 1]);
            break;
        case 4:
            for (std::int64_t i = 0; i + 4 <= bytes; i += 4) {
                std::uint32_t word;
                std::memcpy(&word, row + i, 4);
                word = __builtin_bswap32(word);
                std::memcpy(row + i, &word, 4);
            }
            break;
        case 8:
            for (std::int64_t i = 0; i + 8 <= bytes; i += 8) {
                std::uint64_t word;
                std::memcpy(&word, row + i, 8);
                word = __builtin_bswap64(word);
                std::memcpy(row + i, &word, 8);
            }
            break;
        case 10:
            for (std::int64_t i = 0; i + 10 <= bytes; i += 10) std::reverse(row + i, row + i + 10);
            break;
        default: break;
    }
}

// Byte positions of absurd headers saturate, so that the seek or the size
// test fails instead of wrapping around.
std::int64_t product(std::int64_t a, std::int64_t b) {
    std::int64_t result;
    return __builtin_mul_overflow(a, b, &result) ? std::numeric_limits<std::int64_t>::max() : result;
}
std::int64_t sum(std::int64_t a, std::int64_t b) {
    std::int64_t result;
    return __builtin_add_overflow(a, b, &result) ? std::numeric_limits<std::int64_t>::max() : result;
}

// ---- the rows of one stack -------------------------------------------------------

class StackRows {
public:
    StackRows(const VoxelBlock& block, std::int64_t volumeBytes, std::int64_t rowBytes)
        : block_(block), rowBytes_(rowBytes), buffer_((rowBytes + 7) / 8 + 2) {
        stackStart_ = sum(block.offset, product(block.stack - 1, volumeBytes));
    }

    bool rewind() { return block_.input->seek(stackStart_) || fail(); }
    // The next row, swapped when the stream is; null at the end of data.
    const unsigned char* next() {
        auto* row = reinterpret_cast<unsigned char*>(buffer_.data());
        if (!readInto(row)) return nullptr;
        if (block_.swapped) swapRow(row, rowBytes_, swapUnit(block_.code));
        return row;
    }
    // Straight into the caller's rows; for stored rows that need no change.
    bool readInto(void* rows, std::int64_t count = 1) { return block_.input->read(rows, rowBytes_ * count) || fail(); }
    bool ended() const { return ended_; }

private:
    bool fail() {
        ended_ = true;
        return false;
    }
    const VoxelBlock& block_;
    std::int64_t rowBytes_;
    std::int64_t stackStart_ = 0;
    std::vector<std::uint64_t> buffer_;
    bool ended_ = false;
};

// A stream that ends inside the block leaves the rest of the field zero.
void reportEndOfData(const Text& name) {
    writeTextLine("  Unexpected end of data in (" + name + ")! The rest stays zero.");
}

Text sizeText(const VoxelBlock& block) {
    return integerToText(block.sizeX) + "x" + integerToText(block.sizeY) + "x" + integerToText(block.sizeZ);
}

bool positiveSize(const VoxelBlock& block) { return block.sizeX > 0 && block.sizeY > 0 && block.sizeZ > 0; }

std::int64_t voxelsOf(const VoxelBlock& block) { return product(product(block.sizeX, block.sizeY), block.sizeZ); }

// File form only: the first stack must be in the file. Prints the two lines
// and yields false when it is not.
bool fileHoldsBlock(const VoxelBlock& block, std::int64_t blockBytes, const char* typeLine) {
    if (block.input->isGzip()) return true;
    const std::int64_t fileSize = block.input->size();
    const std::int64_t voxels = voxelsOf(block);
    if (fileSize >= sum(block.offset, blockBytes)) return true;
    const std::int64_t bytes = sourceBytes(block.code);
    writeTextLine("  Wrong file size! Header: " + integerToText(block.offset) + " +Dim: " + integerToText(voxels) +
                  " *Bytes: " + integerToText(bytes));
    const std::int64_t calculated = (fileSize - block.offset) / voxels;
    writeTextLine(Text(typeLine) + integerToText(calculated & 0xFFFF));
    return false;
}

// ---- the load filter -------------------------------------------------------------

using Wide = __int128;

struct LoadFilter {
    std::int64_t add = 0, factor = 0;

    bool active() const { return add != 0 || factor != 0; }
    // Integers: the division truncates toward zero; a product beyond the
    // wide range saturates, which every clamp below treats alike.
    Wide apply(Wide value) const {
        const Wide sum = value + add;
        if (factor < 0) return sum / -static_cast<Wide>(factor);
        if (factor >= 1) {
            Wide product;
            if (__builtin_mul_overflow(sum, static_cast<Wide>(factor), &product)) {
                return sum < 0 ? -(Wide(1) << 100) : (Wide(1) << 100);
            }
            return product;
        }
        return sum;
    }
    long double apply(long double value) const {
        const long double sum = value + static_cast<long double>(add);
        if (factor < 0) return sum / -static_cast<long double>(factor);
        if (factor >= 1) return sum * static_cast<long double>(factor);
        return sum;
    }
};

template <class Out>
constexpr std::int64_t highestOf() { return std::numeric_limits<Out>::max(); }

template <class Out>
Out clampWide(Wide value) {
    if (value <= 0) return 0;
    if (value >= highestOf<Out>()) return static_cast<Out>(highestOf<Out>());
    return static_cast<Out>(value);
}

// Rounded to nearest, ties to even; NaN counts as 0.
template <class Out>
Out clampRounded(long double value, long double highest) {
    if (!(value > 0)) return 0;
    if (value >= highest) return static_cast<Out>(highest);
    return static_cast<Out>(std::nearbyint(value));
}

// The linear map of [low, high] of the data onto [0, top].
struct RangeMap {
    long double min = 0, max = 0;
    long double apply(long double value, long double top) const {
        if (max == min) return std::nearbyint(top / 2);
        const long double mapped = std::nearbyint((value - min) * top / (max - min));
        if (!(mapped > 0)) return 0;
        return mapped > top ? top : mapped;
    }
};

// The comparison value above which an unsigned stored voxel sets a mono voxel.
template <class Stored>
constexpr Wide monoThreshold() {
    if constexpr (std::is_signed_v<Stored>) return 0;
    else return static_cast<Wide>(std::numeric_limits<Stored>::max() / 2);
}

// ---- scalar conversions ------------------------------------------------------------

enum class FloatPath { fixed, ownRange, automatic };

// What one row conversion needs besides the stored row.
struct ScalarRule {
    LoadFilter filter;
    FloatPath path = FloatPath::fixed;
    RangeMap range;
    bool extendedOwnRange = false;  // 80Float on its own range compares on 0..255
};

// Mono targets get 0 or 1 a voxel, packed afterwards.
template <class Stored, class Out, bool mono, bool filtered>
void convertIntegerRow(const unsigned char* raw, Out* out, std::int64_t count, const ScalarRule& rule) {
    for (std::int64_t x = 0; x < count; ++x) {
        const Stored stored = loadStored<Stored>(raw + x * sizeof(Stored));
        Wide value = static_cast<Wide>(stored);
        if constexpr (filtered) value = rule.filter.apply(value);
        if constexpr (mono) {
            if constexpr (filtered && std::is_same_v<Stored, std::uint64_t>) {
                out[x] = 0;  // a filtered uint64 never sets a voxel
            } else {
                out[x] = value > monoThreshold<Stored>() ? 1 : 0;
            }
        } else if constexpr (!filtered && std::is_unsigned_v<Stored> && sizeof(Stored) <= sizeof(Out)) {
            out[x] = static_cast<Out>(stored);
        } else {
            out[x] = clampWide<Out>(value);
        }
    }
}

template <class Stored, class Out, bool mono>
void convertFloatRow(const unsigned char* raw, Out* out, std::int64_t count, const ScalarRule& rule) {
    constexpr std::size_t width = std::is_same_v<Stored, Extended> ? 10 : sizeof(Stored);
    const long double top = mono ? (rule.extendedOwnRange ? 255.0L : 1.0L) : highestOf<Out>();
    // The path is the same for every row: one loop each.
    if (rule.path == FloatPath::fixed) {
        for (std::int64_t x = 0; x < count; ++x) {
            const long double filtered = rule.filter.apply(realOf(loadStored<Stored>(raw + x * width)));
            if constexpr (mono) out[x] = filtered > 0 ? 1 : 0;
            else out[x] = clampRounded<Out>(filtered, top);
        }
        return;
    }
    for (std::int64_t x = 0; x < count; ++x) {
        const long double mapped = rule.range.apply(realOf(loadStored<Stored>(raw + x * width)), top);
        if constexpr (mono) out[x] = mapped >= 0.5L ? 1 : 0;
        else out[x] = static_cast<Out>(mapped);
    }
}

template <class Channel, int channels, class Out, bool mono>
void convertColourRow(const unsigned char* raw, Out* out, std::int64_t count, const ScalarRule&) {
    using Stored = Colour<Channel, channels>;
    // 8-bit channels: gray takes the mean, fullgray the plain sum; 16-bit
    // channels: gray the sum over 768, fullgray the mean.
    constexpr std::int64_t divisor = sizeof(Channel) == 1 ? (sizeof(Out) == 1 ? 3 : 1) : (sizeof(Out) == 1 ? 768 : 3);
    for (std::int64_t x = 0; x < count; ++x) {
        if constexpr (mono) {
            out[x] = 0;  // the channel mean never exceeds 3*$7F
        } else {
            const Stored stored = loadStored<Stored>(raw + x * sizeof(Stored));
            const std::int64_t sum = std::int64_t{stored.channel[0]} + stored.channel[1] + stored.channel[2];
            out[x] = static_cast<Out>(std::min<std::int64_t>(sum / divisor, highestOf<Out>()));
        }
    }
}

template <class Out>
using RowConverter = void (*)(const unsigned char*, Out*, std::int64_t, const ScalarRule&);

template <class Out, bool mono, bool filtered>
RowConverter<Out> integerConverter(int code) {
    switch (code) {
        case sourcecode::grey: return convertIntegerRow<std::uint8_t, Out, mono, filtered>;
        case sourcecode::signedGrey: return convertIntegerRow<std::int8_t, Out, mono, filtered>;
        case sourcecode::fullgrey: return convertIntegerRow<std::uint16_t, Out, mono, filtered>;
        case sourcecode::signedFullgrey: return convertIntegerRow<std::int16_t, Out, mono, filtered>;
        case sourcecode::grey32: return convertIntegerRow<std::uint32_t, Out, mono, filtered>;
        case sourcecode::signedGrey32: return convertIntegerRow<std::int32_t, Out, mono, filtered>;
        case sourcecode::grey64: return convertIntegerRow<std::uint64_t, Out, mono, filtered>;
        case sourcecode::signedGrey64: return convertIntegerRow<std::int64_t, Out, mono, filtered>;
        default: return nullptr;
    }
}

template <class Out, bool mono>
RowConverter<Out> rowConverter(int code, bool filtered) {
    switch (code) {
        case sourcecode::float32: return convertFloatRow<float, Out, mono>;
        case sourcecode::float64: return convertFloatRow<double, Out, mono>;
        case sourcecode::float80: return convertFloatRow<Extended, Out, mono>;
        case sourcecode::rgb: return convertColourRow<std::uint8_t, 3, Out, mono>;
        case sourcecode::rgba: return convertColourRow<std::uint8_t, 4, Out, mono>;
        case sourcecode::fullRgb: return convertColourRow<std::uint16_t, 3, Out, mono>;
        case sourcecode::fullRgba: return convertColourRow<std::uint16_t, 4, Out, mono>;
        default:
            return filtered ? integerConverter<Out, mono, true>(code) : integerConverter<Out, mono, false>(code);
    }
}

// The smallest and largest value of a float stack, for the automatic path.
template <class Stored>
void scanRange(const unsigned char* raw, std::int64_t count, RangeMap& range) {
    constexpr std::size_t width = std::is_same_v<Stored, Extended> ? 10 : sizeof(Stored);
    for (std::int64_t x = 0; x < count; ++x) {
        const long double value = realOf(loadStored<Stored>(raw + x * width));
        if (value < range.min) range.min = value;
        if (value > range.max) range.max = value;
    }
}

void scanRow(int code, const unsigned char* raw, std::int64_t count, RangeMap& range) {
    switch (code) {
        case sourcecode::float32: scanRange<float>(raw, count, range); break;
        case sourcecode::float64: scanRange<double>(raw, count, range); break;
        default: scanRange<Extended>(raw, count, range); break;
    }
}

// ---- scalar targets ----------------------------------------------------------------

const char* scalarKindName(VoxelKind kind) {
    switch (kind) {
        case VoxelKind::scalarMono: return "3DMono";
        case VoxelKind::scalarGray: return "3DGrey";
        default: return "3DFullgrey";
    }
}

// The divisors of the load scale as whole numbers of 1 to 255.
struct ScaleDivisors {
    std::int64_t x = 1, y = 1, z = 1;
    std::int64_t count() const { return x * y * z; }
    bool active() const { return count() > 1; }
};

ScaleDivisors divisorsOf(const Vector3& scale) {
    auto whole = [](double divisor) -> std::int64_t {
        if (!(divisor >= 1)) return 1;
        return divisor >= 255 ? 255 : static_cast<std::int64_t>(divisor);
    };
    return {whole(scale.x), whole(scale.y), whole(scale.z)};
}

// The progress names: the mono reader shows what it compares against.
Text scalarProgressName(VoxelKind kind, int code, FloatPath path, bool gzip) {
    Text name = sourceName(code);
    if (isFloatSource(code)) {
        name += path == FloatPath::fixed ? "_f" : path == FloatPath::ownRange ? "_o" : "_a";
        if (kind == VoxelKind::scalarMono && path == FloatPath::fixed) name += "|0";
        return name;
    }
    if (kind != VoxelKind::scalarMono) return name;
    switch (code) {
        case sourcecode::grey: return name + (gzip ? "|$7F" : "|3*$7F");
        case sourcecode::fullgrey: return name + "|$7FFF";
        case sourcecode::grey32: return name + "|$7FFF:FFFF";
        case sourcecode::grey64: return name + "|$7FFF:FFFF:FFFF:FFFF";
        default: return name + (isColourSource(code) ? "|3*$7F" : "|0");
    }
}

class ScalarFill {
public:
    ScalarFill(ScalarField& field, const VoxelBlock& block, const ScaleDivisors& divisors)
        : field_(field), block_(block), divisors_(divisors) {}

    template <class Out>
    void run(RowConverter<Out> convert, const ScalarRule& rule, const Text& title, bool straight);

private:
    template <class Out>
    void store(const Out* row, std::int64_t y, std::int64_t z);

    ScalarField& field_;
    const VoxelBlock& block_;
    ScaleDivisors divisors_;
};

template <class Out>
void ScalarFill::store(const Out* row, std::int64_t y, std::int64_t z) {
    ScalarPayload& payload = *field_.payload;
    const std::int64_t width = block_.sizeX;
    if (payload.kind == VoxelKind::scalarMono) {
        std::uint64_t* words = payload.monoRow(y / divisors_.y + 1, z / divisors_.z + 1);
        for (std::int64_t x = 0; x < width; ++x) {
            const std::int64_t target = x / divisors_.x;
            words[target / 64] |= std::uint64_t{row[x] != 0} << (target % 64);
        }
        return;
    }
    Out* targetRow = payload.row<Out>(y / divisors_.y + 1, z / divisors_.z + 1);
    const std::int64_t count = divisors_.count();
    for (std::int64_t x = 0; x < width; ++x) {
        targetRow[x / divisors_.x] = static_cast<Out>(targetRow[x / divisors_.x] + row[x] / count);
    }
}

template <class Out>
void ScalarFill::run(RowConverter<Out> convert, const ScalarRule& rule, const Text& title, bool straight) {
    const std::int64_t width = block_.sizeX;
    StackRows rows(block_, product(voxelsOf(block_), sourceBytes(block_.code)), width * sourceBytes(block_.code));
    ScalarPayload& payload = *field_.payload;
    const bool direct = payload.kind != VoxelKind::scalarMono && !divisors_.active();
    std::vector<Out> scratch(direct ? 0 : width);
    bool ended = !rows.rewind();
    for (std::int64_t z = 0; z < block_.sizeZ && !ended; ++z) {
        ready(static_cast<double>(z) / block_.sizeZ, title);
        if (direct && straight) {
            // The stored slice is the field's slice: one read.
            rows.readInto(payload.row<Out>(1, z + 1), block_.sizeY);
            ended = rows.ended();
            continue;
        }
        for (std::int64_t y = 0; y < block_.sizeY; ++y) {
            Out* out = direct ? payload.row<Out>(y + 1, z + 1) : scratch.data();
            const unsigned char* raw = rows.next();
            if (raw == nullptr) break;
            convert(raw, out, width, rule);
            if (!direct) store(out, y, z);
        }
        ended = rows.ended();
    }
    readyDone();
    if (ended) reportEndOfData(block_.name);
}

void reportNewRange(VoxelKind kind, const RangeMap& range) {
    const double min = static_cast<double>(range.min), max = static_cast<double>(range.max);
    Text line = "  New min (" + realToText(min) + ") max (" + realToText(max) + ") values -> ";
    switch (kind) {
        case VoxelKind::scalarMono: line += "threshold=" + realToText((max - min * 0.5) + min) + "!"; break;
        case VoxelKind::scalarGray: line += "0..255!"; break;
        default: line += "0..65535!"; break;
    }
    writeTextLine(line);
}

// First pass of the automatic path: min and max over the selected stack.
bool scanStack(const VoxelBlock& block, RangeMap& range, const Text& title) {
    const std::int64_t rowBytes = block.sizeX * sourceBytes(block.code);
    StackRows rows(block, product(voxelsOf(block), sourceBytes(block.code)), rowBytes);
    range.min = std::numeric_limits<long double>::infinity();
    range.max = -std::numeric_limits<long double>::infinity();
    if (!rows.rewind()) return false;
    for (std::int64_t z = 0; z < block.sizeZ; ++z) {
        ready(static_cast<double>(z) / block.sizeZ, title);
        for (std::int64_t y = 0; y < block.sizeY; ++y) {
            const unsigned char* raw = rows.next();
            if (raw == nullptr) {
                readyDone();
                return false;
            }
            scanRow(block.code, raw, block.sizeX, range);
        }
    }
    readyDone();
    return true;
}

template <class Out>
void fillScalar(ScalarField& field, VoxelKind kind, const VoxelBlock& block, const ScaleDivisors& divisors) {
    constexpr bool fullgray = sizeof(Out) == 2;
    const bool mono = kind == VoxelKind::scalarMono;
    ScalarRule rule;
    rule.filter = {field.loadAdd, field.loadFactor};
    const bool floatSource = isFloatSource(block.code);
    if (floatSource && !(rule.filter.factor >= 1 || rule.filter.add != 0)) {
        rule.path = block.calMax - block.calMin > 0 ? FloatPath::ownRange : FloatPath::automatic;
        rule.range = {block.calMin, block.calMax};
        rule.extendedOwnRange = block.code == sourcecode::float80 && rule.path == FloatPath::ownRange;
    }
    const Text head = Text("  ") + scalarKindName(kind);
    const Text tail = Text(" with (") + sizeText(block) + ")";
    const bool plainName = !floatSource && ((kind == VoxelKind::scalarGray && block.code == sourcecode::grey) ||
                                            (kind == VoxelKind::scalarFullgray && block.code == sourcecode::fullgrey));
    const Text title = plainName ? head + tail
                                 : head + " (" + scalarProgressName(kind, block.code, rule.path, block.input->isGzip()) +
                                       ")" + tail;

    if (rule.path == FloatPath::automatic && !scanStack(block, rule.range, title)) {
        reportEndOfData(block.name);
        return;
    }
    RowConverter<Out> convert = mono ? rowConverter<Out, true>(block.code, rule.filter.active())
                                     : rowConverter<Out, false>(block.code, rule.filter.active());
    const bool straight = !mono && !block.swapped && !rule.filter.active() &&
                          block.code == (fullgray ? sourcecode::fullgrey : sourcecode::grey);
    ScalarFill fill(field, block, divisors);
    fill.run<Out>(convert, rule, title, straight);
    if (floatSource && rule.path != FloatPath::fixed) reportNewRange(kind, rule.range);
}

bool knownScalarSource(int code) { return sourceName(code)[0] != '\0'; }

// ---- vector and tensor targets ------------------------------------------------------

// Where component volume c of the file goes: a payload and the term in it.
struct ComponentTarget {
    VectorPayload* payload;
    int term;
};

template <class Stored>
double componentReal(Stored value) { return static_cast<double>(value); }

template <class Stored>
std::int64_t componentInteger(Stored value) {
    if constexpr (std::is_integral_v<Stored>) {
        if constexpr (std::is_same_v<Stored, std::uint64_t>) {
            return value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
                       ? std::numeric_limits<std::int64_t>::max()
                       : static_cast<std::int64_t>(value);
        } else {
            return static_cast<std::int64_t>(value);
        }
    } else {
        const double rounded = std::nearbyint(static_cast<double>(value));
        if (!(rounded == rounded)) return 0;
        if (rounded >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
        if (rounded <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(rounded);
    }
}

template <class Stored>
void storeComponentRow(const unsigned char* raw, std::int64_t count, const ComponentTarget& target,
                       std::int64_t firstVoxel) {
    VectorPayload& payload = *target.payload;
    switch (payload.kind) {
        case VoxelKind::vectorFloat: {
            double* out = payload.data<double>() + firstVoxel * 3 + target.term;
            for (std::int64_t x = 0; x < count; ++x) out[x * 3] = componentReal(loadStored<Stored>(raw + x * sizeof(Stored)));
            break;
        }
        case VoxelKind::vectorNat: {
            std::int64_t* out = payload.data<std::int64_t>() + firstVoxel * 3 + target.term;
            for (std::int64_t x = 0; x < count; ++x) {
                out[x * 3] = componentInteger(loadStored<Stored>(raw + x * sizeof(Stored)));
            }
            break;
        }
        default: {
            std::uint8_t* out = payload.data<std::uint8_t>() + firstVoxel * 3 + target.term;
            for (std::int64_t x = 0; x < count; ++x) {
                out[x * 3] = clampRounded<std::uint8_t>(realOf(loadStored<Stored>(raw + x * sizeof(Stored))), 255);
            }
            break;
        }
    }
}

using ComponentStore = void (*)(const unsigned char*, std::int64_t, const ComponentTarget&, std::int64_t);

ComponentStore componentStore(int code) {
    switch (code) {
        case sourcecode::float64: return storeComponentRow<double>;
        case sourcecode::float32: return storeComponentRow<float>;
        case sourcecode::grey64: return storeComponentRow<std::uint64_t>;
        case sourcecode::signedGrey64: return storeComponentRow<std::int64_t>;
        case sourcecode::grey32: return storeComponentRow<std::uint32_t>;
        case sourcecode::signedGrey32: return storeComponentRow<std::int32_t>;
        case sourcecode::fullgrey: return storeComponentRow<std::uint16_t>;
        case sourcecode::signedFullgrey: return storeComponentRow<std::int16_t>;
        case sourcecode::grey: return storeComponentRow<std::uint8_t>;
        case sourcecode::signedGrey: return storeComponentRow<std::int8_t>;
        default: return nullptr;
    }
}

// "64Float", "32Bit", "-8Bit": the component names of vector progress lines.
Text componentTypeName(int code) {
    if (isFloatSource(code)) return sourceName(code);
    return integerToText(code) + "Bit";
}

// Component volumes one after the other, each row into its term.
void fillComponents(const VoxelBlock& block, const std::vector<ComponentTarget>& targets, const Text& title) {
    const std::int64_t voxels = voxelsOf(block);
    const std::int64_t bytes = sourceBytes(block.code);
    StackRows rows(block, product(product(voxels, bytes), static_cast<std::int64_t>(targets.size())), block.sizeX * bytes);
    const ComponentStore store = componentStore(block.code);
    bool ended = !rows.rewind();
    const std::int64_t planes = block.sizeZ * static_cast<std::int64_t>(targets.size());
    for (std::size_t c = 0; c < targets.size() && !ended; ++c) {
        for (std::int64_t z = 0; z < block.sizeZ && !ended; ++z) {
            ready(static_cast<double>(static_cast<std::int64_t>(c) * block.sizeZ + z) / planes, title);
            for (std::int64_t y = 0; y < block.sizeY; ++y) {
                const unsigned char* raw = rows.next();
                if (raw == nullptr) break;
                store(raw, block.sizeX, targets[c], (z * block.sizeY + y) * block.sizeX);
            }
            ended = rows.ended();
        }
    }
    readyDone();
    if (ended) reportEndOfData(block.name);
}

template <class Channel, int channels>
void fillColours(VectorPayload& payload, const VoxelBlock& block, const Text& title) {
    using Stored = Colour<Channel, channels>;
    StackRows rows(block, product(voxelsOf(block), sizeof(Stored)), block.sizeX * sizeof(Stored));
    bool ended = !rows.rewind();
    Rgb* voxels = payload.data<Rgb>();
    constexpr int shift = sizeof(Channel) == 2 ? 8 : 0;
    for (std::int64_t z = 0; z < block.sizeZ && !ended; ++z) {
        ready(static_cast<double>(z) / block.sizeZ, title);
        for (std::int64_t y = 0; y < block.sizeY; ++y) {
            const unsigned char* raw = rows.next();
            if (raw == nullptr) break;
            Rgb* out = voxels + (z * block.sizeY + y) * block.sizeX;
            for (std::int64_t x = 0; x < block.sizeX; ++x) {
                const Stored stored = loadStored<Stored>(raw + x * sizeof(Stored));
                out[x] = {static_cast<std::uint8_t>(stored.channel[0] >> shift),
                          static_cast<std::uint8_t>(stored.channel[1] >> shift),
                          static_cast<std::uint8_t>(stored.channel[2] >> shift)};
            }
        }
        ended = rows.ended();
    }
    readyDone();
    if (ended) reportEndOfData(block.name);
}

Text progressLine(const char* kindName, const Text& inner, const VoxelBlock& block) {
    return Text("  ") + kindName + (inner.empty() ? Text() : " (" + inner + ")") + " with (" + sizeText(block) + ")";
}

// Makes the field for `terms` component volumes a stack; false when no
// voxels are to be read: an empty field, or a zero one for a short file.
template <class Field>
bool makeComponentField(Field& field, VoxelKind kind, const VoxelBlock& block, std::int64_t terms,
                        const char* kindName) {
    if (!positiveSize(block) || componentStore(block.code) == nullptr) {
        newField(field, kind);
        return false;
    }
    const std::int64_t stackBytes = product(product(voxelsOf(block), terms), sourceBytes(block.code));
    const bool complete = fileHoldsBlock(block, product(block.stack, stackBytes), "  Calculated typ (bytes):");
    newField(field, kind, block.sizeX, block.sizeY, block.sizeZ);
    if (!complete) {
        ready(0, progressLine(kindName, "Zero", block));
        readyDone();
    }
    return complete && fieldSize(field).x > 0;
}

}  // namespace

// ---- entry points ----------------------------------------------------------------

void readScalarBlock(ScalarField& field, VoxelKind kind, const VoxelBlock& block) {
    const char* kindName = scalarKindName(kind);
    if (!positiveSize(block)) {
        newField(field, kind);
        ready(0, progressLine(kindName, Text(), block));
        readyDone();
        return;
    }
    const std::int64_t bytes = sourceBytes(block.code);
    if (!knownScalarSource(block.code) || bytes == 0) {
        newField(field, kind, block.sizeX, block.sizeY, block.sizeZ);
        ready(0, progressLine(kindName, integerToText(block.code) + " - unknown type", block));
        readyDone();
        return;
    }
    // The selected stack is not part of this test.
    if (!fileHoldsBlock(block, product(voxelsOf(block), bytes), "  Calculated type (bytes):")) {
        newField(field, kind, block.sizeX, block.sizeY, block.sizeZ);
        const char* zeroName = kind == VoxelKind::scalarMono ? "  3DFullgrey (MonoZero) with ("
                               : kind == VoxelKind::scalarGray ? "  3DGrey (GreyZero) with ("
                                                               : "  3DFullgrey (GreyZero) with (";
        ready(0, zeroName + sizeText(block) + ")");
        readyDone();
        return;
    }
    const ScaleDivisors divisors = divisorsOf(field.loadScale);
    newField(field, kind, (block.sizeX - 1) / divisors.x + 1, (block.sizeY - 1) / divisors.y + 1,
             (block.sizeZ - 1) / divisors.z + 1);
    if (fieldSize(field).x == 0) return;  // the allocation said why
    switch (kind) {
        case VoxelKind::scalarFullgray: fillScalar<std::uint16_t>(field, kind, block, divisors); break;
        default: fillScalar<std::uint8_t>(field, kind, block, divisors); break;
    }
}

void readVectorBlock(VectorField& field, VoxelKind kind, const VoxelBlock& block) {
    if (isColourSource(block.code)) {
        const char* inner = sourceName(block.code);
        if (!positiveSize(block)) {
            newField(field, VoxelKind::vectorRgb);
            return;
        }
        const std::int64_t stackBytes = product(voxelsOf(block), sourceBytes(block.code));
        if (!fileHoldsBlock(block, product(block.stack, stackBytes), "  Calculated typ (bytes):")) {
            newField(field, VoxelKind::vectorRgb, block.sizeX, block.sizeY, block.sizeZ);
            return;
        }
        newField(field, VoxelKind::vectorRgb, block.sizeX, block.sizeY, block.sizeZ);
        if (fieldSize(field).x == 0) return;
        const Text title = progressLine("3DRGB", inner, block);
        switch (block.code) {
            case sourcecode::rgb: fillColours<std::uint8_t, 3>(*field.payload, block, title); break;
            case sourcecode::rgba: fillColours<std::uint8_t, 4>(*field.payload, block, title); break;
            case sourcecode::fullRgb: fillColours<std::uint16_t, 3>(*field.payload, block, title); break;
            default: fillColours<std::uint16_t, 4>(*field.payload, block, title); break;
        }
        return;
    }
    if (!makeComponentField(field, kind, block, 3, "3DVector")) return;
    fillComponents(block, {{field.payload.get(), 0}, {field.payload.get(), 1}, {field.payload.get(), 2}},
                   progressLine("3DVector", componentTypeName(block.code), block));
}

void readTensorBlock(TensorField& field, VoxelKind kind, const VoxelBlock& block) {
    if (!makeComponentField(field, kind, block, 6, "3DTensor")) return;
    VectorPayload* diagonal = field.payload.get();
    VectorPayload* offDiagonal = field.secondPayload.get();
    // xx, xy, yy, xz, yz, zz: the lower triangle row by row.
    fillComponents(block,
                   {{diagonal, 0}, {offDiagonal, 0}, {diagonal, 1}, {offDiagonal, 1}, {offDiagonal, 2}, {diagonal, 2}},
                   progressLine("3DTensor", componentTypeName(block.code), block));
}

}  // namespace corvane
