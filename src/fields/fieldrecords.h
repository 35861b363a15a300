// Field records of the four grid families: a wrapper that a workspace list
// owns, with the per-field settings, and a typed payload chosen by the voxel
// kind. Every plane and volume is one contiguous typed block, x fastest,
// then y, then z, so that a kernel takes a row pointer once per row; the
// per-voxel accessors below are for code that is not hot.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "fields/voxelkind.h"
#include "foundation/maths.h"
#include "foundation/text.h"
#include "foundation/trackedarray.h"
#include "foundation/vectors.h"

namespace corvane {

struct Rgb {
    std::uint8_t r = 0, g = 0, b = 0;
};
static_assert(sizeof(Rgb) == 3, "rgb voxels are packed");

// ---- payloads ----------------------------------------------------------------

// An image: one plane per channel. gray and fullgray have one; rgb has red,
// green, blue; rgba adds alpha; zrgb has red, green, blue and a 16-bit depth
// plane in channel 3.
struct ImagePayload {
    VoxelKind kind = VoxelKind::none;
    std::int64_t sizeX = 0, sizeY = 0;
    TrackedArray planes[4];
    std::uint32_t value[4] = {};
    std::uint32_t background[4] = {};
    std::int64_t window[4] = {1, 1, 0, 0};  // x1, y1, x2, y2
    Vector2 drawScale{1, 1};

    int channels() const;
    // Bytes of one sample of channel c: 2 for fullgray and the zrgb depth.
    int sampleBytes(int channel) const;
    template <class T>
    T* plane(int channel) const { return planes[channel].records<T>(); }
};

// A scalar volume: one block of bytes or words, or for mono rows of packed
// bits, each row padded to whole 64-bit words.
struct ScalarPayload {
    VoxelKind kind = VoxelKind::none;
    std::int64_t sizeX = 0, sizeY = 0, sizeZ = 0;
    TrackedArray voxels;
    std::uint32_t value = 0;
    std::uint32_t background = 0;

    std::int64_t monoRowWords() const { return (sizeX + 63) / 64; }
    template <class T>
    T* data() const { return voxels.records<T>(); }
    // Row y of slice z (1-based) of a gray or fullgray payload.
    template <class T>
    T* row(std::int64_t y, std::int64_t z) const {
        return data<T>() + ((z - 1) * sizeY + (y - 1)) * sizeX;
    }
    std::uint64_t* monoRow(std::int64_t y, std::int64_t z) const {
        return data<std::uint64_t>() + ((z - 1) * sizeY + (y - 1)) * monoRowWords();
    }
};

// Three components per voxel, interleaved: doubles (float), 64-bit integers
// (nat) or packed colours (rgb).
struct VectorPayload {
    VoxelKind kind = VoxelKind::none;
    std::int64_t sizeX = 0, sizeY = 0, sizeZ = 0;
    TrackedArray voxels;
    Vector3 value{};
    Vector3 background{};

    template <class T>
    T* data() const { return voxels.records<T>(); }
};

// ---- wrappers ------------------------------------------------------------------

constexpr std::uint8_t imageSignature = 186;
constexpr std::uint8_t scalarSignature = 190;
constexpr std::uint8_t vectorSignature = 189;
constexpr std::uint8_t tensorSignature = 188;

// The settings image and scalar fields carry for the commands that read them.
struct FieldSettings {
    std::uint8_t downscaleMethod = 1;  // mean
    std::uint8_t subMethod = 2;        // sd
    std::uint8_t diffusionMethod = 0;
    std::uint8_t connectionMethod = 0;  // scalar only
    double diffusionAngle = 5.0 * 3.14159265358979323846 / 180.0;
    double diffusionFraction = 0.25;
};

// Placement in space: voxel (i, j, k) stands at the sum of (i, j, k) minus
// the offset, each axis times its matrix row.
struct FieldGeometry {
    Matrix3 matrix = identityMatrix3;
    Vector3 offset{};
};

struct ImageField {
    std::uint8_t signature = imageSignature;
    VoxelKind kind = VoxelKind::none;
    std::unique_ptr<ImagePayload> payload;
    ShortText name;
    FieldSettings settings;
    FieldGeometry geometry;
};

struct ScalarField {
    std::uint8_t signature = scalarSignature;
    VoxelKind kind = VoxelKind::none;
    std::unique_ptr<ScalarPayload> payload;
    std::vector<Text> labels;  // entry i + 1 names voxel value i
    ShortText name;
    FieldSettings settings;
    FieldGeometry geometry;
    Text diffusionText;  // the load filter's text reference, empty by default
    std::int64_t loadAdd = 0, loadFactor = 0;
    Vector3 loadScale{1, 1, 1};  // divisors of float loads
};

// Vector and tensor fields keep the matrix inverse in step with the matrix.
struct OrientedGeometry : FieldGeometry {
    Matrix3 inverse = identityMatrix3;
};

struct VectorField {
    std::uint8_t signature = vectorSignature;
    VoxelKind kind = VoxelKind::none;
    std::unique_ptr<VectorPayload> payload;
    ShortText name;
    OrientedGeometry geometry;
    Vector3 extra1{}, extra2{};
    std::uint8_t method = 1;
};

// A tensor field is two vector payloads of one size: the diagonal terms
// xx, yy, zz, then the off-diagonal terms xy, xz, yz.
struct TensorField {
    std::uint8_t signature = tensorSignature;
    VoxelKind kind = VoxelKind::none;
    std::unique_ptr<VectorPayload> payload;
    std::unique_ptr<VectorPayload> secondPayload;
    ShortText name;
    OrientedGeometry geometry;
    Vector3 extra1{}, extra2{};
    std::uint8_t method = 1;
};

// ---- construction ------------------------------------------------------------

// Releases what the field holds and makes an empty payload of the kind, the
// name cleared. A kind the family does not admit prints "Unknown ...field!"
// and leaves kind 0 with no payload. The sized forms allocate zeroed voxels,
// the background of a new payload; a failed allocation leaves the field empty.
void newField(ImageField& field, VoxelKind kind);
void newField(ScalarField& field, VoxelKind kind);
void newField(VectorField& field, VoxelKind kind);
void newField(TensorField& field, VoxelKind kind);
void newField(ImageField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY);
void newField(ScalarField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ);
void newField(VectorField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ);
void newField(TensorField& field, VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY, std::int64_t sizeZ);

// Every voxel set to the field's background.
void fillWithBackground(ImageField& field);
void fillWithBackground(ScalarField& field);

// Copies values and settings; the copy shares nothing.
void copyField(ImageField& target, const ImageField& source);
void copyField(ScalarField& target, const ScalarField& source);
void copyField(VectorField& target, const VectorField& source);
void copyField(TensorField& target, const TensorField& source);

// ---- accessors: an empty field answers zero, setters on it do nothing --------

bool hasPayload(const ImageField& field);
bool hasPayload(const ScalarField& field);
bool hasPayload(const VectorField& field);
bool hasPayload(const TensorField& field);

IntVector3 fieldSize(const ImageField& field);  // z is 1 for a non-empty image
IntVector3 fieldSize(const ScalarField& field);
IntVector3 fieldSize(const VectorField& field);
IntVector3 fieldSize(const TensorField& field);

// Value and background, clamped to the kind on every store. Images take one
// number spread over the channels (rgba gets alpha 255) or a colour with alpha.
Vector4 imageValue(const ImageField& field);
Vector4 imageBackground(const ImageField& field);
void setImageValue(ImageField& field, const Vector4& colour);
void setImageBackground(ImageField& field, const Vector4& colour);
Vector4 spreadOverChannels(double value);  // <v, v, v, 255>
std::int64_t scalarValue(const ScalarField& field);
std::int64_t scalarBackground(const ScalarField& field);
void setScalarValue(ScalarField& field, double value);
void setScalarBackground(ScalarField& field, double value);
Vector3 vectorValue(const VectorField& field);
Vector3 vectorBackground(const VectorField& field);
void setVectorValue(VectorField& field, const Vector3& value);
void setVectorBackground(VectorField& field, const Vector3& value);

// Voxels, 1-based; outside the field a read gives 0 and a write does nothing.
std::uint32_t getPixel(const ImageField& field, std::int64_t x, std::int64_t y, int channel = 0);
void setPixel(ImageField& field, std::int64_t x, std::int64_t y, std::uint32_t value, int channel = 0);
std::int64_t getVoxel(const ScalarField& field, std::int64_t x, std::int64_t y, std::int64_t z);
// Clamped to the kind's range; mono stores value above 0.
void setVoxel(ScalarField& field, std::int64_t x, std::int64_t y, std::int64_t z, std::int64_t value);
Vector3 getVector(const VectorField& field, std::int64_t x, std::int64_t y, std::int64_t z);
// Rounded to integers for the nat kind, clamped to 0..255 for rgb.
void setVector(VectorField& field, std::int64_t x, std::int64_t y, std::int64_t z, const Vector3& value);
// Six terms: xx, yy, zz, xy, xz, yz.
Symmetric3 getTensor(const TensorField& field, std::int64_t x, std::int64_t y, std::int64_t z);
void setTensor(TensorField& field, std::int64_t x, std::int64_t y, std::int64_t z, const Symmetric3& value);

// Matrix setters of vector and tensor fields keep the inverse in step.
void setMatrix(OrientedGeometry& geometry, const Matrix3& matrix);

}  // namespace corvane
