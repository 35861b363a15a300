// IMGF: both depths into both gray kinds, the current value from the last
// header word, and short files.
#include "formats/imgf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using Pixels = std::vector<std::uint32_t>;

std::string imgfFile(std::uint32_t width, std::uint32_t height, std::uint32_t bits, std::uint32_t compression,
                     std::uint32_t value, const std::string& data) {
    std::string b = "IMGF";
    for (std::uint32_t word : {0x55u, width, height, bits, compression, value}) putLe32(b, word);
    return b + data;
}

class ImgfTest : public ::testing::Test {
protected:
    ImageField load(const std::string& file, VoxelKind kind) {
        writeBytes("in.imgf", file);
        ImageField image = emptyOfKind(kind);
        loadImgf(image, "in.imgf");
        return image;
    }

    TemporaryWorkingDirectory directory_{"corvane-imgf"};
    OutputCapture output_;
};

TEST_F(ImgfTest, DepthsIntoGrayKinds) {
    const std::string eight = imgfFile(3, 2, 8, 1, 0x1234, "\x01\x02\x03\x04\x05\xff");
    ImageField gray = load(eight, VoxelKind::imageGray);
    EXPECT_EQ(allPixels(gray), (Pixels{1, 2, 3, 4, 5, 255}));
    EXPECT_EQ(imageValue(gray).x, 0x34);  // the low byte of the last header word
    ImageField full = load(eight, VoxelKind::imageFullgray);
    EXPECT_EQ(allPixels(full), (Pixels{1, 2, 3, 4, 5, 255}));
    EXPECT_EQ(imageValue(full).x, 0x34);

    // Little-endian words; gray takes them divided by 256.
    const std::string sixteen = imgfFile(2, 1, 16, 1, 7, std::string("\x34\x12\x01\xff", 4));
    EXPECT_EQ(allPixels(load(sixteen, VoxelKind::imageGray)), (Pixels{0x12, 0xff}));
    EXPECT_EQ(allPixels(load(sixteen, VoxelKind::imageFullgray)), (Pixels{0x1234, 0xff01}));
    EXPECT_EQ(messages(output_), "");
}

// The messages themselves are in the transcripts; here the short and odd
// files around them.
TEST_F(ImgfTest, RefusedFilesLeaveEmptyImages) {
    struct Row {
        std::string file;
        const char* message;
    };
    const Row rows[] = {
        {"IM", "  Bad Magic Identifier! Create empty field.\n"},
        {"", "  Bad Magic Identifier! Create empty field.\n"},
        {imgfFile(1, 1, 8, 1, 0, "a").substr(0, 20), "I/O-Error\n  Disk (in.imgf) read error.\n"},
        {imgfFile(2, 2, 16, 1, 0, "abcdefg"), "I/O-Error\n  Disk (in.imgf) read error.\n"},
        {imgfFile(0, 3, 8, 1, 0, ""), ""},
    };
    for (const Row& row : rows) {
        const ImageField image = load(row.file, VoxelKind::imageFullgray);
        EXPECT_EQ(messages(output_), row.message) << row.message;
        EXPECT_EQ(imageWidth(image), 0);
        EXPECT_EQ(image.name.toText(), "in.imgf");
        EXPECT_EQ(imageValue(image).x, 65535);  // the value is set by a whole load only
    }
}

}  // namespace
}  // namespace corvane
