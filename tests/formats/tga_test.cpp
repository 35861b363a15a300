// TGA writer: the 18-byte header and 24-bit rows from the bottom.
#include "formats/tga.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

TEST(Tga, HeaderAndBottomUpRows) {
    TemporaryWorkingDirectory directory("corvane-tga");
    OutputCapture output;
    const ImageField image = patternImage(VoxelKind::imageRgb, 300, 2);
    ASSERT_TRUE(saveTga(image, "out"));
    const std::string file = readBytes("out.tga");
    ASSERT_EQ(file.size(), 18u + 300 * 2 * 3);
    std::string header(18, '\0');
    header[2] = 2;
    header[12] = static_cast<char>(300 & 255);
    header[13] = static_cast<char>(300 >> 8);
    header[14] = 2;
    header[16] = 24;
    EXPECT_EQ(file.substr(0, 18), header);
    for (std::int64_t y = 1; y <= 2; ++y) {
        for (std::int64_t x = 1; x <= 300; ++x) {
            const std::size_t at = 18 + static_cast<std::size_t>(((2 - y) * 300 + (x - 1)) * 3);
            ASSERT_EQ(byteAt(file, at), getPixel(image, x, y, 2));
            ASSERT_EQ(byteAt(file, at + 1), getPixel(image, x, y, 1));
            ASSERT_EQ(byteAt(file, at + 2), getPixel(image, x, y, 0));
        }
    }
    // Gray repeats its value; fullgray gives the high byte.
    ImageField full;
    newField(full, VoxelKind::imageFullgray, 1, 1);
    setPixel(full, 1, 1, 0xabcd);
    ASSERT_TRUE(saveTga(full, "g.TGA"));
    EXPECT_EQ(readBytes("g.TGA").substr(18), "\xab\xab\xab");
    EXPECT_EQ(messages(output), "Write file (out.tga).\nWrite file (g.TGA).\n");
}

}  // namespace
}  // namespace corvane
