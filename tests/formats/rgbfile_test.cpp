// The RGB file and the raw loader: the three layouts told by the file size,
// alpha into rgba, sizes that fit none, and the writer's bytes.
#include "formats/rgbfile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using Pixels = std::vector<std::uint32_t>;

std::string rgbFile(std::uint32_t width, std::uint32_t height, const std::string& data) {
    std::string b("\0\0\x20\0", 4);
    putLe16(b, width);
    putLe16(b, height);
    return b + data;
}

class RgbFileTest : public ::testing::Test {
protected:
    ImageField load(const std::string& file, VoxelKind kind) {
        writeBytes("in.rgb", file);
        ImageField image = emptyOfKind(kind);
        loadRgbFile(image, "in.rgb");
        return image;
    }
    ImageField loadRaw(const std::string& file, VoxelKind kind, std::int64_t header, std::int64_t x, std::int64_t y) {
        writeBytes("in.raw", file);
        ImageField image = emptyOfKind(kind);
        loadRawRgb(image, "in.raw", header, x, y);
        return image;
    }

    TemporaryWorkingDirectory directory_{"corvane-rgbfile"};
    OutputCapture output_;
};

TEST_F(RgbFileTest, LayoutsBySize) {
    // 24 bits: r, g, b.
    EXPECT_EQ(allPixels(load(rgbFile(2, 1, "\x01\x02\x03\x04\x05\x06"), VoxelKind::imageRgb)),
              (Pixels{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(allPixels(load(rgbFile(2, 1, "\x01\x02\x03\x04\x05\x06"), VoxelKind::imageRgba)),
              (Pixels{1, 2, 3, 255, 4, 5, 6, 255}));
    // 16 bits: red the high nibble of byte 1, green its low one shifted, blue the high nibble of byte 0.
    EXPECT_EQ(allPixels(load(rgbFile(2, 1, "\xab\xcd\x0f\xf0"), VoxelKind::imageRgb)),
              (Pixels{0xc0, 0xd0, 0xa0, 0xf0, 0x00, 0x00}));
    // 32 bits: rgba keeps the alpha, rgb drops it.
    const std::string wide = rgbFile(2, 1, "\x01\x02\x03\x04\x05\x06\x07\x08");
    EXPECT_EQ(allPixels(load(wide, VoxelKind::imageRgba)), (Pixels{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(allPixels(load(wide, VoxelKind::imageRgb)), (Pixels{1, 2, 3, 5, 6, 7}));
    EXPECT_EQ(messages(output_), "");
}

// The messages themselves are in the transcripts; here the sizes around them.
TEST_F(RgbFileTest, SizesThatFitNoLayout) {
    for (const std::string& file : {std::string("\0\0\x20\0\x01", 5), rgbFile(65535, 65535, "abc"), rgbFile(0, 0, "")}) {
        EXPECT_EQ(imageWidth(load(file, VoxelKind::imageRgb)), 0);
    }
    EXPECT_EQ(messages(output_), "  Wrong header. Empty image created!\n  Bad file size. Empty image created!\n");
}

TEST_F(RgbFileTest, RawBehindAHeader) {
    const std::string file = "HDR\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c";
    EXPECT_EQ(allPixels(loadRaw(file, VoxelKind::imageRgb, 3, 2, 2)), (Pixels{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(allPixels(loadRaw(file, VoxelKind::imageRgba, 3, 3, 1)), (Pixels{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(allPixels(loadRaw(file, VoxelKind::imageRgb, 3, 3, 2)),
              (Pixels{0, 0x20, 0, 0, 0x40, 0, 0, 0x60, 0, 0, 0x80, 0, 0, 0xa0, 0, 0, 0xc0, 0}));
    EXPECT_EQ(messages(output_), "");
    // Headers beyond the file, negative or absurd sizes fit no layout.
    const std::int64_t huge = std::int64_t{1} << 40;
    struct Row {
        std::int64_t header, x, y;
    };
    for (const Row& row : {Row{100, 2, 2}, Row{-1, 2, 2}, Row{3, -2, -2}, Row{3, huge, huge}, Row{3, 1, huge}}) {
        EXPECT_EQ(imageWidth(loadRaw(file, VoxelKind::imageRgb, row.header, row.x, row.y)), 0);
        EXPECT_EQ(messages(output_), "  Bad file size. Empty image created!\n") << row.header << " " << row.x;
    }
}

TEST_F(RgbFileTest, WriterAlwaysOpaque) {
    const ImageField rgba = patternImage(VoxelKind::imageRgba, 3, 2);
    ASSERT_TRUE(saveRgbFile(rgba, "out"));
    std::string expected = rgbFile(3, 2, "");
    const ImageField rgb = patternImage(VoxelKind::imageRgb, 3, 2);
    const Pixels colours = allPixels(rgb);
    for (std::size_t i = 0; i < colours.size(); i += 3) {
        for (std::size_t c = 0; c < 3; ++c) expected += static_cast<char>(colours[i + c]);
        expected += '\xff';
    }
    EXPECT_EQ(readBytes("out.rgb"), expected);
    ImageField back = emptyOfKind(VoxelKind::imageRgb);
    loadRgbFile(back, "out.rgb");
    EXPECT_EQ(allPixels(back), colours);
}

}  // namespace
}  // namespace corvane
