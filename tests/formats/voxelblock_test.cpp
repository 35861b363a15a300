// Voxel block reader: the conversion of each stored type into each scalar
// kind, the float paths, the load filter and load scale, swapped data, the
// size test and streams that end early; vector and tensor component order.
#include "formats/voxelblock.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

template <class Value>
std::string bytesOf(const std::vector<Value>& values) {
    std::string bytes(values.size() * sizeof(Value), '\0');
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

void writeFile(const char* name, const std::string& bytes) {
    std::FILE* file = std::fopen(name, "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

void writeGzip(const char* name, const std::string& bytes) {
    gzFile file = gzopen(name, "wb");
    gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(file);
}

class BlockReader : public ::testing::Test {
protected:
    // Reads `bytes` as one block of the given look into a field of `kind`.
    void read(ScalarField& field, VoxelKind kind, const std::string& bytes, int code, IntVector3 size,
              bool gzip = false) {
        writeFile("block.raw", bytes);
        if (gzip) writeGzip("block.gz", bytes);
        VolumeInput input;
        ASSERT_TRUE(input.open(gzip ? "block.gz" : "block.raw", gzip));
        block.input = &input;
        block.name = "block.raw";
        block.code = code;
        block.sizeX = size.x;
        block.sizeY = size.y;
        block.sizeZ = size.z;
        readScalarBlock(field, kind, block);
        block.input = nullptr;
    }
    std::vector<std::int64_t> voxels(const ScalarField& field) {
        std::vector<std::int64_t> values;
        const IntVector3 size = fieldSize(field);
        for (std::int64_t z = 1; z <= size.z; ++z)
            for (std::int64_t y = 1; y <= size.y; ++y)
                for (std::int64_t x = 1; x <= size.x; ++x) values.push_back(getVoxel(field, x, y, z));
        return values;
    }

    TemporaryWorkingDirectory directory{"voxelblock"};
    OutputCapture output;
    VoxelBlock block;
};

using Values = std::vector<std::int64_t>;

TEST_F(BlockReader, IntegerSourcesClampIntoGrayAndFullgray) {
    ScalarField field;
    read(field, VoxelKind::scalarGray, bytesOf<std::int16_t>({-5, 0, 200, 300}), sourcecode::signedFullgrey, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0, 200, 255}));
    read(field, VoxelKind::scalarFullgray, bytesOf<std::uint32_t>({7, 70000, 65535, 0}), sourcecode::grey32, {2, 2, 1});
    EXPECT_EQ(voxels(field), (Values{7, 65535, 65535, 0}));
    read(field, VoxelKind::scalarFullgray, bytesOf<std::int64_t>({-1, 1000}), sourcecode::signedGrey64, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 1000}));
    EXPECT_EQ(fieldSize(field).x, 2);
}

TEST_F(BlockReader, MonoComparesAgainstHalfTheUnsignedRange) {
    ScalarField field;
    read(field, VoxelKind::scalarMono, bytesOf<std::uint8_t>({127, 128, 0, 255}), sourcecode::grey, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 1, 0, 1}));
    read(field, VoxelKind::scalarMono, bytesOf<std::int8_t>({-1, 0, 1, 100}), sourcecode::signedGrey, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0, 1, 1}));
    read(field, VoxelKind::scalarMono, bytesOf<std::uint16_t>({32767, 32768}), sourcecode::fullgrey, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 1}));
}

TEST_F(BlockReader, LoadFilterAddsThenDividesOrMultiplies) {
    ScalarField field;
    field.loadAdd = 12000;
    field.loadFactor = -2;
    read(field, VoxelKind::scalarFullgray, bytesOf<std::int16_t>({4000, -12001}), sourcecode::signedFullgrey, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{8000, 0}));
    field.loadAdd = 1;
    field.loadFactor = 3;
    read(field, VoxelKind::scalarGray, bytesOf<std::uint8_t>({10, 100}), sourcecode::grey, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{33, 255}));
    // With any filter a uint64 volume never sets a mono voxel.
    read(field, VoxelKind::scalarMono, bytesOf<std::uint64_t>({~0ull, 5}), sourcecode::grey64, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0}));
    field.loadAdd = field.loadFactor = 0;
    read(field, VoxelKind::scalarMono, bytesOf<std::uint64_t>({~0ull, 5}), sourcecode::grey64, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{1, 0}));
}

TEST_F(BlockReader, ColourSourcesSumOrAverageAndNeverSetMono) {
    ScalarField field;
    const std::string rgb = bytesOf<std::uint8_t>({10, 20, 31, 255, 255, 255});
    read(field, VoxelKind::scalarFullgray, rgb, sourcecode::rgb, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{61, 765}));
    read(field, VoxelKind::scalarGray, rgb, sourcecode::rgb, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{20, 255}));
    read(field, VoxelKind::scalarMono, rgb, sourcecode::rgb, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0}));
    read(field, VoxelKind::scalarGray, bytesOf<std::uint16_t>({65535, 65535, 65535, 9}), sourcecode::fullRgba, {1, 1, 1});
    EXPECT_EQ(voxels(field), (Values{255}));
}

TEST_F(BlockReader, FloatPathsFixedOwnRangeAndAutomatic) {
    ScalarField field;
    const std::string floats = bytesOf<float>({-1.0f, 0.5f, 1.5f, 3.0f});
    block.calMin = 0;
    block.calMax = 3;
    read(field, VoxelKind::scalarGray, floats, sourcecode::float32, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 42, 128, 255}));  // 127.5 rounds to even
    EXPECT_NE(output.log().find("  New min (0) max (3) values -> 0..255!"), std::string::npos);
    block.calMin = block.calMax = 0;
    read(field, VoxelKind::scalarFullgray, floats, sourcecode::float32, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 24576, 40959, 65535}));
    EXPECT_NE(output.log().find("  New min (-1) max (3) values -> 0..65535!"), std::string::npos);
    read(field, VoxelKind::scalarMono, floats, sourcecode::float32, {4, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0, 1, 1}));
    // The printed threshold is (max - min/2) + min.
    EXPECT_NE(output.log().find("values -> threshold=2.5!"), std::string::npos);
    field.loadAdd = 1;
    read(field, VoxelKind::scalarGray, bytesOf<double>({-1.0, 1.5, 300}), sourcecode::float64, {3, 1, 1});
    EXPECT_EQ(voxels(field), (Values{0, 2, 255}));  // fixed path: 2.5 rounds to even
}

TEST_F(BlockReader, EqualRangeGivesTheRoundedMiddle) {
    ScalarField field;
    block.calMin = block.calMax = 0;
    read(field, VoxelKind::scalarGray, bytesOf<float>({7, 7}), sourcecode::float32, {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{128, 128}));
}

TEST_F(BlockReader, SwappedWordsAndStacks) {
    ScalarField field;
    block.swapped = true;
    block.stack = 2;
    read(field, VoxelKind::scalarFullgray, bytesOf<std::uint16_t>({0x0100, 0x0200, 0x0300, 0x0400}), sourcecode::fullgrey,
         {2, 1, 1});
    EXPECT_EQ(voxels(field), (Values{3, 4}));
    block.stack = 1;
    read(field, VoxelKind::scalarFullgray, bytesOf<std::uint32_t>({0x10000000}), sourcecode::grey32, {1, 1, 1});
    EXPECT_EQ(voxels(field), (Values{16}));
}

TEST_F(BlockReader, LoadScaleShrinksTheField) {
    ScalarField field;
    field.loadScale = {2, 2, 1};
    read(field, VoxelKind::scalarFullgray, bytesOf<std::uint16_t>({4, 8, 12, 16, 1, 2, 3, 4}), sourcecode::fullgrey,
         {4, 2, 1});
    EXPECT_EQ(fieldSize(field).x, 2);
    EXPECT_EQ(fieldSize(field).y, 1);
    EXPECT_EQ(voxels(field), (Values{1 + 2 + 0 + 0, 3 + 4 + 0 + 1}));
    read(field, VoxelKind::scalarMono, bytesOf<std::uint8_t>({0, 200, 0, 0, 0, 0, 0, 0}), sourcecode::grey, {4, 2, 1});
    EXPECT_EQ(voxels(field), (Values{1, 0}));
}

TEST_F(BlockReader, ShortFileGivesAZeroFieldAndTheTwoLines) {
    ScalarField field;
    block.offset = 352;
    read(field, VoxelKind::scalarGray, std::string(352 + 10, '\x05'), sourcecode::fullgrey, {4, 2, 2});
    EXPECT_EQ(fieldSize(field).z, 2);
    EXPECT_EQ(voxels(field), Values(16, 0));
    EXPECT_NE(output.log().find("  Wrong file size! Header: 352 +Dim: 16 *Bytes: 2\n  Calculated type (bytes):0\n"),
              std::string::npos);
}

TEST_F(BlockReader, GzipStreamThatEndsEarlyKeepsWhatItRead) {
    ScalarField field;
    read(field, VoxelKind::scalarGray, bytesOf<std::uint8_t>({1, 2, 3}), sourcecode::grey, {2, 2, 1}, true);
    EXPECT_EQ(voxels(field), (Values{1, 2, 3, 0}));
    EXPECT_NE(output.log().find("Unexpected end of data"), std::string::npos);
}

TEST_F(BlockReader, UnknownTypesAndEmptySizes) {
    ScalarField field;
    read(field, VoxelKind::scalarGray, "abcd", 12, {2, 2, 1});
    EXPECT_EQ(voxels(field), (Values{0, 0, 0, 0}));
    read(field, VoxelKind::scalarGray, "abcd", sourcecode::grey, {-2, -2, 1});
    EXPECT_EQ(fieldSize(field).x, 0);
    EXPECT_EQ(field.kind, VoxelKind::scalarGray);
}

TEST_F(BlockReader, VectorComponentsAndTensorOrder) {
    writeFile("v.raw", bytesOf<std::int16_t>({1, 2, 10, 20, -100, -200}));
    VolumeInput input;
    ASSERT_TRUE(input.open("v.raw", false));
    block.input = &input;
    block.code = sourcecode::signedFullgrey;
    block.sizeX = 2;
    block.sizeY = block.sizeZ = 1;
    VectorField vector;
    readVectorBlock(vector, VoxelKind::vectorNat, block);
    EXPECT_EQ(getVector(vector, 2, 1, 1).x, 2);
    EXPECT_EQ(getVector(vector, 2, 1, 1).y, 20);
    EXPECT_EQ(getVector(vector, 2, 1, 1).z, -200);
    readVectorBlock(vector, VoxelKind::vectorRgb, block);
    EXPECT_EQ(getVector(vector, 2, 1, 1).z, 0);  // rgb components clamp

    writeFile("t.raw", bytesOf<float>({1, 2, 3, 4, 5, 6}));
    ASSERT_TRUE(input.open("t.raw", false));
    block.code = sourcecode::float32;
    block.sizeX = 1;
    TensorField tensor;
    readTensorBlock(tensor, VoxelKind::vectorFloat, block);
    const Symmetric3 terms = getTensor(tensor, 1, 1, 1);  // stored xx, xy, yy, xz, yz, zz
    EXPECT_EQ(terms.diagonal.x, 1);
    EXPECT_EQ(terms.offDiagonal.x, 2);
    EXPECT_EQ(terms.diagonal.y, 3);
    EXPECT_EQ(terms.offDiagonal.y, 4);
    EXPECT_EQ(terms.offDiagonal.z, 5);
    EXPECT_EQ(terms.diagonal.z, 6);
    block.input = nullptr;
}

TEST_F(BlockReader, ColourVolumesBecomeRgbVectors) {
    writeFile("c.raw", bytesOf<std::uint16_t>({0x1234, 0xFF00, 0x0080, 0}));
    VolumeInput input;
    ASSERT_TRUE(input.open("c.raw", false));
    block.input = &input;
    block.code = sourcecode::fullRgba;
    block.sizeX = block.sizeY = block.sizeZ = 1;
    VectorField vector;
    readVectorBlock(vector, VoxelKind::vectorFloat, block);
    EXPECT_EQ(vector.kind, VoxelKind::vectorRgb);
    EXPECT_EQ(getVector(vector, 1, 1, 1).x, 0x12);
    EXPECT_EQ(getVector(vector, 1, 1, 1).y, 0xFF);
    EXPECT_EQ(getVector(vector, 1, 1, 1).z, 0);
    block.input = nullptr;
}

}  // namespace
}  // namespace corvane
