#include "fields/fieldrecords.h"

#include <algorithm>
#include <cmath>

#include "foundation/console.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

std::uint32_t clampRounded(double value, std::uint32_t highest) {
    if (!(value > 0)) return 0;  // NaN too
    if (value >= static_cast<double>(highest)) return highest;
    return static_cast<std::uint32_t>(roundReal(value));
}

double roundedFor(VoxelKind kind, double value) {
    if (kind == VoxelKind::vectorRgb) return clampRounded(value, 255);
    if (kind == VoxelKind::vectorNat) return std::isfinite(value) ? static_cast<double>(roundReal(value)) : 0.0;
    return value;
}

Vector3 roundedFor(VoxelKind kind, const Vector3& value) {
    return {roundedFor(kind, value.x), roundedFor(kind, value.y), roundedFor(kind, value.z)};
}

bool inside(std::int64_t x, std::int64_t y, std::int64_t z, std::int64_t sizeX, std::int64_t sizeY,
            std::int64_t sizeZ) {
    return x >= 1 && y >= 1 && z >= 1 && x <= sizeX && y <= sizeY && z <= sizeZ;
}

std::int64_t voxelCount(std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    if (sizeX <= 0 || sizeY <= 0 || sizeZ <= 0) return 0;
    return sizeX * sizeY * sizeZ;
}

// Every record of an allocated array set to one value.
template <class T>
void fillArray(TrackedArray& array, T value) {
    if (array.isAllocated()) std::fill_n(array.records<T>(), array.count(), value);
}

// ---- image -----------------------------------------------------------------------

std::uint32_t channelHighest(const ImagePayload& payload, int channel) {
    return payload.sampleBytes(channel) == 2 ? 65535u : 255u;
}

void allocateImage(ImagePayload& payload, std::int64_t sizeX, std::int64_t sizeY) {
    const std::int64_t count = voxelCount(sizeX, sizeY, 1);
    if (count == 0) return;
    for (int c = 0; c < payload.channels(); ++c) {
        payload.planes[c].allocStatic(count, payload.sampleBytes(c));
        if (!payload.planes[c].isAllocated()) {
            for (TrackedArray& plane : payload.planes) plane.free();
            return;
        }
    }
    payload.sizeX = sizeX;
    payload.sizeY = sizeY;
    payload.window[2] = sizeX;
    payload.window[3] = sizeY;
}

std::unique_ptr<ImagePayload> makeImagePayload(VoxelKind kind) {
    auto payload = std::make_unique<ImagePayload>();
    payload->kind = kind;
    for (int c = 0; c < 4; ++c) payload->value[c] = c < payload->channels() ? channelHighest(*payload, c) : 0;
    return payload;
}

// ---- scalar ----------------------------------------------------------------------

std::uint32_t scalarHighest(VoxelKind kind) {
    switch (kind) {
        case VoxelKind::scalarMono: return 1;
        case VoxelKind::scalarGray: return 255;
        default: return 65535;
    }
}

std::uint32_t clampScalar(VoxelKind kind, double value) {
    if (kind == VoxelKind::scalarMono) return value > 0 ? 1 : 0;
    return clampRounded(value, scalarHighest(kind));
}

void allocateScalar(ScalarPayload& payload, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    if (voxelCount(sizeX, sizeY, sizeZ) == 0) return;
    if (payload.kind == VoxelKind::scalarMono) {
        payload.voxels.allocStatic((sizeX + 63) / 64 * sizeY * sizeZ, 8);
    } else {
        payload.voxels.allocStatic(sizeX * sizeY * sizeZ, payload.kind == VoxelKind::scalarGray ? 1 : 2);
    }
    if (!payload.voxels.isAllocated()) return;
    payload.sizeX = sizeX;
    payload.sizeY = sizeY;
    payload.sizeZ = sizeZ;
}

// ---- vector ----------------------------------------------------------------------

std::int64_t vectorRecordBytes(VoxelKind kind) {
    return kind == VoxelKind::vectorRgb ? 3 : 24;
}

void allocateVector(VectorPayload& payload, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    const std::int64_t count = voxelCount(sizeX, sizeY, sizeZ);
    if (count == 0) return;
    payload.voxels.allocStatic(count, vectorRecordBytes(payload.kind));
    if (!payload.voxels.isAllocated()) return;
    payload.sizeX = sizeX;
    payload.sizeY = sizeY;
    payload.sizeZ = sizeZ;
}

std::unique_ptr<VectorPayload> makeVectorPayload(VoxelKind kind) {
    auto payload = std::make_unique<VectorPayload>();
    payload->kind = kind;
    return payload;
}

Vector3 readVectorVoxel(const VectorPayload& payload, std::int64_t x, std::int64_t y, std::int64_t z) {
    if (!inside(x, y, z, payload.sizeX, payload.sizeY, payload.sizeZ) || !payload.voxels.isAllocated()) return {};
    const std::int64_t at = ((z - 1) * payload.sizeY + (y - 1)) * payload.sizeX + (x - 1);
    switch (payload.kind) {
        case VoxelKind::vectorFloat: return payload.data<Vector3>()[at];
        case VoxelKind::vectorNat: {
            const std::int64_t* terms = payload.data<std::int64_t>() + at * 3;
            return {static_cast<double>(terms[0]), static_cast<double>(terms[1]), static_cast<double>(terms[2])};
        }
        case VoxelKind::vectorRgb: {
            const Rgb colour = payload.data<Rgb>()[at];
            return {static_cast<double>(colour.r), static_cast<double>(colour.g), static_cast<double>(colour.b)};
        }
        default: return {};
    }
}

void writeVectorVoxel(VectorPayload& payload, std::int64_t x, std::int64_t y, std::int64_t z, const Vector3& value) {
    if (!inside(x, y, z, payload.sizeX, payload.sizeY, payload.sizeZ) || !payload.voxels.isAllocated()) return;
    const std::int64_t at = ((z - 1) * payload.sizeY + (y - 1)) * payload.sizeX + (x - 1);
    const Vector3 v = roundedFor(payload.kind, value);
    switch (payload.kind) {
        case VoxelKind::vectorFloat: payload.data<Vector3>()[at] = v; break;
        case VoxelKind::vectorNat: {
            std::int64_t* terms = payload.data<std::int64_t>() + at * 3;
            terms[0] = static_cast<std::int64_t>(v.x);
            terms[1] = static_cast<std::int64_t>(v.y);
            terms[2] = static_cast<std::int64_t>(v.z);
            break;
        }
        case VoxelKind::vectorRgb:
            payload.data<Rgb>()[at] = {static_cast<std::uint8_t>(v.x), static_cast<std::uint8_t>(v.y),
                                       static_cast<std::uint8_t>(v.z)};
            break;
        default: break;
    }
}

// Starts a field anew: the old payloads go, the name is cleared; false after
// the unknown-kind line, with kind 0 and no payload.
template <class Field>
bool restart(Field& field, FieldFamily family, VoxelKind kind, const char* unknownLine) {
    field.payload.reset();
    field.name = Text();
    field.kind = VoxelKind::none;
    if (!familyAdmits(family, kind)) {
        writeLine(unknownLine);
        return false;
    }
    field.kind = kind;
    return true;
}

// A copy of the block in an array of its own.
void copyArray(TrackedArray& target, const TrackedArray& source) {
    target.free();
    if (!source.isAllocated() || source.count() == 0) return;
    target.allocStatic(source.count(), source.recordSize());
    target.copyFrom(source);
}

void copyVectorPayload(std::unique_ptr<VectorPayload>& target, const std::unique_ptr<VectorPayload>& source) {
    target.reset();
    if (!source) return;
    target = makeVectorPayload(source->kind);
    target->sizeX = source->sizeX;
    target->sizeY = source->sizeY;
    target->sizeZ = source->sizeZ;
    target->value = source->value;
    target->background = source->background;
    copyArray(target->voxels, source->voxels);
}

}  // namespace

int ImagePayload::channels() const {
    switch (kind) {
        case VoxelKind::imageGray:
        case VoxelKind::imageFullgray: return 1;
        case VoxelKind::imageRgb: return 3;
        case VoxelKind::imageRgba:
        case VoxelKind::imageZrgb: return 4;
        default: return 0;
    }
}

int ImagePayload::sampleBytes(int channel) const {
    if (kind == VoxelKind::imageFullgray) return 2;
    if (kind == VoxelKind::imageZrgb && channel == 3) return 2;
    return 1;
}

// ---- construction ------------------------------------------------------------

void newField(ImageField& field, VoxelKind kind) {
    if (restart(field, FieldFamily::image, kind, "Unknown imagefield!")) field.payload = makeImagePayload(kind);
}

void newField(ScalarField& field, VoxelKind kind) {
    if (!restart(field, FieldFamily::scalar, kind, "Unknown imagefield!")) return;
    field.payload = std::make_unique<ScalarPayload>();
    field.payload->kind = kind;
    field.payload->value = scalarHighest(kind);
}

void newField(VectorField& field, VoxelKind kind) {
    if (restart(field, FieldFamily::vector, kind, "Unknown vectorfield!")) field.payload = makeVectorPayload(kind);
}

void newField(TensorField& field, VoxelKind kind) {
    field.secondPayload.reset();
    if (!restart(field, FieldFamily::tensor, kind, "Unknown tensorfield!")) return;
    field.payload = makeVectorPayload(kind);
    field.secondPayload = makeVectorPayload(kind);
}

void newField(ImageField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY) {
    newField(field, kind);
    if (field.payload) allocateImage(*field.payload, sizeX, sizeY);
}

void newField(ScalarField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    newField(field, kind);
    if (field.payload) allocateScalar(*field.payload, sizeX, sizeY, sizeZ);
}

void newField(VectorField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    newField(field, kind);
    if (field.payload) allocateVector(*field.payload, sizeX, sizeY, sizeZ);
}

void newField(TensorField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ) {
    newField(field, kind);
    if (!field.payload) return;
    allocateVector(*field.payload, sizeX, sizeY, sizeZ);
    allocateVector(*field.secondPayload, sizeX, sizeY, sizeZ);
    if (!field.payload->voxels.isAllocated() || !field.secondPayload->voxels.isAllocated()) {
        // Both halves or neither.
        field.payload = makeVectorPayload(kind);
        field.secondPayload = makeVectorPayload(kind);
    }
}

void fillWithBackground(ImageField& field) {
    if (!hasPayload(field)) return;
    ImagePayload& p = *field.payload;
    for (int c = 0; c < p.channels(); ++c) {
        if (p.sampleBytes(c) == 2) {
            fillArray(p.planes[c], static_cast<std::uint16_t>(p.background[c]));
        } else {
            fillArray(p.planes[c], static_cast<std::uint8_t>(p.background[c]));
        }
    }
}

void fillWithBackground(ScalarField& field) {
    if (!hasPayload(field)) return;
    ScalarPayload& p = *field.payload;
    switch (p.kind) {
        // Whole words of set bits; the padding of each row is never read.
        case VoxelKind::scalarMono: fillArray(p.voxels, p.background != 0 ? ~std::uint64_t{0} : 0); break;
        case VoxelKind::scalarGray: fillArray(p.voxels, static_cast<std::uint8_t>(p.background)); break;
        default: fillArray(p.voxels, static_cast<std::uint16_t>(p.background)); break;
    }
}

void copyField(ImageField& target, const ImageField& source) {
    target.kind = source.kind;
    target.name = source.name;
    target.settings = source.settings;
    target.geometry = source.geometry;
    target.payload.reset();
    if (!source.payload) return;
    target.payload = std::make_unique<ImagePayload>();
    ImagePayload& to = *target.payload;
    const ImagePayload& from = *source.payload;
    to.kind = from.kind;
    to.sizeX = from.sizeX;
    to.sizeY = from.sizeY;
    std::copy(std::begin(from.value), std::end(from.value), std::begin(to.value));
    std::copy(std::begin(from.background), std::end(from.background), std::begin(to.background));
    std::copy(std::begin(from.window), std::end(from.window), std::begin(to.window));
    to.drawScale = from.drawScale;
    for (int c = 0; c < 4; ++c) copyArray(to.planes[c], from.planes[c]);
}

void copyField(ScalarField& target, const ScalarField& source) {
    target.kind = source.kind;
    target.labels = source.labels;
    target.name = source.name;
    target.settings = source.settings;
    target.geometry = source.geometry;
    target.diffusionText = source.diffusionText;
    target.loadAdd = source.loadAdd;
    target.loadFactor = source.loadFactor;
    target.loadScale = source.loadScale;
    target.payload.reset();
    if (!source.payload) return;
    target.payload = std::make_unique<ScalarPayload>();
    ScalarPayload& to = *target.payload;
    const ScalarPayload& from = *source.payload;
    to.kind = from.kind;
    to.sizeX = from.sizeX;
    to.sizeY = from.sizeY;
    to.sizeZ = from.sizeZ;
    to.value = from.value;
    to.background = from.background;
    copyArray(to.voxels, from.voxels);
}

namespace {

// The members vector and tensor wrappers share, payloads apart.
template <class Field>
void copyOrientedMembers(Field& target, const Field& source) {
    target.kind = source.kind;
    target.name = source.name;
    target.geometry = source.geometry;
    target.extra1 = source.extra1;
    target.extra2 = source.extra2;
    target.method = source.method;
    copyVectorPayload(target.payload, source.payload);
}

}  // namespace

void copyField(VectorField& target, const VectorField& source) { copyOrientedMembers(target, source); }

void copyField(TensorField& target, const TensorField& source) {
    copyOrientedMembers(target, source);
    copyVectorPayload(target.secondPayload, source.secondPayload);
}

// ---- accessors ------------------------------------------------------------------

bool hasPayload(const ImageField& field) { return field.kind != VoxelKind::none && field.payload != nullptr; }
bool hasPayload(const ScalarField& field) { return field.kind != VoxelKind::none && field.payload != nullptr; }
bool hasPayload(const VectorField& field) { return field.kind != VoxelKind::none && field.payload != nullptr; }
bool hasPayload(const TensorField& field) {
    return field.kind != VoxelKind::none && field.payload != nullptr && field.secondPayload != nullptr;
}

IntVector3 fieldSize(const ImageField& field) {
    if (!hasPayload(field)) return {};
    const ImagePayload& p = *field.payload;
    return {p.sizeX, p.sizeY, p.sizeX > 0 ? 1 : 0};
}

IntVector3 fieldSize(const ScalarField& field) {
    if (!hasPayload(field)) return {};
    return {field.payload->sizeX, field.payload->sizeY, field.payload->sizeZ};
}

IntVector3 fieldSize(const VectorField& field) {
    if (!hasPayload(field)) return {};
    return {field.payload->sizeX, field.payload->sizeY, field.payload->sizeZ};
}

IntVector3 fieldSize(const TensorField& field) {
    if (!hasPayload(field)) return {};
    return {field.payload->sizeX, field.payload->sizeY, field.payload->sizeZ};
}

Vector4 spreadOverChannels(double value) { return {value, value, value, 255}; }

namespace {

Vector4 channelsToVector(const std::uint32_t (&samples)[4]) {
    return {static_cast<double>(samples[0]), static_cast<double>(samples[1]), static_cast<double>(samples[2]),
            static_cast<double>(samples[3])};
}

void storeChannels(const ImagePayload& payload, std::uint32_t (&samples)[4], const Vector4& colour) {
    const double parts[4] = {colour.x, colour.y, colour.z, colour.w};
    if (payload.channels() == 1) {
        samples[0] = clampRounded(parts[0], channelHighest(payload, 0));
        return;
    }
    for (int c = 0; c < payload.channels(); ++c) samples[c] = clampRounded(parts[c], channelHighest(payload, c));
}

}  // namespace

Vector4 imageValue(const ImageField& field) {
    return hasPayload(field) ? channelsToVector(field.payload->value) : Vector4{};
}

Vector4 imageBackground(const ImageField& field) {
    return hasPayload(field) ? channelsToVector(field.payload->background) : Vector4{};
}

void setImageValue(ImageField& field, const Vector4& colour) {
    if (hasPayload(field)) storeChannels(*field.payload, field.payload->value, colour);
}

void setImageBackground(ImageField& field, const Vector4& colour) {
    if (hasPayload(field)) storeChannels(*field.payload, field.payload->background, colour);
}

std::int64_t scalarValue(const ScalarField& field) { return hasPayload(field) ? field.payload->value : 0; }
std::int64_t scalarBackground(const ScalarField& field) { return hasPayload(field) ? field.payload->background : 0; }

void setScalarValue(ScalarField& field, double value) {
    if (hasPayload(field)) field.payload->value = clampScalar(field.kind, value);
}

void setScalarBackground(ScalarField& field, double value) {
    if (hasPayload(field)) field.payload->background = clampScalar(field.kind, value);
}

Vector3 vectorValue(const VectorField& field) { return hasPayload(field) ? field.payload->value : Vector3{}; }
Vector3 vectorBackground(const VectorField& field) { return hasPayload(field) ? field.payload->background : Vector3{}; }

void setVectorValue(VectorField& field, const Vector3& value) {
    if (hasPayload(field)) field.payload->value = roundedFor(field.kind, value);
}

void setVectorBackground(VectorField& field, const Vector3& value) {
    if (hasPayload(field)) field.payload->background = roundedFor(field.kind, value);
}

std::uint32_t getPixel(const ImageField& field, std::int64_t x, std::int64_t y, int channel) {
    if (!hasPayload(field) || channel < 0 || channel >= field.payload->channels()) return 0;
    const ImagePayload& p = *field.payload;
    if (!inside(x, y, 1, p.sizeX, p.sizeY, 1) || !p.planes[channel].isAllocated()) return 0;
    const std::int64_t at = (y - 1) * p.sizeX + (x - 1);
    return p.sampleBytes(channel) == 2 ? p.plane<std::uint16_t>(channel)[at] : p.plane<std::uint8_t>(channel)[at];
}

void setPixel(ImageField& field, std::int64_t x, std::int64_t y, std::uint32_t value, int channel) {
    if (!hasPayload(field) || channel < 0 || channel >= field.payload->channels()) return;
    ImagePayload& p = *field.payload;
    if (!inside(x, y, 1, p.sizeX, p.sizeY, 1) || !p.planes[channel].isAllocated()) return;
    const std::int64_t at = (y - 1) * p.sizeX + (x - 1);
    const std::uint32_t clamped = std::min(value, channelHighest(p, channel));
    if (p.sampleBytes(channel) == 2) {
        p.plane<std::uint16_t>(channel)[at] = static_cast<std::uint16_t>(clamped);
    } else {
        p.plane<std::uint8_t>(channel)[at] = static_cast<std::uint8_t>(clamped);
    }
}

std::int64_t getVoxel(const ScalarField& field, std::int64_t x, std::int64_t y, std::int64_t z) {
    if (!hasPayload(field)) return 0;
    const ScalarPayload& p = *field.payload;
    if (!inside(x, y, z, p.sizeX, p.sizeY, p.sizeZ) || !p.voxels.isAllocated()) return 0;
    switch (p.kind) {
        case VoxelKind::scalarMono: return (p.monoRow(y, z)[(x - 1) / 64] >> ((x - 1) % 64)) & 1;
        case VoxelKind::scalarGray: return p.row<std::uint8_t>(y, z)[x - 1];
        case VoxelKind::scalarFullgray: return p.row<std::uint16_t>(y, z)[x - 1];
        default: return 0;
    }
}

void setVoxel(ScalarField& field, std::int64_t x, std::int64_t y, std::int64_t z, std::int64_t value) {
    if (!hasPayload(field)) return;
    ScalarPayload& p = *field.payload;
    if (!inside(x, y, z, p.sizeX, p.sizeY, p.sizeZ) || !p.voxels.isAllocated()) return;
    const std::uint32_t stored = clampScalar(p.kind, static_cast<double>(value));
    switch (p.kind) {
        case VoxelKind::scalarMono: {
            std::uint64_t& word = p.monoRow(y, z)[(x - 1) / 64];
            const std::uint64_t bit = std::uint64_t{1} << ((x - 1) % 64);
            word = stored != 0 ? word | bit : word & ~bit;
            break;
        }
        case VoxelKind::scalarGray: p.row<std::uint8_t>(y, z)[x - 1] = static_cast<std::uint8_t>(stored); break;
        case VoxelKind::scalarFullgray: p.row<std::uint16_t>(y, z)[x - 1] = static_cast<std::uint16_t>(stored); break;
        default: break;
    }
}

Vector3 getVector(const VectorField& field, std::int64_t x, std::int64_t y, std::int64_t z) {
    return hasPayload(field) ? readVectorVoxel(*field.payload, x, y, z) : Vector3{};
}

void setVector(VectorField& field, std::int64_t x, std::int64_t y, std::int64_t z, const Vector3& value) {
    if (hasPayload(field)) writeVectorVoxel(*field.payload, x, y, z, value);
}

Symmetric3 getTensor(const TensorField& field, std::int64_t x, std::int64_t y, std::int64_t z) {
    if (!hasPayload(field)) return {};
    return {readVectorVoxel(*field.payload, x, y, z), readVectorVoxel(*field.secondPayload, x, y, z)};
}

void setTensor(TensorField& field, std::int64_t x, std::int64_t y, std::int64_t z, const Symmetric3& value) {
    if (!hasPayload(field)) return;
    writeVectorVoxel(*field.payload, x, y, z, value.diagonal);
    writeVectorVoxel(*field.secondPayload, x, y, z, value.offDiagonal);
}

void setMatrix(OrientedGeometry& geometry, const Matrix3& matrix) {
    geometry.matrix = matrix;
    geometry.inverse = inverse(matrix);
}

}  // namespace corvane
