// TIFF writer: the header, the strip as held in memory, all 13 directory
// entries with their stated values, and the range words behind the link.
#include "formats/tiff.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

struct Entry {
    std::uint32_t tag, type, count, value;
};

struct Case {
    VoxelKind kind;
    std::int64_t width, height;
    int sampleBytes;
    std::vector<Entry> entries;
    std::vector<std::uint32_t> rangeWords;
};

std::vector<Case> cases() {
    // Gray 300 x 200: 60000 pixels, stated bytes 120000; 280 and 281 hold
    // 120170 and 120172 modulo 65536.
    std::vector<Case> all;
    all.push_back({VoxelKind::imageGray, 300, 200, 1,
                   {{256, 4, 1, 300}, {257, 4, 1, 200}, {258, 3, 1, 8}, {259, 3, 1, 1}, {262, 3, 1, 1},
                    {273, 4, 1, 8}, {274, 3, 1, 1}, {277, 3, 1, 1}, {278, 4, 1, 200}, {279, 4, 1, 120000},
                    {280, 3, 1, 120170 % 65536}, {281, 3, 1, 120172 % 65536}, {284, 3, 1, 1}},
                   {0, 255}});
    all.push_back({VoxelKind::imageFullgray, 3, 2, 2,
                   {{256, 4, 1, 3}, {257, 4, 1, 2}, {258, 3, 1, 16}, {259, 3, 1, 1}, {262, 3, 1, 1}, {273, 4, 1, 8},
                    {274, 3, 1, 1}, {277, 3, 1, 1}, {278, 4, 1, 2}, {279, 4, 1, 12}, {280, 3, 1, 182},
                    {281, 3, 1, 184}, {284, 3, 1, 1}},
                   {0, 65535}});
    // Rgb: three SHORTs do not fit the entry, so 280 and 281 are offsets.
    all.push_back({VoxelKind::imageRgb, 5, 4, 3,
                   {{256, 4, 1, 5}, {257, 4, 1, 4}, {258, 3, 1, 8}, {259, 3, 1, 1}, {262, 3, 1, 2}, {273, 4, 1, 8},
                    {274, 3, 1, 1}, {277, 3, 1, 3}, {278, 4, 1, 4}, {279, 4, 1, 60}, {280, 3, 3, 230},
                    {281, 3, 3, 236}, {284, 3, 1, 1}},
                   {0, 0, 0, 255, 255, 255}});
    return all;
}

TEST(Tiff, HeaderStripDirectoryAndRangeWords) {
    TemporaryWorkingDirectory directory("corvane-tiff");
    OutputCapture output;
    for (const Case& c : cases()) {
        const ImageField image = patternImage(c.kind, c.width, c.height);
        ASSERT_TRUE(saveTiff(image, "out.tiff"));
        const std::string file = readBytes("out.tiff");
        const std::size_t pixelBytes = static_cast<std::size_t>(c.width * c.height * c.sampleBytes);
        EXPECT_EQ(file.substr(0, 4), std::string("II\x2a\0", 4));
        EXPECT_EQ(le32At(file, 4), 8 + pixelBytes);
        // The strip: rows from the top, rgb interleaved, words little-endian.
        std::string strip;
        for (std::uint32_t v : allPixels(image)) {
            strip += static_cast<char>(v & 255);
            if (c.sampleBytes == 2) strip += static_cast<char>(v >> 8);
        }
        EXPECT_EQ(file.substr(8, pixelBytes), strip);
        std::size_t at = 8 + pixelBytes;
        ASSERT_EQ(le16At(file, at), 13u);
        at += 2;
        for (const Entry& e : c.entries) {
            EXPECT_EQ(le16At(file, at), e.tag);
            EXPECT_EQ(le16At(file, at + 2), e.type) << e.tag;
            EXPECT_EQ(le32At(file, at + 4), e.count) << e.tag;
            EXPECT_EQ(le32At(file, at + 8), e.value) << e.tag;
            at += 12;
        }
        EXPECT_EQ(le32At(file, at), 0u);
        at += 4;
        for (std::uint32_t word : c.rangeWords) {
            EXPECT_EQ(le16At(file, at), word);
            at += 2;
        }
        EXPECT_EQ(at, file.size());
    }
    const ImageField rgba = patternImage(VoxelKind::imageRgba, 2, 2);
    ASSERT_TRUE(saveTiff(rgba, "a"));
    EXPECT_EQ(le16At(readBytes("a.tif"), 8 + 12 + 2 + 7 * 12 + 8), 3u);  // samples per pixel
    EXPECT_EQ(messages(output), "Write file (out.tiff).\nWrite file (out.tiff).\nWrite file (out.tiff).\nWrite file (a.tif).\n");
}

}  // namespace
}  // namespace corvane
