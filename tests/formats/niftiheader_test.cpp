// NIfTI header block: field offsets as the format fixes them, round trips,
// and byte-swapped headers read back by reversing every number.
#include "formats/niftiheader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace corvane {
namespace {

template <class Value>
Value at(const NiftiHeaderBlock& block, std::size_t offset) {
    Value value;
    std::memcpy(&value, block.data() + offset, sizeof value);
    return value;
}

NiftiHeader sampleHeader() {
    NiftiHeader header;
    header.dim = {3, 64, 32, 16, 1, 1, 1, 1};
    header.datatype = 512;
    header.bitpix = 16;
    header.pixdim = {1, 0.5f, 0.5f, 2, 0, 0, 0, 0};
    header.voxOffset = 352;
    header.qformCode = 1;
    header.sformCode = 1;
    header.srowZ = {0, 0, 2, -7.5f};
    header.descrip = "corvane";
    header.magic = std::string("n+1", 3);
    return header;
}

TEST(NiftiHeader, FieldsStandAtTheirOffsets) {
    const NiftiHeaderBlock block = encodeNiftiHeader(sampleHeader());
    EXPECT_EQ(at<std::int32_t>(block, 0), 348);
    EXPECT_EQ(block[38], 'r');
    EXPECT_EQ(at<std::int16_t>(block, 42), 64);   // dim[1]
    EXPECT_EQ(at<std::int16_t>(block, 70), 512);  // datatype
    EXPECT_EQ(at<std::int16_t>(block, 72), 16);   // bitpix
    EXPECT_EQ(at<float>(block, 84), 0.5f);        // pixdim[2]
    EXPECT_EQ(at<float>(block, 108), 352.0f);     // vox_offset
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block.data() + 148)), "corvane");
    EXPECT_EQ(at<std::int16_t>(block, 254), 1);   // sform_code
    EXPECT_EQ(at<float>(block, 324), -7.5f);      // srow_z[3]
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block.data() + 344)), "n+1");
}

TEST(NiftiHeader, RoundTripAndSwappedOrder) {
    const NiftiHeaderBlock block = encodeNiftiHeader(sampleHeader());
    const NiftiHeader plain = decodeNiftiHeader(block, false);
    EXPECT_EQ(plain.dim[3], 16);
    EXPECT_EQ(plain.srowZ[3], -7.5f);
    EXPECT_EQ(plain.magic, "n+1");

    // The same header from a big-endian machine: every number reversed in place.
    NiftiHeaderBlock swapped = block;
    auto reverseAt = [&](std::size_t offset, std::size_t width) {
        std::reverse(swapped.begin() + offset, swapped.begin() + offset + width);
    };
    reverseAt(0, 4);
    for (std::size_t i = 0; i < 8; ++i) reverseAt(40 + 2 * i, 2);
    reverseAt(70, 2);
    reverseAt(72, 2);
    reverseAt(324, 4);
    EXPECT_NE(storedHeaderSize(swapped), 348);
    const NiftiHeader read = decodeNiftiHeader(swapped, true);
    EXPECT_EQ(read.sizeofHdr, 348);
    EXPECT_EQ(read.dim[1], 64);
    EXPECT_EQ(read.datatype, 512);
    EXPECT_EQ(read.srowZ[3], -7.5f);
    EXPECT_EQ(read.descrip, "corvane");  // text is not swapped
}

TEST(NiftiHeader, LongTextIsCutToItsWidth) {
    NiftiHeader header;
    header.intentName = std::string(40, 'x');
    const NiftiHeader read = decodeNiftiHeader(encodeNiftiHeader(header), false);
    EXPECT_EQ(read.intentName.size(), 16u);  // no terminating zero fits
    EXPECT_TRUE(read.magic.empty());
}

}  // namespace
}  // namespace corvane
