// NIfTI-1 and Analyze reader and writer. The header is one 348-byte block;
// the voxels go through the shared block reader, so that every conversion
// lives in one place.
#include "formats/nifti.h"

#include <algorithm>
#include <array>
#include <memory>
#include <type_traits>
#include <cmath>
#include <vector>

#include "fields/labels.h"
#include "formats/voxelblock.h"
#include "formats/volumestreams.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

constexpr std::int64_t oneFileDataOffset = 352;

// ---- opening -------------------------------------------------------------------------

// What a successful open hands to the readers.
struct OpenedNifti {
    NiftiHeader header;
    bool swapped = false;
    std::int64_t dataOffset = 0;
    VolumeInput data;
    Text dataName;          // the file the voxels come from
    bool dataMissing = false;  // pair form with a good header and no image file
};

bool isPairForm(const Text& fileName, bool gzip) {
    const Text extension = formatExtension(fileName);
    return gzip ? ((extension == "hdr.gz") || (extension == "img.gz"))
                : ((extension == "hdr") || (extension == "img"));
}

void reportUnreadable(const Text& name) { writeTextLine("  Couldn't read File (" + name + ")! Create empty field."); }

// Reads and tests the block; false after the failure line.
bool readHeaderBlock(VolumeInput& input, NiftiHeader& header, bool& swapped) {
    NiftiHeaderBlock block{};
    if (!input.read(block.data(), static_cast<std::int64_t>(block.size()))) {
        writeLine("  Wrong header! Create empty field.");
        return false;
    }
    const std::int32_t stored = storedHeaderSize(block);
    swapped = stored != 348 && stored != 540;
    header = decodeNiftiHeader(block, swapped);
    if (header.sizeofHdr == 540) {
        writeLine("  Nifti-2 currently not supported! Create empty field.");
        return false;
    }
    if (header.sizeofHdr != 348) {
        writeLine("  Wrong header! Create empty field.");
        return false;
    }
    return true;
}

// vox_offset above 352 rounded to nearest; anything else, NaN included, 352.
std::int64_t oneFileOffset(float voxOffset) {
    if (!(voxOffset > 352.0f)) return oneFileDataOffset;
    if (voxOffset >= 9.0e18f) return std::int64_t{9000000000000000000};
    return static_cast<std::int64_t>(std::nearbyint(voxOffset));
}

// 1. dim[4] of at least 1; 2. a series of two-dimensional images becomes a
// volume: from the first of dim[1..3] that is 1, the dimensions move down
// one place and dim[4] becomes 1.
void normaliseDimensions(NiftiHeader& header) {
    auto& dim = header.dim;
    if (dim[4] < 1) dim[4] = 1;
    if (dim[4] < 2) return;
    for (int first = 1; first <= 3; ++first) {
        if (dim[first] != 1) continue;
        for (int d = first; d < 4; ++d) dim[d] = dim[d + 1];
        dim[4] = 1;
        return;
    }
}

bool openNifti(const Text& fileName, bool gzip, OpenedNifti& opened) {
    VolumeInput headerInput;
    const bool pair = isPairForm(fileName, gzip);
    const Text headerName = pair ? withFormatExtension(fileName, gzip ? "hdr.gz" : "hdr") : fileName;
    if (!headerInput.open(headerName, gzip)) {
        reportUnreadable(headerName);
        return false;
    }
    if (!readHeaderBlock(headerInput, opened.header, opened.swapped)) return false;
    normaliseDimensions(opened.header);
    if (!pair) {
        opened.dataOffset = oneFileOffset(opened.header.voxOffset);
        opened.data = std::move(headerInput);
        opened.dataName = fileName;
        return true;
    }
    headerInput.close();
    opened.dataOffset = 0;
    opened.dataName = withFormatExtension(fileName, gzip ? "img.gz" : "img");
    opened.dataMissing = !opened.data.open(opened.dataName, gzip);
    return true;
}

// ---- dimension tests -------------------------------------------------------------------

std::int64_t spatialProduct(const NiftiHeader& header) {
    return std::int64_t{header.dim[1]} * header.dim[2] * header.dim[3];
}

// dim[4] times the further dimensions dim[0] names: at most four int16
// factors, so no overflow.
std::int64_t upperProduct(const NiftiHeader& header) {
    std::int64_t product = header.dim[4];
    for (int d = 5; d <= 7 && d <= header.dim[0]; ++d) product *= header.dim[d];
    return product;
}

bool upperProductsPositive(const NiftiHeader& header) {
    std::int64_t product = 1;
    for (int d = 4; d <= header.dim[0] && d <= 7; ++d) {
        product *= header.dim[d];
        if (product <= 0) return false;
    }
    return true;
}

bool scalarDimensionsGood(const NiftiHeader& header) {
    const int rank = header.dim[0];
    return rank >= 3 && rank <= 7 && spatialProduct(header) > 0 && upperProductsPositive(header);
}

void reportBadDimensions(const NiftiHeader& header) {
    const auto& dim = header.dim;
    writeTextLine("  Bad dim size (" + integerToText(dim[0]) + " " +
                  intVector3ToText({dim[1], dim[2], dim[3]}) + " " + integerToText(dim[4]) + " " +
                  intVector3ToText({dim[5], dim[6], dim[7]}) + ")! Create empty field.");
}

// Negative stacks count from the end; below 1 is 1.
std::int64_t selectedStack(const NiftiHeader& header, std::int64_t stack) {
    if (stack < 0) stack = header.dim[4] + stack + 1;
    return stack < 1 ? 1 : stack;
}

bool stackGood(const NiftiHeader& header, std::int64_t stack, std::int64_t stacks) {
    if (stack >= 1 && stack <= stacks) return true;
    writeTextLine("  Wrong selected stack " + integerToText(stack) + " from [1.." + integerToText(header.dim[4]) +
                  "]! Create empty field.");
    return false;
}

// The stored voxel type by (bitpix, datatype); 0 when there is none.
int sourceCodeOf(const NiftiHeader& header, bool vectorFamily) {
    struct Pair {
        int datatype, bitpix, code;
    };
    static constexpr Pair pairs[] = {
        {2, 8, sourcecode::grey},          {256, 8, sourcecode::signedGrey},  {512, 16, sourcecode::fullgrey},
        {4, 16, sourcecode::signedFullgrey}, {768, 32, sourcecode::grey32},   {8, 32, sourcecode::signedGrey32},
        {1280, 64, sourcecode::grey64},     {1024, 64, sourcecode::signedGrey64}, {16, 32, sourcecode::float32},
        {64, 64, sourcecode::float64},      {128, 24, sourcecode::rgb},       {2304, 32, sourcecode::rgba},
    };
    for (const Pair& pair : pairs) {
        if (header.datatype == pair.datatype && header.bitpix == pair.bitpix) return pair.code;
    }
    if (vectorFamily && header.datatype == 1536 && header.bitpix == 64) return sourcecode::float64;
    return 0;
}

void reportBadDatatype(const NiftiHeader& header) {
    writeTextLine("  Bad datatype [" + integerToText(header.bitpix) + "|" + integerToText(header.datatype) +
                  "]! Create empty field.");
}

VoxelBlock blockOf(OpenedNifti& opened, std::int64_t stack, int code) {
    VoxelBlock block;
    block.input = &opened.data;
    block.name = opened.dataName;
    block.offset = opened.dataOffset;
    block.stack = stack;
    block.swapped = opened.swapped;
    block.code = code;
    block.sizeX = opened.header.dim[1];
    block.sizeY = opened.header.dim[2];
    block.sizeZ = opened.header.dim[3];
    if (isFloatSource(code)) {
        block.calMin = opened.header.calMin;
        block.calMax = opened.header.calMax;
    }
    return block;
}

// A pair whose image file is missing: a zero field of the header's size
// when that size is good, else an empty one. True when a field was made.
template <class Field>
bool handleMissingData(Field& field, VoxelKind kind, const OpenedNifti& opened) {
    const NiftiHeader& header = opened.header;
    if (header.dim[0] >= 3 && header.dim[0] <= 7 && spatialProduct(header) > 0) {
        writeTextLine("  Couldn't read File (" + opened.dataName + ")! Create field without values.");
        newField(field, kind, header.dim[1], header.dim[2], header.dim[3]);
        return true;
    }
    writeTextLine("  Couldn't read File (" + opened.dataName + ") and bad dim size! Create empty field.");
    newField(field, kind);
    return false;
}

template <class Field>
void finishEmpty(Field& field, VoxelKind kind, const Text& fileName) {
    newField(field, kind);
    field.geometry = {};
    if constexpr (!std::is_same_v<Field, ScalarField>) setMatrix(field.geometry, identityMatrix3);
    field.name = fileName;
}

template <class Field>
void finishLoaded(Field& field, const NiftiHeader& header, const Text& fileName) {
    const FieldGeometry geometry = niftiGeometry(header);
    setFieldGeometry(field, geometry);
    field.name = fileName;
    reportTransformation(geometry);
}

// Opens for a load; false when the load ends here: the failure's empty
// field, or the field a pair without its image file gets.
template <class Field>
bool openForLoad(Field& field, VoxelKind kind, const Text& fileName, bool gzip, OpenedNifti& opened) {
    if (!openNifti(fileName, gzip, opened)) {
        finishEmpty(field, kind, fileName);
        return false;
    }
    if (!opened.dataMissing) return true;
    if (handleMissingData(field, kind, opened)) finishLoaded(field, opened.header, fileName);
    else finishEmpty(field, kind, fileName);
    return false;
}

// The dimension and stack tests, with their reports; the stack becomes the
// one selected. Files of `terms` volumes a stack (vectors 3, tensors 6)
// need rank 4 and at least that many volumes behind dim[3]; the stack is
// tested against dim[4] and up whatever the terms, so that a stack beyond
// the blocks fails the file size test instead.
bool dimensionsGood(const NiftiHeader& header, std::int64_t& stack, int terms) {
    stack = selectedStack(header, stack);
    const bool good = terms == 1 ? scalarDimensionsGood(header)
                                 : header.dim[0] >= 4 && header.dim[0] <= 7 && spatialProduct(header) > 0 &&
                                       upperProduct(header) >= terms;
    if (!good) {
        reportBadDimensions(header);
        return false;
    }
    return stackGood(header, stack, upperProduct(header));
}

// The labels of a sibling "<name>.atlas.xml", when there is one.
void loadSiblingLabels(ScalarField& field, const Text& fileName) {
    const Text sibling = withFormatExtension(fileName, "atlas.xml");
    if (fileExists(sibling)) loadLabels(field, sibling);
}

}  // namespace

// ---- readers ---------------------------------------------------------------------------

bool readNiftiHeader(const Text& fileName, bool gzip, NiftiHeader& header) {
    OpenedNifti opened;
    if (!openNifti(fileName, gzip, opened)) return false;
    header = opened.header;
    return true;
}

void loadNifti(ScalarField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip) {
    field.labels.clear();
    OpenedNifti opened;
    if (!openForLoad(field, kind, fileName, gzip, opened)) return;
    const NiftiHeader& header = opened.header;
    if (!dimensionsGood(header, stack, 1)) return finishEmpty(field, kind, fileName);
    const int code = sourceCodeOf(header, false);
    if (code == 0) {
        if (kind == VoxelKind::scalarFullgray) reportBadDatatype(header);
        else writeLine("  Bad dim values! Create empty field.");
        return finishEmpty(field, kind, fileName);
    }
    readScalarBlock(field, kind, blockOf(opened, stack, code));
    finishLoaded(field, header, fileName);
    loadSiblingLabels(field, fileName);
}

namespace {

bool colourDatatype(const NiftiHeader& header) { return header.datatype == 128 || header.datatype == 2304; }

}  // namespace

void loadNifti(VectorField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip) {
    OpenedNifti opened;
    if (!openForLoad(field, kind, fileName, gzip, opened)) return;
    const NiftiHeader& header = opened.header;
    // Colour volumes load as rgb vectors, one stack a volume.
    const bool colour = colourDatatype(header);
    if (!dimensionsGood(header, stack, colour ? 1 : 3)) {
        return finishEmpty(field, colour ? VoxelKind::vectorRgb : kind, fileName);
    }
    const int code = sourceCodeOf(header, true);
    if (code == 0) {
        reportBadDatatype(header);
        return finishEmpty(field, kind, fileName);
    }
    readVectorBlock(field, kind, blockOf(opened, stack, code));
    finishLoaded(field, header, fileName);
}

void loadNifti(TensorField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip) {
    OpenedNifti opened;
    if (!openForLoad(field, kind, fileName, gzip, opened)) return;
    const NiftiHeader& header = opened.header;
    if (!dimensionsGood(header, stack, 6)) return finishEmpty(field, kind, fileName);
    const int code = sourceCodeOf(header, true);
    if (code == 0 || isColourSource(code)) {
        reportBadDatatype(header);
        return finishEmpty(field, kind, fileName);
    }
    readTensorBlock(field, kind, blockOf(opened, stack, code));
    finishLoaded(field, header, fileName);
}

// ---- geometry --------------------------------------------------------------------------

FieldGeometry niftiGeometry(const NiftiHeader& header) {
    FieldGeometry geometry;
    Matrix3& m = geometry.matrix;
    const auto& pixdim = header.pixdim;
    if (header.sformCode > 0) {
        for (int c = 0; c < 3; ++c) m.rows[c] = {header.srowX[c], header.srowY[c], header.srowZ[c]};
        geometry.offset = {header.srowX[3], header.srowY[3], header.srowZ[3]};
    } else if (header.qformCode != 0) {
        const double b = header.quaternB, c = header.quaternC, d = header.quaternD;
        const double a = std::sqrt(std::fabs(1.0 - b * b - c * c - d * d));
        m.rows[0] = {a * a + b * b - c * c - d * d, 2 * (b * c + a * d), 2 * (b * d - a * c)};
        m.rows[1] = {2 * (b * c - a * d), a * a + c * c - b * b - d * d, 2 * (c * d + a * b)};
        m.rows[2] = {2 * (b * d + a * c), 2 * (c * d - a * b), a * a + d * d - b * b - c * c};
        m.rows[0] = scale(m.rows[0], pixdim[1]);
        m.rows[1] = scale(m.rows[1], pixdim[2]);
        // The qform code stands where other software reads the sign of pixdim[0].
        m.rows[2] = scale(scale(m.rows[2], header.qformCode), pixdim[3]);
        geometry.offset = {header.qoffsetX, header.qoffsetY, header.qoffsetZ};
    } else {
        m = {{{pixdim[1], 0, 0}, {0, pixdim[2], 0}, {0, 0, pixdim[3]}}};
    }
    const auto isZero = [](const Vector3& v) { return v.x == 0 && v.y == 0 && v.z == 0; };
    if (isZero(m.rows[0]) || isZero(m.rows[1]) || isZero(m.rows[2])) {
        const double volume = double{pixdim[1]} * pixdim[2] * pixdim[3];
        m = volume > 0 ? Matrix3{{{pixdim[1], 0, 0}, {0, pixdim[2], 0}, {0, 0, pixdim[3]}}} : identityMatrix3;
    }
    return geometry;
}

void setFieldGeometry(ScalarField& field, const FieldGeometry& geometry) { field.geometry = geometry; }

namespace {
template <class Field>
void setOrientedGeometry(Field& field, const FieldGeometry& geometry) {
    setMatrix(field.geometry, geometry.matrix);
    field.geometry.offset = geometry.offset;
}
}  // namespace
void setFieldGeometry(VectorField& field, const FieldGeometry& geometry) { setOrientedGeometry(field, geometry); }
void setFieldGeometry(TensorField& field, const FieldGeometry& geometry) { setOrientedGeometry(field, geometry); }

void reportTransformation(const FieldGeometry& geometry) {
    writeTextLine("  Transformation: " + matrix3ToText(geometry.matrix) + " + " + vector3ToText(geometry.offset));
}

// ---- writers ---------------------------------------------------------------------------

namespace {

// Matrix to quaternion as this system writes it: a from the product of the
// diagonal, not the trace; readers here use the sform anyway.
void storeQuaternion(NiftiHeader& header, const Matrix3& m) {
    const double a = 0.5 * std::sqrt(std::fabs(m.rows[0].x * m.rows[1].y * m.rows[2].z + 1));
    if (a == 0) {
        header.quaternB = 1;
        header.quaternC = 0;
        header.quaternD = 0;
        return;
    }
    header.quaternB = static_cast<float>((m.rows[1].z - m.rows[2].y) * 0.25 / a);
    header.quaternC = static_cast<float>((m.rows[2].x - m.rows[0].z) * 0.25 / a);
    header.quaternD = static_cast<float>((m.rows[0].y - m.rows[1].x) * 0.25 / a);
}

struct KindLayout {
    std::int16_t datatype, bitpix;
    const char* name;
};

KindLayout layoutOf(VoxelKind kind, int vectorTerms) {
    if (vectorTerms == 3) return kind == VoxelKind::vectorNat ? KindLayout{1024, 64, "3DVector64"} : KindLayout{64, 64, "3DVector"};
    if (vectorTerms == 6) return kind == VoxelKind::vectorNat ? KindLayout{1024, 64, "3DTensor64"} : KindLayout{64, 64, "3DTensor"};
    switch (kind) {
        case VoxelKind::scalarMono: return {1, 1, "3DMono"};
        case VoxelKind::scalarGray: return {2, 8, "3DGrey"};
        case VoxelKind::vectorRgb: return {128, 24, "3DRGB"};
        default: return {512, 16, "3DFullgrey"};
    }
}

}  // namespace

NiftiHeader niftiHeaderFor(VoxelKind kind, const IntVector3& size, const FieldGeometry& geometry, int vectorTerms,
                           bool oneFile) {
    NiftiHeader header;
    const bool components = vectorTerms > 0;
    const KindLayout layout = layoutOf(kind, vectorTerms);
    header.extents = components ? 16384 : 0;
    header.regular = 'r';
    header.dim = {static_cast<std::int16_t>(components ? 5 : 3), static_cast<std::int16_t>(size.x),
                  static_cast<std::int16_t>(size.y), static_cast<std::int16_t>(size.z),
                  static_cast<std::int16_t>(components ? 1 : 0), static_cast<std::int16_t>(vectorTerms), 0, 0};
    header.intentP1 = vectorTerms == 6 ? 3.0f : 0.0f;
    header.intentCode = vectorTerms == 3 ? 1007 : vectorTerms == 6 ? 1005 : 0;
    header.datatype = layout.datatype;
    header.bitpix = layout.bitpix;
    const Matrix3& m = geometry.matrix;
    header.pixdim = {1.0f, static_cast<float>(length(m.rows[0])), static_cast<float>(length(m.rows[1])),
                     static_cast<float>(length(m.rows[2])), 0, 0, 0, 0};
    header.voxOffset = oneFile ? 352.0f : 0.0f;
    header.sclSlope = 1;
    header.sliceCode = 1;
    header.xyztUnits = 10;
    header.glmax = components ? 2147483647 : 0;
    header.glmin = components ? -2147483647 - 1 : 0;
    header.descrip = components ? "corvane" : "";
    header.qformCode = 1;
    header.sformCode = 1;
    storeQuaternion(header, m);
    const Vector3& o = geometry.offset;
    header.qoffsetX = static_cast<float>(o.x);
    header.qoffsetY = static_cast<float>(o.y);
    header.qoffsetZ = static_cast<float>(o.z);
    header.srowX = {static_cast<float>(m.rows[0].x), static_cast<float>(m.rows[1].x), static_cast<float>(m.rows[2].x),
                    static_cast<float>(o.x)};
    header.srowY = {static_cast<float>(m.rows[0].y), static_cast<float>(m.rows[1].y), static_cast<float>(m.rows[2].y),
                    static_cast<float>(o.y)};
    header.srowZ = {static_cast<float>(m.rows[0].z), static_cast<float>(m.rows[1].z), static_cast<float>(m.rows[2].z),
                    static_cast<float>(o.z)};
    header.magic = oneFile ? "n+1" : "ni1";
    return header;
}

namespace {

constexpr std::int64_t writeBlockBytes = std::int64_t{1} << 20;
constexpr std::int64_t componentBufferBytes = 65535;
constexpr std::int64_t componentFlushCount = 8180;

// The target of one save: header and data, in one of the three forms.
class NiftiTarget {
public:
    NiftiTarget(const Text& fileName, const Text& form) : form_(form) {
        const Text extension = formatExtension(fileName);
        name_ = (extension == form) ? fileName : withFormatExtension(fileName, form);
    }

    bool open(const NiftiHeader& header) {
        const NiftiHeaderBlock block = encodeNiftiHeader(header);
        if (form_ == "hdr") {
            VolumeOutput headerFile;
            if (!headerFile.open(name_, false) || !headerFile.write(block.data(), niftiHeaderBytes) || !headerFile.close()) {
                return false;
            }
            return data_.open(withFormatExtension(name_, "img"), false);
        }
        static const std::uint8_t emptyExtension[4] = {0, 0, 0, 0};
        return data_.open(name_, (form_ == "nii.gz")) && data_.write(block.data(), niftiHeaderBytes) &&
               data_.write(emptyExtension, 4);
    }
    bool write(const void* data, std::int64_t count) { return data_.write(data, count); }
    bool close() { return data_.close(); }

private:
    Text form_;
    Text name_;
    VolumeOutput data_;
};

Text writerTitle(const char* kindName, const IntVector3& size) {
    return Text("  ") + kindName + " with (" + integerToText(size.x) + "x" + integerToText(size.y) + "x" +
           integerToText(size.z) + ")";
}

// A contiguous block in pieces of the file block size, with progress.
bool writeInBlocks(NiftiTarget& target, const void* data, std::int64_t bytes, const Text& title) {
    const auto* at = static_cast<const std::uint8_t*>(data);
    for (std::int64_t done = 0; done < bytes; done += writeBlockBytes) {
        ready(static_cast<double>(done) / bytes, title);
        if (!target.write(at + done, std::min(writeBlockBytes, bytes - done))) return false;
    }
    return true;
}

// Mono voxels packed densely, the first voxel in the lowest bit; the bits of
// a last partial byte stay out.
bool writeMono(NiftiTarget& target, const ScalarPayload& payload, const Text& title) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(writeBlockBytes));
    std::uint8_t current = 0;
    std::int64_t bit = 0;
    for (std::int64_t z = 1; z <= payload.sizeZ; ++z) {
        ready(static_cast<double>(z - 1) / payload.sizeZ, title);
        for (std::int64_t y = 1; y <= payload.sizeY; ++y) {
            const std::uint64_t* words = payload.monoRow(y, z);
            for (std::int64_t x = 0; x < payload.sizeX; ++x) {
                current |= static_cast<std::uint8_t>(((words[x / 64] >> (x % 64)) & 1) << (bit % 8));
                if (++bit % 8 == 0) {
                    bytes.push_back(current);
                    current = 0;
                }
            }
            if (static_cast<std::int64_t>(bytes.size()) >= writeBlockBytes) {
                if (!target.write(bytes.data(), static_cast<std::int64_t>(bytes.size()))) return false;
                bytes.clear();
            }
        }
    }
    return target.write(bytes.data(), static_cast<std::int64_t>(bytes.size()));
}

// Component volumes through a buffer of 65535 bytes, flushed when more
// than 8180 values are held.
template <class Value>
class ComponentWriter {
public:
    explicit ComponentWriter(NiftiTarget& target) : target_(target) {
        static_assert((componentFlushCount + 1) * sizeof(Value) <= componentBufferBytes);
    }
    bool put(Value value) {
        buffer_[held_++] = value;
        return held_ <= componentFlushCount || flush();
    }
    bool flush() {
        const bool ok = target_.write(buffer_, held_ * static_cast<std::int64_t>(sizeof(Value)));
        held_ = 0;
        return ok;
    }

private:
    NiftiTarget& target_;
    Value buffer_[componentFlushCount + 1];
    std::int64_t held_ = 0;
};

// Term t of every voxel of a payload, x fastest, in the writer's value type.
template <class Value>
bool writeTerm(ComponentWriter<Value>& writer, const VectorPayload& payload, int term, double factor) {
    const std::int64_t count = payload.sizeX * payload.sizeY * payload.sizeZ;
    if (payload.kind == VoxelKind::vectorNat) {
        const std::int64_t* values = payload.data<std::int64_t>() + term;
        for (std::int64_t i = 0; i < count; ++i) {
            if (!writer.put(static_cast<Value>(factor == 1 ? values[i * 3] : std::nearbyint(values[i * 3] * factor)))) {
                return false;
            }
        }
        return true;
    }
    const double* values = payload.data<double>() + term;
    for (std::int64_t i = 0; i < count; ++i) {
        if (!writer.put(static_cast<Value>(values[i * 3] * factor))) return false;
    }
    return true;
}

struct TermSource {
    const VectorPayload* payload;
    int term;
    double factor;
};

template <class Value>
bool writeTerms(NiftiTarget& target, const std::vector<TermSource>& terms, const Text& title) {
    auto writer = std::make_unique<ComponentWriter<Value>>(target);
    for (std::size_t t = 0; t < terms.size(); ++t) {
        ready(static_cast<double>(t) / terms.size(), title);
        if (!writeTerm(*writer, *terms[t].payload, terms[t].term, terms[t].factor)) return false;
    }
    return writer->flush();
}

bool writeComponents(NiftiTarget& target, VoxelKind kind, const std::vector<TermSource>& terms, const Text& title) {
    return kind == VoxelKind::vectorNat ? writeTerms<std::int64_t>(target, terms, title)
                                        : writeTerms<double>(target, terms, title);
}

// Closing reports a write failure of the target's whole life and, after
// one, leaves an existing file as it was.
void finishWrite(NiftiTarget& target) {
    readyDone();
    target.close();
}

}  // namespace

void saveNifti(const ScalarField& field, const Text& fileName, const Text& form) {
    const IntVector3 size = fieldSize(field);
    const NiftiHeader header = niftiHeaderFor(field.kind, size, field.geometry, 0, !(form == "hdr"));
    NiftiTarget target(fileName, form);
    if (!target.open(header)) return;
    const Text title = writerTitle(layoutOf(field.kind, 0).name, size);
    if (hasPayload(field)) {
        const ScalarPayload& payload = *field.payload;
        if (payload.kind == VoxelKind::scalarMono) {
            writeMono(target, payload, title);
        } else {
            const std::int64_t bytes = payload.voxels.count() * payload.voxels.recordSize();
            writeInBlocks(target, payload.voxels.records<std::uint8_t>(), bytes, title);
        }
    }
    finishWrite(target);
}

void saveNifti(const VectorField& field, const Text& fileName, const Text& form, const Vector3& scale) {
    const IntVector3 size = fieldSize(field);
    const bool colour = field.kind == VoxelKind::vectorRgb;
    const FieldGeometry geometry{field.geometry.matrix, field.geometry.offset};
    const NiftiHeader header = niftiHeaderFor(field.kind, size, geometry, colour ? 0 : 3, !(form == "hdr"));
    NiftiTarget target(fileName, form);
    if (!target.open(header)) return;
    const Text title = writerTitle(layoutOf(field.kind, colour ? 0 : 3).name, size);
    if (hasPayload(field)) {
        const VectorPayload& payload = *field.payload;
        if (colour) {
            writeInBlocks(target, payload.data<std::uint8_t>(), payload.voxels.count() * 3, title);
        } else {
            writeComponents(target, field.kind, {{&payload, 0, scale.x}, {&payload, 1, scale.y}, {&payload, 2, scale.z}},
                                      title);
        }
    }
    finishWrite(target);
}

void saveNifti(const TensorField& field, const Text& fileName, const Text& form) {
    const IntVector3 size = fieldSize(field);
    const FieldGeometry geometry{field.geometry.matrix, field.geometry.offset};
    const NiftiHeader header = niftiHeaderFor(field.kind, size, geometry, 6, !(form == "hdr"));
    NiftiTarget target(fileName, form);
    if (!target.open(header)) return;
    if (hasPayload(field)) {
        const VectorPayload* diagonal = field.payload.get();
        const VectorPayload* offDiagonal = field.secondPayload.get();
        // xx, xy, yy, xz, yz, zz, as they are read.
        writeComponents(target, field.kind,
                                  {{diagonal, 0, 1}, {offDiagonal, 0, 1}, {diagonal, 1, 1}, {offDiagonal, 1, 1},
                                   {offDiagonal, 2, 1}, {diagonal, 2, 1}},
                                  writerTitle(layoutOf(field.kind, 6).name, size));
    }
    finishWrite(target);
}

}  // namespace corvane
