// Field records: kinds by family, the empty-field invariant, clamped values
// and voxels, the typed layout kernels rely on, and copies that share nothing.
#include "fields/fieldrecords.h"

#include <gtest/gtest.h>

#include "fields/position.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

TEST(FieldRecords, UnknownKindLeavesAnEmptyFieldWithItsLine) {
    OutputCapture capture;
    ImageField image;
    newField(image, VoxelKind::scalarGray);
    ScalarField scalar;
    newField(scalar, VoxelKind::imageGray);
    VectorField vector;
    newField(vector, VoxelKind::scalarMono);
    TensorField tensor;
    newField(tensor, VoxelKind::vectorRgb);  // rgb is a vector kind only
    EXPECT_EQ(capture.log(), "Unknown imagefield!\nUnknown imagefield!\nUnknown vectorfield!\nUnknown tensorfield!\n");
    EXPECT_EQ(image.kind, VoxelKind::none);
    EXPECT_FALSE(hasPayload(tensor));
}

TEST(FieldRecords, EmptyFieldsAnswerZeroAndIgnoreWrites) {
    OutputCapture capture;
    ScalarField scalar;
    newField(scalar, VoxelKind::imageGray);  // refused: kind 0, no payload
    setVoxel(scalar, 1, 1, 1, 7);
    setScalarValue(scalar, 9);
    EXPECT_EQ(getVoxel(scalar, 1, 1, 1), 0);
    EXPECT_EQ(scalarValue(scalar), 0);
    EXPECT_EQ(fieldSize(scalar).x, 0);

    ScalarField unsized;
    newField(unsized, VoxelKind::scalarFullgray);  // a payload of size 0
    setVoxel(unsized, 1, 1, 1, 7);
    EXPECT_EQ(getVoxel(unsized, 1, 1, 1), 0);
    EXPECT_EQ(fieldSize(unsized).z, 0);
}

TEST(FieldRecords, ValueAndBackgroundAreClampedAndRounded) {
    OutputCapture capture;
    ImageField gray;
    newField(gray, VoxelKind::imageGray);
    EXPECT_EQ(imageValue(gray).x, 255);  // the 8-bit default
    setImageValue(gray, spreadOverChannels(300));
    EXPECT_EQ(imageValue(gray).x, 255);
    setImageValue(gray, spreadOverChannels(-5));
    EXPECT_EQ(imageValue(gray).x, 0);
    setImageValue(gray, spreadOverChannels(2.5));  // ties to even
    EXPECT_EQ(imageValue(gray).x, 2);

    ImageField rgba;
    newField(rgba, VoxelKind::imageRgba);
    setImageBackground(rgba, spreadOverChannels(7));
    const Vector4 background = imageBackground(rgba);
    EXPECT_EQ(background.x, 7);
    EXPECT_EQ(background.z, 7);
    EXPECT_EQ(background.w, 255);

    ScalarField mono;
    newField(mono, VoxelKind::scalarMono);
    setScalarBackground(mono, 0.2);
    EXPECT_EQ(scalarBackground(mono), 1);  // mono stores value above 0
    ScalarField full;
    newField(full, VoxelKind::scalarFullgray);
    setScalarValue(full, 70000);
    EXPECT_EQ(scalarValue(full), 65535);
}

TEST(FieldRecords, ScalarVoxelsOfEveryKind) {
    OutputCapture capture;
    for (const VoxelKind kind : {VoxelKind::scalarMono, VoxelKind::scalarGray, VoxelKind::scalarFullgray}) {
        ScalarField field;
        newField(field, kind, 70, 3, 2);  // 70 spans two words of a mono row
        setVoxel(field, 1, 1, 1, 300);
        setVoxel(field, 65, 3, 2, 1);
        setVoxel(field, 70, 2, 1, -4);
        setVoxel(field, 71, 1, 1, 5);  // outside: ignored
        const std::int64_t high = kind == VoxelKind::scalarMono ? 1 : kind == VoxelKind::scalarGray ? 255 : 300;
        EXPECT_EQ(getVoxel(field, 1, 1, 1), high);
        EXPECT_EQ(getVoxel(field, 65, 3, 2), 1);
        EXPECT_EQ(getVoxel(field, 70, 2, 1), 0);
        EXPECT_EQ(getVoxel(field, 2, 1, 1), 0);
        EXPECT_EQ(getVoxel(field, 0, 1, 1), 0);
    }
}

TEST(FieldRecords, KernelsSeeContiguousRowsXFastest) {
    OutputCapture capture;
    ScalarField field;
    newField(field, VoxelKind::scalarFullgray, 4, 3, 2);
    setVoxel(field, 3, 2, 2, 99);
    const ScalarPayload& payload = *field.payload;
    EXPECT_EQ(payload.row<std::uint16_t>(2, 2)[2], 99);
    EXPECT_EQ(payload.data<std::uint16_t>()[(1 * 3 + 1) * 4 + 2], 99);
}

TEST(FieldRecords, SizedFieldsStartWithTheBackground) {
    OutputCapture capture;
    ScalarField mono;
    newField(mono, VoxelKind::scalarMono);
    mono.payload->background = 1;
    // The sized constructor starts anew, with the default background 0.
    newField(mono, VoxelKind::scalarMono, 3, 1, 1);
    EXPECT_EQ(getVoxel(mono, 2, 1, 1), 0);

    VectorField vectors;
    newField(vectors, VoxelKind::vectorNat, 2, 2, 2);
    setVector(vectors, 2, 2, 2, {1.5, -2.5, 3.4});
    const Vector3 read = getVector(vectors, 2, 2, 2);
    EXPECT_EQ(read.x, 2);  // rounded, ties to even
    EXPECT_EQ(read.y, -2);
    EXPECT_EQ(read.z, 3);

    VectorField colours;
    newField(colours, VoxelKind::vectorRgb, 1, 1, 1);
    setVector(colours, 1, 1, 1, {300, -1, 12});
    EXPECT_EQ(getVector(colours, 1, 1, 1).x, 255);
    EXPECT_EQ(getVector(colours, 1, 1, 1).y, 0);
}

TEST(FieldRecords, FillWithBackgroundSetsEveryVoxel) {
    OutputCapture capture;
    ScalarField mono;
    newField(mono, VoxelKind::scalarMono, 70, 2, 1);
    setScalarBackground(mono, 1);
    fillWithBackground(mono);
    EXPECT_EQ(getVoxel(mono, 70, 2, 1), 1);
    ImageField zrgb;
    newField(zrgb, VoxelKind::imageZrgb, 2, 2);
    setImageBackground(zrgb, {1, 2, 3, 40000});  // the depth channel takes 16 bits
    fillWithBackground(zrgb);
    EXPECT_EQ(getPixel(zrgb, 2, 2, 2), 3);
    EXPECT_EQ(getPixel(zrgb, 2, 2, 3), 40000);
}

TEST(FieldRecords, TensorsSplitIntoDiagonalAndOffDiagonal) {
    OutputCapture capture;
    TensorField tensor;
    newField(tensor, VoxelKind::vectorFloat, 2, 1, 1);
    setTensor(tensor, 2, 1, 1, {{1, 2, 3}, {4, 5, 6}});
    EXPECT_EQ(getVector(VectorField{}, 1, 1, 1).x, 0);
    const Symmetric3 read = getTensor(tensor, 2, 1, 1);
    EXPECT_EQ(read.diagonal.z, 3);
    EXPECT_EQ(read.offDiagonal.x, 4);
    EXPECT_EQ(tensor.secondPayload->data<Vector3>()[1].z, 6);
}

TEST(FieldRecords, CopiesShareNothing) {
    OutputCapture capture;
    ImageField source;
    newField(source, VoxelKind::imageRgb, 2, 2);
    setPixel(source, 1, 2, 40, 1);
    ImageField copy;
    copyField(copy, source);
    setPixel(source, 1, 2, 50, 1);
    EXPECT_EQ(getPixel(copy, 1, 2, 1), 40);
    EXPECT_EQ(getPixel(copy, 1, 2, 3), 0);  // rgb has no fourth channel
}

TEST(FieldRecords, MatrixSettersKeepTheInverse) {
    OrientedGeometry geometry;
    setMatrix(geometry, {{{2, 0, 0}, {0, 4, 0}, {0, 0, 0.5}}});
    EXPECT_DOUBLE_EQ(geometry.inverse.rows[1].y, 0.25);
    EXPECT_DOUBLE_EQ(geometry.inverse.rows[2].z, 2);
}

TEST(Position, RelativeAndAbsoluteForms) {
    EXPECT_EQ(positionIndex(0, 11), 6);      // the centre
    EXPECT_EQ(positionIndex(0.5, 11), 6);    // a fraction
    EXPECT_EQ(positionIndex(0.25, 11), 3);   // round(2.5) is 2, ties to even
    EXPECT_EQ(positionIndex(3, 11), 3);      // absolute
    EXPECT_EQ(positionIndex(-1, 11), 11);    // -1 is the last
    EXPECT_EQ(positionIndex(-2, 11), 10);
    EXPECT_EQ(positionIndex(-0.5, 11), 6);   // fraction from the end
    EXPECT_EQ(positionIndex(100, 10), 5);    // outside: n / 2
    EXPECT_EQ(positionIndex(-20, 10), 5);
}

}  // namespace
}  // namespace corvane
