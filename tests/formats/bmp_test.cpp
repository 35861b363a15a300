// BMP: the six magic words and five header sizes, every depth with its
// colour table, row padding, both row orders, bogus offsets and counts,
// every message, and the writer's bytes.
#include "formats/bmp.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using Pixels = std::vector<std::uint32_t>;

// A file as a writer of the format makes it: rows as given (file order,
// padding included), the table behind the header, the data offset behind
// the table unless one is given.
struct BmpBuilder {
    std::uint32_t magic = 19778;
    std::uint32_t headerSize = 40;
    std::int32_t width = 1, height = 1;
    std::uint32_t bits = 24;
    std::uint32_t compression = 0;
    std::uint32_t colours = 0;
    std::vector<std::uint32_t> palette;  // 0x00rrggbb
    std::string rows;
    std::int64_t dataOffset = -1;

    std::string build() const {
        const int entryBytes = headerSize == 12 ? 3 : 4;
        const std::uint32_t behindTable = 14 + headerSize + static_cast<std::uint32_t>(palette.size()) * entryBytes;
        std::string b;
        putLe16(b, magic);
        putLe32(b, 0);  // file size, never read
        putLe32(b, 0);
        putLe32(b, dataOffset >= 0 ? static_cast<std::uint32_t>(dataOffset) : behindTable);
        putLe32(b, headerSize);
        if (headerSize == 12) {
            putLe16(b, static_cast<std::uint32_t>(width));
            putLe16(b, static_cast<std::uint32_t>(height));
            putLe16(b, 1);
            putLe16(b, bits);
        } else {
            putLe32(b, static_cast<std::uint32_t>(width));
            putLe32(b, static_cast<std::uint32_t>(height));
            putLe16(b, 1);
            putLe16(b, bits);
            putLe32(b, compression);
            putLe32(b, 0);
            putLe32(b, 2835);
            putLe32(b, 2835);
            putLe32(b, colours);
            putLe32(b, 0);
            b.append(headerSize - 40, '\0');
        }
        for (std::uint32_t entry : palette) {
            b += static_cast<char>(entry & 255);
            b += static_cast<char>(entry >> 8 & 255);
            b += static_cast<char>(entry >> 16 & 255);
            if (entryBytes == 4) b += '\0';
        }
        return b + rows;
    }
};

std::string bytes(std::initializer_list<int> values) {
    std::string b;
    for (int v : values) b += static_cast<char>(v);
    return b;
}

class BmpTest : public ::testing::Test {
protected:
    ImageField load(const std::string& file, VoxelKind kind) {
        writeBytes("in.bmp", file);
        ImageField image = emptyOfKind(kind);
        loadBmp(image, "in.bmp");
        return image;
    }

    TemporaryWorkingDirectory directory_{"corvane-bmp"};
    OutputCapture output_;
};

// Width 3 at 24 bits: nine bytes a row and three pad bytes.
BmpBuilder threeByTwo() {
    BmpBuilder b;
    b.width = 3;
    b.height = 2;
    // Bottom row first, b, g, r.
    b.rows = bytes({3, 2, 1, 6, 5, 4, 9, 8, 7, 0xee, 0xee, 0xee, 30, 20, 10, 60, 50, 40, 90, 80, 70, 0xee, 0xee, 0xee});
    return b;
}

TEST_F(BmpTest, TwentyFourBitsWithPaddingBottomUp) {
    const std::string file = threeByTwo().build();
    EXPECT_EQ(allPixels(load(file, VoxelKind::imageRgb)),
              (Pixels{10, 20, 30, 40, 50, 60, 70, 80, 90, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(allPixels(load(file, VoxelKind::imageGray)), (Pixels{20, 50, 80, 2, 5, 8}));
    EXPECT_EQ(allPixels(load(file, VoxelKind::imageFullgray)), (Pixels{20, 50, 80, 2, 5, 8}));
    const ImageField rgba = load(file, VoxelKind::imageRgba);
    EXPECT_EQ(getPixel(rgba, 3, 2, 3), 255u);
    EXPECT_EQ(messages(output_), "");
}

TEST_F(BmpTest, NegativeHeightIsTopDown) {
    BmpBuilder b = threeByTwo();
    b.height = -2;
    EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageGray)), (Pixels{2, 5, 8, 20, 50, 80}));
}

TEST_F(BmpTest, EveryMagicAndHeaderSize) {
    for (std::uint32_t magic : {19778u, 16706u, 18755u, 20547u, 17225u, 21584u}) {
        for (std::uint32_t headerSize : {12u, 40u, 64u, 108u, 124u}) {
            BmpBuilder b = threeByTwo();
            b.magic = magic;
            b.headerSize = headerSize;
            EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageGray)), (Pixels{20, 50, 80, 2, 5, 8}))
                << magic << " " << headerSize;
        }
    }
    EXPECT_EQ(messages(output_), "");
}

TEST_F(BmpTest, PalettesAtEightFourAndOneBit) {
    BmpBuilder b;
    b.width = 3;
    b.height = 1;
    b.bits = 8;
    b.palette.assign(256, 0);
    b.palette[1] = 0x102030;
    b.palette[200] = 0x0a0b0c;
    b.rows = bytes({1, 200, 0, 0});
    EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageRgb)), (Pixels{16, 32, 48, 10, 11, 12, 0, 0, 0}));
    EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageGray)), (Pixels{32, 11, 0}));
    // 12-byte headers have 3-byte entries.
    b.headerSize = 12;
    EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageRgb)), (Pixels{16, 32, 48, 10, 11, 12, 0, 0, 0}));

    BmpBuilder four;
    four.width = 3;
    four.height = 2;
    four.bits = 4;
    four.palette.assign(16, 0);
    four.palette[2] = 0x030303;
    four.palette[15] = 0xffffff;
    // Two bytes a row, padded to four; high nibble first.
    four.rows = bytes({0x2f, 0x20, 0, 0, 0xf2, 0xf0, 0, 0});
    EXPECT_EQ(allPixels(load(four.build(), VoxelKind::imageGray)), (Pixels{255, 3, 255, 3, 255, 3}));

    BmpBuilder mono;
    mono.width = 10;
    mono.height = 1;
    mono.bits = 1;
    mono.palette = {0x000000, 0xffffff};
    mono.rows = bytes({0xa5, 0x80, 0, 0});  // high bit first
    EXPECT_EQ(allPixels(load(mono.build(), VoxelKind::imageGray)), (Pixels{255, 0, 255, 0, 0, 255, 0, 255, 255, 0}));
    EXPECT_EQ(messages(output_), "");
}

TEST_F(BmpTest, ColourCountsAndOffsets) {
    // A count smaller than the depth allows: indices beyond it are black.
    BmpBuilder b;
    b.width = 2;
    b.bits = 8;
    b.colours = 2;
    b.palette = {0x010101, 0x020202};
    b.rows = bytes({1, 7, 0, 0});
    EXPECT_EQ(allPixels(load(b.build(), VoxelKind::imageGray)), (Pixels{2, 0}));

    // A valid data offset wins: here it skips four bytes of junk.
    BmpBuilder offset = threeByTwo();
    offset.rows = "junk" + offset.rows;
    offset.dataOffset = 14 + 40 + 4;
    EXPECT_EQ(allPixels(load(offset.build(), VoxelKind::imageGray)), (Pixels{20, 50, 80, 2, 5, 8}));
    // An offset into the header or beyond the file is ignored.
    for (std::int64_t bogus : {0LL, 20LL, 100000LL, 0xffffffffLL}) {
        BmpBuilder b2 = threeByTwo();
        b2.dataOffset = bogus;
        EXPECT_EQ(allPixels(load(b2.build(), VoxelKind::imageGray)), (Pixels{20, 50, 80, 2, 5, 8})) << bogus;
    }
    EXPECT_EQ(messages(output_), "");
    // A count far beyond the file can't be read.
    BmpBuilder huge = b;
    huge.colours = 0xffffffff;
    EXPECT_EQ(imageWidth(load(huge.build(), VoxelKind::imageGray)), 0);
    EXPECT_EQ(messages(output_), "I/O-Error\n  Disk (in.bmp) read error.\n");
    // The last row may lack its pad.
    BmpBuilder shortPad = threeByTwo();
    shortPad.rows.resize(shortPad.rows.size() - 3);
    EXPECT_EQ(allPixels(load(shortPad.build(), VoxelKind::imageGray)), (Pixels{20, 50, 80, 2, 5, 8}));
    EXPECT_EQ(messages(output_), "");
}

TEST_F(BmpTest, Messages) {
    struct Row {
        std::string file;
        const char* message;
    };
    BmpBuilder magic = threeByTwo();
    magic.magic = 0x5858;
    BmpBuilder headerSize = threeByTwo();
    headerSize.headerSize = 52;
    BmpBuilder compressed = threeByTwo();
    compressed.compression = 1;
    BmpBuilder bitfields = threeByTwo();
    bitfields.compression = 3;
    bitfields.bits = 32;
    BmpBuilder sixteen = threeByTwo();
    sixteen.bits = 16;
    BmpBuilder truncated = threeByTwo();
    truncated.rows.resize(10);
    BmpBuilder wide = threeByTwo();
    wide.width = 100000;
    wide.height = 100000;
    BmpBuilder zero = threeByTwo();
    zero.width = 0;
    const Row rows[] = {
        {"", "Wrong file size (0).\n"},
        {"B", "Wrong file size (1).\n"},
        {magic.build(), "Unknown header type (22616).\n"},
        {headerSize.build(), "Unknown header size (52).\n"},
        {compressed.build(), "I'm to stupid for compressed images.\n"},
        {bitfields.build(), "I'm to stupid for compressed images.\n"},
        {sixteen.build(), "  Bad BitsPerPixel Identifier (16). Empty image created!\n"},
        {threeByTwo().build().substr(0, 30), "I/O-Error\n  Disk (in.bmp) read error.\n"},
        {truncated.build(), "I/O-Error\n  Disk (in.bmp) read error.\n"},
        {wide.build(), "I/O-Error\n  Disk (in.bmp) read error.\n"},
        {zero.build(), ""},
    };
    for (const Row& row : rows) {
        messages(output_);
        const ImageField image = load(row.file, VoxelKind::imageRgb);
        EXPECT_EQ(messages(output_), row.message) << row.message;
        EXPECT_EQ(imageWidth(image), 0);
        EXPECT_EQ(image.name.toText(), "in.bmp");
    }
    ImageField image = emptyOfKind(VoxelKind::imageGray);
    loadBmp(image, "absent.bmp");
    EXPECT_EQ(messages(output_), "  Couldn't read File (absent.bmp)! Create empty field.\n");
    image = load(threeByTwo().build(), VoxelKind::imageZrgb);
    EXPECT_EQ(messages(output_), "Unknown imagefield!\n");
}

TEST_F(BmpTest, WriterBytesAndRoundTrip) {
    ImageField image;
    newField(image, VoxelKind::imageRgb, 3, 2);
    for (int y = 1; y <= 2; ++y) {
        for (int x = 1; x <= 3; ++x) {
            for (int c = 0; c < 3; ++c) setPixel(image, x, y, static_cast<std::uint32_t>(y * 100 + x * 10 + c), c);
        }
    }
    ASSERT_TRUE(saveBmp(image, "out"));
    const std::string file = readBytes("out.bmp");
    // Rows of 9 bytes padded to 12; two rows behind 54 header bytes.
    std::string expected = bytes({'B', 'M', 78, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0,
                                  1, 0, 24, 0, 0, 0, 0, 0, 24, 0, 0, 0});
    expected.append(16, '\0');
    expected += bytes({212, 211, 210, 222, 221, 220, 232, 231, 230, 0, 0, 0});
    expected += bytes({112, 111, 110, 122, 121, 120, 132, 131, 130, 0, 0, 0});
    EXPECT_EQ(file, expected);

    ImageField back = emptyOfKind(VoxelKind::imageRgb);
    loadBmp(back, "out.bmp");
    EXPECT_EQ(allPixels(back), allPixels(image));
    for (std::int64_t width : {1, 2, 3, 4, 5, 17}) {
        const ImageField pattern = patternImage(VoxelKind::imageRgba, width, 3);
        ASSERT_TRUE(saveBmp(pattern, "p.dib"));
        back = emptyOfKind(VoxelKind::imageRgb);
        loadBmp(back, "p.dib");
        const ImageField rgb = patternImage(VoxelKind::imageRgb, width, 3);
        EXPECT_EQ(allPixels(back), allPixels(rgb)) << width;
    }
}

}  // namespace
}  // namespace corvane
