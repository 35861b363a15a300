// PNM: the token reader, every magic number into every kind with its
// conversion, the fourth-token rule, hostile files, gzip input, and the
// four writers byte for byte. The messages a macro sees are in the
// transcripts of tests/macro/images.
#include "formats/pnm.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using namespace std::string_literals;
using Pixels = std::vector<std::uint32_t>;
constexpr auto gray = VoxelKind::imageGray, full = VoxelKind::imageFullgray;
constexpr auto rgb = VoxelKind::imageRgb, rgba = VoxelKind::imageRgba;

class PnmTest : public ::testing::Test {
protected:
    ImageField load(const std::string& bytes, VoxelKind kind, bool gzip = false) {
        const std::string name = gzip ? "in.pnm.gz" : "in.pnm";
        writeBytes(name, bytes);
        ImageField image = emptyOfKind(kind);
        loadPnm(image, Text(name), gzip);
        return image;
    }
    std::string gzipped(const std::string& bytes) {
        gzFile file = gzopen("packed.gz", "wb");
        gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(file);
        return readBytes("packed.gz");
    }

    TemporaryWorkingDirectory directory_{"corvane-pnm"};
    OutputCapture output_;
};

TEST_F(PnmTest, EveryFormIntoEveryKind) {
    struct Row {
        std::string file;
        VoxelKind kind;
        Pixels expected;
    };
    const Row rows[] = {
        // Comments anywhere, CR line ends and control bytes change nothing.
        {"P2#magic\r\n# line\n3#width\n\t2\x01\n255 #depth\n0 100\x1f" "200#x\n50 150 255", gray, {0, 100, 200, 50, 150, 255}},
        // No scaling by the maximum; values beyond a kind's range are clamped.
        {"P2 3 1 15 3 15 300", gray, {3, 15, 255}},
        {"P2 3 1 15 3 15 300", full, {3, 15, 300}},
        {"P2 2 1 15 3 -4", rgb, {3, 3, 3, 0, 0, 0}},
        {"P2 1 1 15 9", rgba, {9, 9, 9, 255}},
        // P1 loses its first data token to the fourth-token read; mono is
        // 1 - bit, and the missing last token reads 0.
        {"P1 3 1 1 0 1 0", gray, {1, 0, 1}},
        {"P1 2 1 1 0 1", rgb, {1, 1, 1, 0, 0, 0}},
        {"P1 2 1 1 0", full, {1, 1}},
        // Rgb to gray: the mean of the values as read, truncated, then clamped.
        {"P3 2 1 255 200 100 50 600 0 0", gray, {116, 200}},
        {"P3 2 1 255 200 100 50 600 0 0", full, {116, 200}},
        {"P3 1 1 255 200 300 -1", rgb, {200, 255, 0}},
        // Above 255 the 16-bit forms: 12 and 13, gray divided by 256.
        {"P2 2 1 1000 1000 65535", gray, {3, 255}},
        {"P2 2 1 1000 1000 70000", full, {1000, 65535}},
        {"P3 1 1 1000 900 900 903", gray, {3}},
        {"P3 1 1 1000 900 900 903", full, {901}},
        {"P5\n3 2\n255\n\x00\x7f\xff\x10\x20\x30"s, gray, {0, 127, 255, 16, 32, 48}},
        {"P5\n3 2\n255\n\x00\x7f\xff\x10\x20\x30"s, full, {0, 127, 255, 16, 32, 48}},
        {"P5 2 1 255\n\x07\xff"s, rgba, {7, 7, 7, 255, 255, 255, 255, 255}},
        {"P5 2 1 -5\nab", gray, {'a', 'b'}},  // a negative maximum is no 16-bit form
        // P4: the fourth token eats "A" and its blank; rows padded to bytes,
        // high bit first. Without such a token the data loses its first
        // bytes, and the short end reads as white.
        {"P4\n10 2\nA \xf0\x40\x0f\x80", gray, {0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0, 1}},
        {"P4\n8 2\n\xf0\x0f", gray, Pixels(16, 1)},
        // P6: gray caps the sum at 255, so bright pixels give 85.
        {"P6 2 1 255\n\xc8\x64\x32\x10\x20\x30", gray, {85, 32}},
        {"P6 2 1 255\n\xc8\x64\x32\x10\x20\x30", full, {116, 32}},
        {"P6 2 1 255\n\xc8\x64\x32\x10\x20\x30", rgba, {200, 100, 50, 255, 16, 32, 48, 255}},
        // 15 and 16: big-endian; 16 to gray clamps the sum to 65535 first.
        {"P5 2 1 65535\n\x12\x34\xff\x01", gray, {0x12, 0xff}},
        {"P5 2 1 65535\n\x12\x34\xff\x01", full, {0x1234, 0xff01}},
        {"P6 2 1 65535\n\xff\xff\xff\xff\xff\xff\x01\x00\x02\x00\x03\x00"s, gray, {85, 2}},
        {"P6 2 1 65535\n\xff\xff\xff\xff\xff\xff\x01\x00\x02\x00\x03\x00"s, full, {65535, 512}},
    };
    for (const Row& row : rows) {
        const ImageField image = load(row.file, row.kind);
        EXPECT_EQ(allPixels(image), row.expected) << row.file << " into " << static_cast<int>(row.kind);
        EXPECT_EQ(image.name.toText(), "in.pnm");
    }
    EXPECT_EQ(messages(output_), "");
}

TEST_F(PnmTest, RefusedFilesLeaveEmptyImages) {
    const char* const readError = "I/O-Error\n  Disk (in.pnm) read error.\n";
    struct Row {
        std::string file;
        VoxelKind kind;
        std::string message;
    };
    const Row rows[] = {
        {"P6 1 1 99999999999999999999 abc", gray, "  Bad value Depth (1000000000000000) max = 65535!\n"},
        {"P5 1 1 70000 ab", full, "  Bad value Depth (70000) max = 65535!.\n"},
        {"PX 1 1 255 a", gray, "  Bad Magic Identifier (0)!\n"},
        {"", gray, "  Bad Magic Identifier (0)!\n"},
        {"P4 8 1 300 ", gray, "  Bad Magic Identifier (14)!\n"},  // P4 whose first data token exceeds 255
        {"P15 1 1 255 ab", rgb, "  Bad Magic Identifier (15)!\n"},  // 16-bit forms are not for colour kinds
        {"P5 1 1 255 a", VoxelKind::imageZrgb, "Unknown imagefield!\n"},
        // Sizes no file holds are refused before anything is allocated.
        {"P5 0 5 255\n", gray, ""},
        {"P5 -3 5 255\n", gray, ""},
        {"P5 5", gray, ""},
        {"P5 3000000000 3000000000 255\nab", gray, ""},
        {"P5 2 2 255\nabc", gray, readError},
        {"P6 100000 100000 255\nabc", gray, readError},
        {"P2 4 4 255\n1 2 3", gray, readError},
        {"P4 64 64\n\x01\x02", gray, readError},
        {"P6 2 1 65535\nabcdefghijk", full, readError},
    };
    for (const Row& row : rows) {
        const ImageField image = load(row.file, row.kind);
        EXPECT_EQ(messages(output_), row.message) << row.file;
        EXPECT_EQ(imageWidth(image), 0) << row.file;
        EXPECT_EQ(image.kind, row.kind);
        EXPECT_EQ(image.name.toText(), "in.pnm");
    }
}

TEST_F(PnmTest, GzipInput) {
    const std::string p5 = "P5\n3 1\n255\n\x01\x02\x03";
    EXPECT_EQ(allPixels(load(gzipped(p5), gray, true)), (Pixels{1, 2, 3}));
    // Members one after the other make one stream; plain bytes pass as they are.
    EXPECT_EQ(allPixels(load(gzipped("P5\n3 1\n255\n") + gzipped("\x04\x05\x06"), gray, true)), (Pixels{4, 5, 6}));
    EXPECT_EQ(allPixels(load(p5, gray, true)), (Pixels{1, 2, 3}));
    // A damaged stream is short data.
    std::string noise = "P5\n1000 1\n255\n";
    for (int i = 0; i < 1000; ++i) noise += static_cast<char>(i * 7919 % 251);
    std::string damaged = gzipped(noise);
    damaged.resize(damaged.size() / 2);
    messages(output_);
    EXPECT_EQ(imageWidth(load(damaged, gray, true)), 0);
    EXPECT_EQ(messages(output_), "I/O-Error\n  Disk (in.pnm.gz) read error.\n");
}

TEST_F(PnmTest, WriterBytes) {
    const ImageField grayImage = patternImage(gray, 3, 2);
    std::string samples;
    for (std::uint32_t v : allPixels(grayImage)) samples += static_cast<char>(v);
    ASSERT_TRUE(savePgm(grayImage, "out", false));
    EXPECT_EQ(readBytes("out.pgm"), "P5\n# out.pgm\n3 2\n255\n" + samples);

    // 16 bits in the order held in memory, little-endian here, so that the
    // loader, big-endian as the format says, swaps them.
    ImageField wide;
    newField(wide, full, 2, 1);
    setPixel(wide, 1, 1, 0x1234);
    setPixel(wide, 2, 1, 0xff01);
    ASSERT_TRUE(savePgm(wide, "wide.pnm", false));
    EXPECT_EQ(readBytes("wide.pnm"), "P5\n# wide.pnm\n2 1\n65535\n\x34\x12\x01\xff"s);
    ImageField back = emptyOfKind(full);
    loadPnm(back, "wide.pnm", false);
    EXPECT_EQ(allPixels(back), (Pixels{0x3412, 0x01ff}));

    // Colour to PGM: the truncated mean. PPM and PAM: the channels.
    const ImageField colour = patternImage(rgb, 2, 2);
    std::string means, channels;
    const Pixels values = allPixels(colour);
    for (std::size_t i = 0; i < values.size(); i += 3) means += static_cast<char>((values[i] + values[i + 1] + values[i + 2]) / 3);
    for (std::uint32_t v : values) channels += static_cast<char>(v);
    ASSERT_TRUE(savePgm(colour, "c.pgm", false));
    EXPECT_EQ(readBytes("c.pgm"), "P5\n# c.pgm\n2 2\n255\n" + means);
    ASSERT_TRUE(savePpm(colour, "c", false));
    EXPECT_EQ(readBytes("c.ppm"), "P6\n# c.ppm\n2 2\n255\n" + channels);
    ASSERT_TRUE(savePam(colour, "c", false));
    EXPECT_EQ(readBytes("c.pam"), "P7\n# c.pam\nWIDTH 2\nHEIGHT 2\nDEPTH 3\nMAXVAL 255 \nTUPLTYPE RGB  \nENDHDR\n" + channels);
    const ImageField alpha = patternImage(rgba, 1, 1);
    ASSERT_TRUE(savePam(alpha, "a.pam", false));
    EXPECT_EQ(readBytes("a.pam").substr(28, 41), "DEPTH 4\nMAXVAL 255 \nTUPLTYPE RGB_ALPHA  \n");

    // The gzip forms hold the plain bytes.
    ASSERT_TRUE(savePam(colour, "c.pam.gz", true));
    gzFile file = gzopen("c.pam.gz", "rb");
    std::string inflated(4096, '\0');
    inflated.resize(static_cast<std::size_t>(gzread(file, inflated.data(), 4096)));
    gzclose(file);
    EXPECT_EQ(inflated, readBytes("c.pam").replace(5, 5, "c.pam.gz"));

    // Nothing is written for an image without pixels; kind 0 says so.
    EXPECT_FALSE(savePpm(emptyOfKind(rgb), "e.ppm", false));
    EXPECT_FALSE(savePgm(ImageField(), "n.pgm", false));
    EXPECT_EQ(messages(output_), "Write file (out.pgm).\nWrite file (wide.pnm).\nWrite file (c.pgm).\n"
                                 "Write file (c.ppm).\nWrite file (c.pam).\nWrite file (a.pam).\n"
                                 "Write file (c.pam.gz).\nUnknown imagefield!\n");
}

TEST_F(PnmTest, PbmRasterSizeAndPacking) {
    struct Row {
        std::int64_t width, height, bytes;
    };
    for (const Row& row : {Row{1, 1, 0}, Row{1, 16, 2}, Row{8, 1, 1}, Row{8, 8, 9}, Row{9, 2, 2}, Row{16, 3, 6}}) {
        EXPECT_EQ(pbmRasterBytes(row.width, row.height), row.bytes) << row.width << "x" << row.height;
    }
    // Pixels packed on across rows, dark ones (below half the maximum) 1;
    // (3 + 1) * 3 div 8 = 1 byte holds the first eight.
    ImageField image;
    newField(image, gray, 3, 3);
    const std::uint32_t values[9] = {0, 127, 128, 255, 10, 200, 0, 0, 0};
    for (int i = 0; i < 9; ++i) setPixel(image, i % 3 + 1, i / 3 + 1, values[i]);
    ASSERT_TRUE(savePbm(image, "m", false));
    EXPECT_EQ(readBytes("m.pbm"), "P4\n# m.pbm\n3 3\n\xcb");
    ImageField wide;
    newField(wide, full, 8, 1);
    for (int x = 1; x <= 8; ++x) setPixel(wide, x, 1, x % 2 == 0 ? 32767 : 32768);
    ASSERT_TRUE(savePbm(wide, "w.pbm", false));
    EXPECT_EQ(readBytes("w.pbm"), "P4\n# w.pbm\n8 1\n\x55");
}

}  // namespace
}  // namespace corvane
