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

// Width 3 at 24 bits: nine bytes a row and three pad bytes; bottom row first, b, g, r.
BmpBuilder threeByTwo() {
    BmpBuilder b;
    b.width = 3;
    b.height = 2;
    b.rows = bytes({3, 2, 1, 6, 5, 4, 9, 8, 7, 0xee, 0xee, 0xee, 30, 20, 10, 60, 50, 40, 90, 80, 70, 0xee, 0xee, 0xee});
    return b;
}

template <class Change>
BmpBuilder threeByTwo(Change change) {
    BmpBuilder b = threeByTwo();
    change(b);
    return b;
}

BmpBuilder indexed(std::int32_t width, std::uint32_t bits, std::vector<std::uint32_t> palette, std::string rows) {
    BmpBuilder b;
    b.width = width;
    b.bits = bits;
    b.palette = std::move(palette);
    b.rows = std::move(rows);
    return b;
}

TEST_F(BmpTest, DepthsHeadersOrdersAndTables) {
    const Pixels grayOfThreeByTwo{20, 50, 80, 2, 5, 8};
    std::vector<std::uint32_t> palette256(256, 0);
    palette256[1] = 0x102030;
    palette256[200] = 0x0a0b0c;
    struct Row {
        BmpBuilder file;
        VoxelKind kind;
        Pixels expected;
    };
    std::vector<Row> rows = {
        {threeByTwo(), VoxelKind::imageRgb, {10, 20, 30, 40, 50, 60, 70, 80, 90, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {threeByTwo(), VoxelKind::imageFullgray, grayOfThreeByTwo},
        {threeByTwo([](BmpBuilder& b) { b.height = -2; }), VoxelKind::imageGray, {2, 5, 8, 20, 50, 80}},
        // The pad behind the last row may be missing.
        {threeByTwo([](BmpBuilder& b) { b.rows.resize(21); }), VoxelKind::imageGray, grayOfThreeByTwo},
        // A valid data offset wins; one into the header or beyond the file is ignored.
        {threeByTwo([](BmpBuilder& b) {
             b.rows = "junk" + b.rows;
             b.dataOffset = 14 + 40 + 4;
         }),
         VoxelKind::imageGray, grayOfThreeByTwo},
        {threeByTwo([](BmpBuilder& b) { b.dataOffset = 20; }), VoxelKind::imageGray, grayOfThreeByTwo},
        {threeByTwo([](BmpBuilder& b) { b.dataOffset = 0xffffffff; }), VoxelKind::imageGray, grayOfThreeByTwo},
        // Palettes: gray takes the mean of an entry; 12-byte headers have 3-byte entries.
        {indexed(3, 8, palette256, bytes({1, 200, 0, 0})), VoxelKind::imageRgba, {16, 32, 48, 255, 10, 11, 12, 255, 0, 0, 0, 255}},
        {indexed(3, 8, palette256, bytes({1, 200, 0, 0})), VoxelKind::imageGray, {32, 11, 0}},
        {[&] {
             BmpBuilder b = indexed(3, 8, palette256, bytes({1, 200, 0, 0}));
             b.headerSize = 12;
             return b;
         }(),
         VoxelKind::imageRgb, {16, 32, 48, 10, 11, 12, 0, 0, 0}},
        // A count below the depth's: indices beyond it are black.
        {[] {
             BmpBuilder b = indexed(2, 8, {0x010101, 0x020202}, bytes({1, 7, 0, 0}));
             b.colours = 2;
             return b;
         }(),
         VoxelKind::imageGray, {2, 0}},
        // Nibbles and bits from the high end, rows padded to four bytes.
        {indexed(3, 4, {0, 0, 0x030303, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xffffff}, bytes({0x2f, 0x20, 0, 0})),
         VoxelKind::imageGray, {3, 255, 3}},
        {indexed(10, 1, {0x000000, 0xffffff}, bytes({0xa5, 0x80, 0, 0})), VoxelKind::imageGray,
         {255, 0, 255, 0, 0, 255, 0, 255, 255, 0}},
    };
    for (std::uint32_t magic : {19778u, 16706u, 18755u, 20547u, 17225u, 21584u}) {
        for (std::uint32_t headerSize : {12u, 40u, 64u, 108u, 124u}) {
            rows.push_back({threeByTwo([=](BmpBuilder& b) {
                                b.magic = magic;
                                b.headerSize = headerSize;
                            }),
                            VoxelKind::imageGray, grayOfThreeByTwo});
        }
    }
    for (const Row& row : rows) {
        EXPECT_EQ(allPixels(load(row.file.build(), row.kind)), row.expected) << &row - rows.data();
    }
    EXPECT_EQ(messages(output_), "");
}

TEST_F(BmpTest, RefusedFilesLeaveEmptyImages) {
    const char* const readError = "I/O-Error\n  Disk (in.bmp) read error.\n";
    struct Row {
        std::string file;
        const char* message;
    };
    const Row rows[] = {
        {"", "Wrong file size (0).\n"},
        {threeByTwo([](BmpBuilder& b) { b.magic = 0x5858; }).build(), "Unknown header type (22616).\n"},
        {threeByTwo([](BmpBuilder& b) { b.headerSize = 52; }).build(), "Unknown header size (52).\n"},
        {threeByTwo([](BmpBuilder& b) {
             b.compression = 3;
             b.bits = 32;
         }).build(),
         "I'm to stupid for compressed images.\n"},
        {threeByTwo([](BmpBuilder& b) { b.bits = 16; }).build(),
         "  Bad BitsPerPixel Identifier (16). Empty image created!\n"},
        {threeByTwo().build().substr(0, 30), readError},
        {threeByTwo([](BmpBuilder& b) { b.rows.resize(10); }).build(), readError},
        {threeByTwo([](BmpBuilder& b) { b.width = b.height = 100000; }).build(), readError},
        {indexed(2, 8, {1, 2}, bytes({1, 0, 0, 0})).build(), readError},  // 256 entries that are not there
        {threeByTwo([](BmpBuilder& b) { b.width = 0; }).build(), ""},
    };
    for (const Row& row : rows) {
        const ImageField image = load(row.file, VoxelKind::imageRgb);
        EXPECT_EQ(messages(output_), row.message) << row.message;
        EXPECT_EQ(imageWidth(image), 0);
        EXPECT_EQ(image.name.toText(), "in.bmp");
    }
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
