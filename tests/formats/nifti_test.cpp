// NIfTI reader and writer: round trips of every kind in the three forms,
// the header a writer puts down, geometry from sform, qform and pixdim,
// the dimension rules and every failure path of the reader.
#include "formats/nifti.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

std::string readBytes(const char* name) {
    std::string bytes;
    std::FILE* file = std::fopen(name, "rb");
    if (file == nullptr) return bytes;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;) bytes.append(buffer, got);
    std::fclose(file);
    return bytes;
}

void writeBytes(const char* name, const std::string& bytes) {
    std::FILE* file = std::fopen(name, "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

// A one-file image: the header block, the empty extension flag, the data.
std::string oneFile(const NiftiHeader& header, const std::string& data) {
    const NiftiHeaderBlock block = encodeNiftiHeader(header);
    return std::string(block.begin(), block.end()) + std::string(4, '\0') + data;
}

NiftiHeader plainHeader(std::int16_t datatype, std::int16_t bitpix, std::array<std::int16_t, 8> dim) {
    NiftiHeader header;
    header.dim = dim;
    header.datatype = datatype;
    header.bitpix = bitpix;
    header.pixdim = {1, 1, 1, 1, 0, 0, 0, 0};
    header.voxOffset = 352;
    header.magic = "n+1";
    return header;
}

FieldGeometry skewedGeometry() {
    FieldGeometry geometry;
    geometry.matrix = {{{0.5, 0.1, 0}, {0, 2, 0}, {0, 0, -3}}};
    geometry.offset = {-10, 20.5, 3};
    return geometry;
}

class Nifti : public ::testing::Test {
protected:
    TemporaryWorkingDirectory directory{"nifti"};
    OutputCapture output;
};

TEST_F(Nifti, ScalarKindsRoundTripInEveryForm) {
    for (VoxelKind kind : {VoxelKind::scalarGray, VoxelKind::scalarFullgray}) {
        for (const char* form : {"nii", "hdr", "nii.gz"}) {
            ScalarField source;
            newField(source, kind, 5, 4, 3);
            source.geometry = skewedGeometry();
            for (std::int64_t z = 1; z <= 3; ++z)
                for (std::int64_t y = 1; y <= 4; ++y)
                    for (std::int64_t x = 1; x <= 5; ++x) setVoxel(source, x, y, z, x * 37 + y * 11 + z * 5);
            saveNifti(source, "volume", form);
            ScalarField loaded;
            loadNifti(loaded, kind, Text("volume.") + form, 1, std::string(form) == "nii.gz");
            ASSERT_EQ(fieldSize(loaded).z, 3) << form;
            for (std::int64_t x = 1; x <= 5; ++x) EXPECT_EQ(getVoxel(loaded, x, 4, 3), getVoxel(source, x, 4, 3));
            EXPECT_NEAR(loaded.geometry.matrix.rows[0].y, 0.1, 1e-6);
            EXPECT_NEAR(loaded.geometry.offset.y, 20.5, 1e-6);
            EXPECT_EQ(loaded.name.toText().toUtf8(), std::string("volume.") + form);
        }
    }
    EXPECT_EQ(readBytes("volume.hdr").size(), 348u);
    EXPECT_EQ(readBytes("volume.img").size(), 60u * 2);
}

TEST_F(Nifti, VectorAndTensorKindsRoundTrip) {
    for (VoxelKind kind : {VoxelKind::vectorFloat, VoxelKind::vectorNat}) {
        VectorField vector;
        newField(vector, kind, 3, 2, 2);
        setVector(vector, 3, 2, 2, {1.5, -2, 7e10});
        saveNifti(vector, "v.nii.gz", "nii.gz", {1, 1, 1});
        VectorField loaded;
        loadNifti(loaded, kind, "v.nii.gz", 1, true);
        EXPECT_EQ(getVector(loaded, 3, 2, 2).y, -2);
        EXPECT_EQ(getVector(loaded, 3, 2, 2).z, 7e10);

        TensorField tensor;
        newField(tensor, kind, 2, 2, 1);
        setTensor(tensor, 2, 1, 1, {{1, 2, 3}, {4, 5, 6}});
        saveNifti(tensor, "t", "hdr");
        TensorField tensorBack;
        loadNifti(tensorBack, kind, "t.img", 1, false);
        const Symmetric3 terms = getTensor(tensorBack, 2, 1, 1);
        EXPECT_EQ(terms.diagonal.z, 3);
        EXPECT_EQ(terms.offDiagonal.x, 4);
        EXPECT_EQ(terms.offDiagonal.z, 6);
    }
    VectorField colour;
    newField(colour, VoxelKind::vectorRgb, 2, 1, 1);
    setVector(colour, 2, 1, 1, {10, 20, 30});
    saveNifti(colour, "c.nii", "nii", {1, 1, 1});
    VectorField back;
    loadNifti(back, VoxelKind::vectorFloat, "c.nii", 1, false);
    EXPECT_EQ(back.kind, VoxelKind::vectorRgb);
    EXPECT_EQ(getVector(back, 2, 1, 1).z, 30);
}

TEST_F(Nifti, VectorSaveScalesComponents) {
    VectorField vector;
    newField(vector, VoxelKind::vectorFloat, 1, 1, 1);
    setVector(vector, 1, 1, 1, {1, 2, 3});
    saveNifti(vector, "s.nii", "nii", {2, 1, -1});
    VectorField loaded;
    loadNifti(loaded, VoxelKind::vectorFloat, "s.nii", 1, false);
    EXPECT_EQ(getVector(loaded, 1, 1, 1).x, 2);
    EXPECT_EQ(getVector(loaded, 1, 1, 1).z, -3);
}

TEST_F(Nifti, WriterHeaderFollowsTheKind) {
    const IntVector3 size{4, 5, 6};
    NiftiHeader tensor = niftiHeaderFor(VoxelKind::vectorNat, size, skewedGeometry(), 6, true);
    EXPECT_EQ(tensor.dim, (std::array<std::int16_t, 8>{5, 4, 5, 6, 1, 6, 0, 0}));
    EXPECT_EQ(tensor.datatype, 1024);
    EXPECT_EQ(tensor.intentCode, 1005);
    EXPECT_EQ(tensor.intentP1, 3.0f);
    EXPECT_EQ(tensor.extents, 16384);
    EXPECT_EQ(tensor.glmin, -2147483647 - 1);
    EXPECT_EQ(tensor.descrip, "corvane");
    EXPECT_EQ(tensor.magic, "n+1");
    EXPECT_EQ(tensor.voxOffset, 352.0f);
    EXPECT_FLOAT_EQ(tensor.pixdim[1], std::sqrt(0.26f));
    EXPECT_EQ(tensor.srowX, (std::array<float, 4>{0.5f, 0, 0, -10}));
    EXPECT_EQ(tensor.srowY, (std::array<float, 4>{0.1f, 2, 0, 20.5f}));

    NiftiHeader mono = niftiHeaderFor(VoxelKind::scalarMono, size, {}, 0, false);
    EXPECT_EQ(mono.dim[0], 3);
    EXPECT_EQ(mono.dim[4], 0);
    EXPECT_EQ(mono.datatype, 1);
    EXPECT_EQ(mono.bitpix, 1);
    EXPECT_EQ(mono.intentCode, 0);
    EXPECT_EQ(mono.magic, "ni1");
    EXPECT_EQ(mono.voxOffset, 0.0f);
    EXPECT_EQ(mono.sliceCode, 1);
    EXPECT_EQ(mono.xyztUnits, 10);
    EXPECT_EQ(mono.descrip, "");
}

TEST_F(Nifti, QuaternionUsesTheDiagonalProduct) {
    FieldGeometry geometry;
    geometry.matrix = {{{1, 0.5, 0}, {0, 1, 0}, {0, 0, 1}}};
    const NiftiHeader header = niftiHeaderFor(VoxelKind::scalarGray, {1, 1, 1}, geometry, 0, true);
    // a = 0.5 * sqrt(|1*1*1 + 1|); d = (m[0].y - m[1].x) / 4a
    EXPECT_FLOAT_EQ(header.quaternD, static_cast<float>(0.5 * 0.25 / (0.5 * std::sqrt(2.0))));
    geometry.matrix = {{{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const NiftiHeader flat = niftiHeaderFor(VoxelKind::scalarGray, {1, 1, 1}, geometry, 0, true);
    EXPECT_EQ(flat.quaternB, 1.0f);
}

TEST_F(Nifti, GeometryFromSformQformOrPixdim) {
    NiftiHeader header = plainHeader(2, 8, {3, 1, 1, 1, 1, 1, 1, 1});
    header.pixdim = {1, 2, 3, 4, 0, 0, 0, 0};
    FieldGeometry geometry = niftiGeometry(header);
    EXPECT_EQ(geometry.matrix.rows[1].y, 3);
    EXPECT_EQ(geometry.offset.x, 0);

    header.qformCode = -1;  // the code, not pixdim[0], flips column 2
    header.quaternD = 1;    // half a turn about z
    header.qoffsetX = 7;
    geometry = niftiGeometry(header);
    EXPECT_NEAR(geometry.matrix.rows[0].x, -2, 1e-9);
    EXPECT_NEAR(geometry.matrix.rows[1].y, -3, 1e-9);
    EXPECT_NEAR(geometry.matrix.rows[2].z, -4, 1e-9);
    EXPECT_EQ(geometry.offset.x, 7);

    header.sformCode = 2;
    header.srowX = {0, 0, 0, 1};  // column 0 becomes zero: the pixdim diagonal stands in
    header.srowY = {0, 5, 0, 2};
    header.srowZ = {0, 0, 6, 3};
    geometry = niftiGeometry(header);
    EXPECT_EQ(geometry.matrix.rows[0].x, 2);
    EXPECT_EQ(geometry.matrix.rows[1].y, 3);
    EXPECT_EQ(geometry.offset.z, 3);
    header.pixdim[2] = -1;
    EXPECT_EQ(niftiGeometry(header).matrix.rows[1].y, 1);  // no positive volume: identity
}

TEST_F(Nifti, DimensionsNormaliseSeriesAndStacks) {
    // A 1 x 4 x 3 series of 2 becomes a 4 x 3 x 2 volume.
    std::string data;
    for (int v = 0; v < 24; ++v) data.push_back(static_cast<char>(v));
    writeBytes("series.nii", oneFile(plainHeader(2, 8, {4, 1, 4, 3, 2, 1, 1, 1}), data));
    ScalarField field;
    loadNifti(field, VoxelKind::scalarGray, "series.nii", 1, false);
    EXPECT_EQ(fieldSize(field).x, 4);
    EXPECT_EQ(fieldSize(field).z, 2);
    // Stack -1 is the last, 0 the first.
    writeBytes("stacks.nii", oneFile(plainHeader(2, 8, {4, 2, 2, 2, 3, 1, 1, 1}), data));
    loadNifti(field, VoxelKind::scalarGray, "stacks.nii", -1, false);
    EXPECT_EQ(getVoxel(field, 1, 1, 1), 16);
    loadNifti(field, VoxelKind::scalarGray, "stacks.nii", 0, false);
    EXPECT_EQ(getVoxel(field, 1, 1, 1), 0);
    output.takeLog();
    loadNifti(field, VoxelKind::scalarGray, "stacks.nii", 4, false);
    EXPECT_NE(output.takeLog().find("  Wrong selected stack 4 from [1..3]! Create empty field."), std::string::npos);
    EXPECT_EQ(fieldSize(field).x, 0);
    EXPECT_EQ(field.name.toText().toUtf8(), "stacks.nii");
}

TEST_F(Nifti, OffsetSwapAndScaling) {
    NiftiHeader header = plainHeader(4, 16, {3, 2, 1, 1, 1, 1, 1, 1});
    header.voxOffset = std::nanf("");
    header.sclSlope = 2;  // printed only
    writeBytes("nan.nii", oneFile(header, std::string("\x05\x00\x06\x00", 4)));
    ScalarField field;
    loadNifti(field, VoxelKind::scalarFullgray, "nan.nii", 1, false);
    EXPECT_EQ(getVoxel(field, 2, 1, 1), 6);

    // Big-endian: every number of the header and each voxel reversed.
    NiftiHeaderBlock block = encodeNiftiHeader(plainHeader(512, 16, {3, 2, 1, 1, 1, 1, 1, 1}));
    const NiftiHeader decoded = decodeNiftiHeader(block, false);
    NiftiHeaderBlock swapped = block;
    auto reverseAt = [&](std::size_t offset, std::size_t width) {
        std::reverse(swapped.begin() + offset, swapped.begin() + offset + width);
    };
    reverseAt(0, 4);
    for (int d = 0; d < 8; ++d) reverseAt(40 + 2 * d, 2);
    reverseAt(70, 2);
    reverseAt(72, 2);
    for (int p = 0; p < 8; ++p) reverseAt(76 + 4 * p, 4);
    reverseAt(108, 4);
    (void)decoded;
    writeBytes("big.nii", std::string(swapped.begin(), swapped.end()) + std::string(4, '\0') +
                              std::string("\x01\x02\x00\x03", 4));
    loadNifti(field, VoxelKind::scalarFullgray, "big.nii", 1, false);
    EXPECT_EQ(getVoxel(field, 1, 1, 1), 0x0102);
    EXPECT_EQ(getVoxel(field, 2, 1, 1), 3);
}

TEST_F(Nifti, FailuresLeaveEmptyOrZeroFields) {
    ScalarField field;
    const auto messageOf = [&](const char* name, VoxelKind kind = VoxelKind::scalarFullgray) {
        output.takeLog();
        loadNifti(field, kind, name, 1, false);
        return output.takeLog();
    };
    EXPECT_NE(messageOf("none.nii").find("  Couldn't read File (none.nii)! Create empty field."), std::string::npos);
    writeBytes("tiny.hdr", "0123456789");
    EXPECT_NE(messageOf("tiny.hdr").find("  Wrong header! Create empty field."), std::string::npos);
    NiftiHeaderBlock two = encodeNiftiHeader(plainHeader(2, 8, {3, 1, 1, 1, 1, 1, 1, 1}));
    const std::int32_t size540 = __builtin_bswap32(540);
    std::memcpy(two.data(), &size540, 4);
    writeBytes("two.nii", std::string(two.begin(), two.end()));
    EXPECT_NE(messageOf("two.nii").find("  Nifti-2 currently not supported! Create empty field."), std::string::npos);
    writeBytes("dims.nii", oneFile(plainHeader(2, 8, {2, 4, 4, 0, 1, 1, 1, 1}), ""));
    EXPECT_NE(messageOf("dims.nii").find("  Bad dim size (2 <4, 4, 0> 1 <1, 1, 1>)! Create empty field."),
              std::string::npos);
    writeBytes("type.nii", oneFile(plainHeader(32, 64, {3, 1, 1, 1, 1, 1, 1, 1}), std::string(8, '\0')));
    EXPECT_NE(messageOf("type.nii").find("  Bad datatype [64|32]! Create empty field."), std::string::npos);
    EXPECT_NE(messageOf("type.nii", VoxelKind::scalarGray).find("  Bad dim values! Create empty field."),
              std::string::npos);
    EXPECT_EQ(fieldSize(field).x, 0);

    // A good header without its image file: a zero field of the full size.
    const NiftiHeaderBlock pair = encodeNiftiHeader(plainHeader(2, 8, {3, 3, 2, 1, 1, 1, 1, 1}));
    writeBytes("lonely.hdr", std::string(pair.begin(), pair.end()));
    EXPECT_NE(messageOf("lonely.hdr").find("  Couldn't read File (lonely.img)! Create field without values."),
              std::string::npos);
    EXPECT_EQ(fieldSize(field).x, 3);
}

TEST_F(Nifti, HugeDimensionsFailTheAllocation) {
    writeBytes("huge.nii.gz", "");
    gzFile file = gzopen("huge.nii.gz", "wb");
    const std::string image = oneFile(plainHeader(512, 16, {3, 32767, 32767, 32767, 1, 1, 1, 1}), "abc");
    gzwrite(file, image.data(), static_cast<unsigned>(image.size()));
    gzclose(file);
    ScalarField field;
    loadNifti(field, VoxelKind::scalarFullgray, "huge.nii.gz", 1, true);
    EXPECT_EQ(fieldSize(field).x, 0);
    EXPECT_NE(output.log().find("Out of memory?"), std::string::npos);
}

TEST_F(Nifti, MonoSavesButDoesNotLoadBack) {
    ScalarField mono;
    newField(mono, VoxelKind::scalarMono, 10, 1, 1);
    setVoxel(mono, 1, 1, 1, 1);
    setVoxel(mono, 9, 1, 1, 1);
    saveNifti(mono, "mono.nii", "nii");
    const std::string bytes = readBytes("mono.nii");
    ASSERT_EQ(bytes.size(), 352u + 1);  // 10 bits: one whole byte, the last bits stay out
    EXPECT_EQ(static_cast<unsigned char>(bytes[352]), 1);
    ScalarField back;
    loadNifti(back, VoxelKind::scalarMono, "mono.nii", 1, false);
    EXPECT_NE(output.log().find("  Bad dim values! Create empty field."), std::string::npos);
}

TEST_F(Nifti, HeaderDumpNamesCodesAndUnits) {
    NiftiHeader header = niftiHeaderFor(VoxelKind::vectorFloat, {2, 2, 2}, {}, 3, true);
    header.intentName = "flow";
    const std::vector<Text> lines = niftiHeaderDump(header);
    ASSERT_GE(lines.size(), 40u);
    EXPECT_EQ(lines[0].toUtf8(), "Nifti header of one file - NII Version 1");
    EXPECT_EQ(lines[2].toUtf8(), "Description: corvane");
    EXPECT_EQ(lines[19].toUtf8(), "Data array dimensions (64 bits & FLOAT64 (64) data type).");
    EXPECT_EQ(lines[30].toUtf8(), "  Pixdim[1] = 1 mm or sec");
    EXPECT_EQ(lines[36].toUtf8(), "  Pixdim[7] = 0 ");
    EXPECT_EQ(lines[37].toUtf8(), "Data (FLOAT64 Meaning: VECTOR - flow).");
    header.magic = "ni1";
    EXPECT_EQ(niftiHeaderDump(header)[0].toUtf8(), "Nifti header - NII Version 1");
    header.magic = "";
    EXPECT_EQ(niftiHeaderDump(header)[0].toUtf8(), "Nifti header - HDR");
}

}  // namespace
}  // namespace corvane
