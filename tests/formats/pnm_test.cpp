// PNM: the token reader, every magic number into every kind with its
// conversion, the fourth-token rule, the depth and magic messages, short and
// hostile files, gzip input, and the four writers byte for byte.
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

class PnmTest : public ::testing::Test {
protected:
    // Loads the bytes as "in.pnm" (or a gzip name) into a new image of the kind.
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

TEST_F(PnmTest, CommentsAndBlanksBetweenTokensChangeNothing) {
    const ImageField plain = load("P2\n3 2\n255\n0 100 200\n50 150 255\n", VoxelKind::imageGray);
    // Comments on their own lines, behind a token and inside one, CR line
    // ends, tabs and other control bytes as separators.
    const ImageField noisy =
        load("P2#magic\r\n# a comment line\n3#width\n\t2\x01\x02\n255 #depth\n0 100\x1f" "200#x\n50 150 255",
             VoxelKind::imageGray);
    EXPECT_EQ(allPixels(plain), (Pixels{0, 100, 200, 50, 150, 255}));
    EXPECT_EQ(allPixels(noisy), allPixels(plain));
    EXPECT_EQ(plain.name.toText(), "in.pnm");
}

TEST_F(PnmTest, AsciiFormsIntoEveryKind) {
    struct Row {
        const char* file;
        VoxelKind kind;
        Pixels expected;
    };
    const Row rows[] = {
        // No scaling by the maximum value; values above a kind's range are clamped.
        {"P2 3 1 15 3 15 300", VoxelKind::imageGray, {3, 15, 255}},
        {"P2 3 1 15 3 15 300", VoxelKind::imageFullgray, {3, 15, 300}},
        {"P2 2 1 15 3 -4", VoxelKind::imageRgb, {3, 3, 3, 0, 0, 0}},
        {"P2 1 1 15 9", VoxelKind::imageRgba, {9, 9, 9, 255}},
        // P1 loses its first data token to the fourth-token read; mono is 1 - bit.
        {"P1 3 1 1 0 1 0", VoxelKind::imageGray, {1, 0, 1}},
        {"P1 3 1 1 0 1 0", VoxelKind::imageFullgray, {1, 0, 1}},
        {"P1 2 1 1 0 1", VoxelKind::imageRgb, {1, 1, 1, 0, 0, 0}},
        // The missing last token reads as 0, so the pixel is 1.
        {"P1 2 1 1 0", VoxelKind::imageGray, {1, 1}},
        // Rgb to gray: the mean of the values as read, truncated, then clamped.
        {"P3 2 1 255 200 100 50 600 0 0", VoxelKind::imageGray, {116, 200}},
        {"P3 2 1 255 200 100 50 600 0 0", VoxelKind::imageFullgray, {116, 200}},
        {"P3 1 1 255 200 300 -1", VoxelKind::imageRgb, {200, 255, 0}},
        // A maximum above 255 takes the 16-bit forms: P2 becomes 12, P3 becomes 13.
        {"P2 2 1 1000 1000 65535", VoxelKind::imageGray, {3, 255}},
        {"P2 2 1 1000 1000 70000", VoxelKind::imageFullgray, {1000, 65535}},
        {"P3 1 1 1000 900 900 903", VoxelKind::imageGray, {3}},
        {"P3 1 1 1000 900 900 903", VoxelKind::imageFullgray, {901}},
    };
    for (const Row& row : rows) {
        const ImageField image = load(row.file, row.kind);
        EXPECT_EQ(allPixels(image), row.expected) << row.file << " into kind " << static_cast<int>(row.kind);
    }
}

TEST_F(PnmTest, BinaryGrayAndMono) {
    const std::string p5 = "P5\n3 2\n255\n\x00\x7f\xff\x10\x20\x30"s;
    EXPECT_EQ(allPixels(load(p5, VoxelKind::imageGray)), (Pixels{0, 127, 255, 16, 32, 48}));
    EXPECT_EQ(allPixels(load(p5, VoxelKind::imageFullgray)), (Pixels{0, 127, 255, 16, 32, 48}));
    EXPECT_EQ(allPixels(load(p5, VoxelKind::imageRgba)),
              (Pixels{0, 0, 0, 255, 127, 127, 127, 255, 255, 255, 255, 255, 16, 16, 16, 255, 32, 32, 32, 255, 48, 48,
                      48, 255}));
    // P4: the fourth token eats "A" and its blank; the rows follow, padded
    // to whole bytes, high bit first, a set bit black.
    const std::string p4 = std::string("P4\n10 2\nA ") + "\xf0\x40\x0f\x80";
    EXPECT_EQ(allPixels(load(p4, VoxelKind::imageGray)),
              (Pixels{0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0, 1}));
    // Without a token to lose, the first data bytes are eaten up to a blank:
    // the last row reads short and is white.
    const std::string eaten = std::string("P4\n8 2\n") + "\xf0\x0f";
    EXPECT_EQ(allPixels(load(eaten, VoxelKind::imageGray)), (Pixels(16, 1)));
}

TEST_F(PnmTest, BinaryRgbSaturatesAtEightyFiveForGray) {
    const std::string p6 = std::string("P6 2 1 255\n") + "\xc8\x64\x32" "\x10\x20\x30";
    EXPECT_EQ(allPixels(load(p6, VoxelKind::imageGray)), (Pixels{85, 32}));
    EXPECT_EQ(allPixels(load(p6, VoxelKind::imageFullgray)), (Pixels{116, 32}));
    EXPECT_EQ(allPixels(load(p6, VoxelKind::imageRgb)), (Pixels{200, 100, 50, 16, 32, 48}));
    EXPECT_EQ(allPixels(load(p6, VoxelKind::imageRgba)), (Pixels{200, 100, 50, 255, 16, 32, 48, 255}));
}

TEST_F(PnmTest, SixteenBitBinaryFormsAreBigEndian) {
    const std::string p15 = std::string("P5 2 1 65535\n") + "\x12\x34\xff\x01";
    EXPECT_EQ(allPixels(load(p15, VoxelKind::imageGray)), (Pixels{0x12, 0xff}));
    EXPECT_EQ(allPixels(load(p15, VoxelKind::imageFullgray)), (Pixels{0x1234, 0xff01}));
    // 16: gray clamps the sum to 65535 before dividing by 3 and by 256.
    const std::string p16 = "P6 2 1 65535\n\xff\xff\xff\xff\xff\xff\x01\x00\x02\x00\x03\x00"s;
    EXPECT_EQ(allPixels(load(p16, VoxelKind::imageGray)), (Pixels{85, 2}));
    EXPECT_EQ(allPixels(load(p16, VoxelKind::imageFullgray)), (Pixels{65535, 512}));
}

TEST_F(PnmTest, MessagesOfDepthAndMagic) {
    struct Row {
        const char* file;
        VoxelKind kind;
        const char* message;
    };
    const Row rows[] = {
        {"P5 1 1 70000 ab", VoxelKind::imageGray, "  Bad value Depth (70000) max = 65535!\n"},
        {"P5 1 1 70000 ab", VoxelKind::imageFullgray, "  Bad value Depth (70000) max = 65535!.\n"},
        {"P5 1 1 256 ab", VoxelKind::imageRgb, "  Bad value Depth (256) max = 255.\n"},
        {"P6 1 1 99999999999999999999 abc", VoxelKind::imageGray, "  Bad value Depth (1000000000000000) max = 65535!\n"},
        {"P7 1 1 255 a", VoxelKind::imageGray, "  Bad Magic Identifier (7)!\n"},
        {"PX 1 1 255 a", VoxelKind::imageGray, "  Bad Magic Identifier (0)!\n"},
        {"", VoxelKind::imageGray, "  Bad Magic Identifier (0)!\n"},
        // P4 whose first data token reads above 255 becomes 14.
        {"P4 8 1 300 ", VoxelKind::imageGray, "  Bad Magic Identifier (14)!\n"},
        // A 16-bit form named outright is refused for colour kinds.
        {"P15 1 1 255 ab", VoxelKind::imageRgb, "  Bad Magic Identifier (15)!\n"},
        {"P5 1 1 255 a", VoxelKind::imageZrgb, "Unknown imagefield!\n"},
    };
    for (const Row& row : rows) {
        messages(output_);
        const ImageField image = load(row.file, row.kind);
        EXPECT_EQ(messages(output_), row.message) << row.file;
        EXPECT_EQ(imageWidth(image), 0) << row.file;
        EXPECT_EQ(image.kind, row.kind);
        EXPECT_EQ(image.name.toText(), "in.pnm");
    }
}

TEST_F(PnmTest, HostileSizesAndShortDataLeaveEmptyImages) {
    struct Row {
        const char* file;
        bool readError;
    };
    const Row rows[] = {
        {"P5 0 5 255\n", false},
        {"P5 -3 5 255\n", false},
        {"P5 5", false},
        {"P5 3000000000 3000000000 255\nab", false},
        {"P5 2 2 255\nabc", true},
        {"P6 100000 100000 255\nabc", true},
        {"P2 4 4 255\n1 2 3", true},
        {"P4 64 64\n\x01\x02", true},
        {"P6 2 1 65535\nabcdefghijk", true},
    };
    for (const Row& row : rows) {
        messages(output_);
        const ImageField image = load(row.file, VoxelKind::imageGray);
        const std::string console = messages(output_);
        EXPECT_EQ(imageWidth(image), 0) << row.file;
        EXPECT_EQ(image.name.toText(), "in.pnm");
        if (row.readError) {
            EXPECT_EQ(console, "I/O-Error\n  Disk (in.pnm) read error.\n") << row.file;
        } else {
            EXPECT_EQ(console, "") << row.file;
        }
    }
    // A negative maximum is no 16-bit form and no error.
    EXPECT_EQ(allPixels(load("P5 2 1 -5\nab", VoxelKind::imageGray)), (Pixels{'a', 'b'}));
}

TEST_F(PnmTest, MissingFileSaysSoOnce) {
    ImageField image = emptyOfKind(VoxelKind::imageGray);
    loadPnm(image, "absent.pgm", false);
    EXPECT_EQ(messages(output_), "  Couldn't read File (absent.pgm)! Create empty field.\n");
    EXPECT_EQ(image.name.toText(), "absent.pgm");
    loadPnm(image, "absent.pgm.gz", true);
    EXPECT_EQ(messages(output_), "  Couldn't read File (absent.pgm.gz)! Create empty field.\n");
}

TEST_F(PnmTest, GzipInput) {
    const std::string p5 = std::string("P5\n3 1\n255\n") + "\x01\x02\x03";
    EXPECT_EQ(allPixels(load(gzipped(p5), VoxelKind::imageGray, true)), (Pixels{1, 2, 3}));
    // Two members one after the other make one stream.
    const std::string twoMembers = gzipped("P5\n3 1\n255\n") + gzipped("\x04\x05\x06");
    EXPECT_EQ(allPixels(load(twoMembers, VoxelKind::imageGray, true)), (Pixels{4, 5, 6}));
    // Plain bytes under a gzip name pass as they are.
    EXPECT_EQ(allPixels(load(p5, VoxelKind::imageGray, true)), (Pixels{1, 2, 3}));
    // A damaged stream is short data.
    std::string noise = "P5\n1000 1\n255\n";
    for (int i = 0; i < 1000; ++i) noise += static_cast<char>(i * 7919 % 251);
    std::string damaged = gzipped(noise);
    damaged.resize(damaged.size() / 2);
    messages(output_);
    EXPECT_EQ(imageWidth(load(damaged, VoxelKind::imageGray, true)), 0);
    EXPECT_EQ(messages(output_), "I/O-Error\n  Disk (in.pnm.gz) read error.\n");
}

TEST_F(PnmTest, PgmWriterBytes) {
    const ImageField gray = patternImage(VoxelKind::imageGray, 3, 2);
    ASSERT_TRUE(savePgm(gray, "out.pgm", false));
    std::string expected = "P5\n# out.pgm\n3 2\n255\n";
    for (std::uint32_t v : allPixels(gray)) expected += static_cast<char>(v);
    EXPECT_EQ(readBytes("out.pgm"), expected);

    // 16 bits in the order held in memory: little-endian here.
    ImageField full = emptyOfKind(VoxelKind::imageFullgray);
    newField(full, VoxelKind::imageFullgray, 2, 1);
    setPixel(full, 1, 1, 0x1234);
    setPixel(full, 2, 1, 0xff01);
    ASSERT_TRUE(savePgm(full, "wide", false));
    EXPECT_EQ(readBytes("wide.pgm"), std::string("P5\n# wide.pgm\n2 1\n65535\n") + "\x34\x12\x01\xff");
    // ... so that the loader, big-endian as the format says, swaps them.
    ImageField back = emptyOfKind(VoxelKind::imageFullgray);
    loadPnm(back, "wide.pgm", false);
    EXPECT_EQ(allPixels(back), (Pixels{0x3412, 0x01ff}));

    // Colour images give the truncated mean.
    ImageField colour;
    newField(colour, VoxelKind::imageRgb, 1, 1);
    setPixel(colour, 1, 1, 10, 0);
    setPixel(colour, 1, 1, 20, 1);
    setPixel(colour, 1, 1, 31, 2);
    ASSERT_TRUE(savePgm(colour, "c.pnm", false));
    EXPECT_EQ(readBytes("c.pnm"), std::string("P5\n# c.pnm\n1 1\n255\n") + "\x14");
}

TEST_F(PnmTest, PbmRasterSizeAndPacking) {
    struct Row {
        std::int64_t width, height, bytes;
    };
    const Row rows[] = {{1, 1, 0}, {1, 16, 2}, {8, 1, 1}, {8, 8, 9}, {9, 2, 2}, {16, 3, 6}, {3, 2, 1}, {17, 1, 2}};
    for (const Row& row : rows) {
        EXPECT_EQ(pbmRasterBytes(row.width, row.height), row.bytes) << row.width << "x" << row.height;
    }
    // Pixels packed on across rows; dark (below half the maximum) is 1.
    ImageField image;
    newField(image, VoxelKind::imageGray, 3, 3);
    const std::uint32_t values[9] = {0, 127, 128, 255, 10, 200, 0, 0, 0};
    for (int i = 0; i < 9; ++i) setPixel(image, i % 3 + 1, i / 3 + 1, values[i]);
    ASSERT_TRUE(savePbm(image, "m", false));
    // (3 + 1) * 3 div 8 = 1 byte: the first eight pixels, 1 1 0 0 1 0 1 1.
    EXPECT_EQ(readBytes("m.pbm"), std::string("P4\n# m.pbm\n3 3\n") + "\xcb");

    ImageField full;
    newField(full, VoxelKind::imageFullgray, 8, 1);
    for (int x = 1; x <= 8; ++x) setPixel(full, x, 1, x % 2 == 0 ? 32767 : 32768);
    ASSERT_TRUE(savePbm(full, "w.pbm", false));
    EXPECT_EQ(readBytes("w.pbm"), std::string("P4\n# w.pbm\n8 1\n") + "\x55");
}

TEST_F(PnmTest, PpmAndPamWriterBytes) {
    const ImageField rgb = patternImage(VoxelKind::imageRgb, 2, 2);
    std::string samples;
    for (std::uint32_t v : allPixels(rgb)) samples += static_cast<char>(v);
    ASSERT_TRUE(savePpm(rgb, "c", false));
    EXPECT_EQ(readBytes("c.ppm"), "P6\n# c.ppm\n2 2\n255\n" + samples);
    ASSERT_TRUE(savePam(rgb, "c", false));
    EXPECT_EQ(readBytes("c.pam"),
              "P7\n# c.pam\nWIDTH 2\nHEIGHT 2\nDEPTH 3\nMAXVAL 255 \nTUPLTYPE RGB  \nENDHDR\n" + samples);

    const ImageField rgba = patternImage(VoxelKind::imageRgba, 2, 1);
    std::string withAlpha;
    for (std::uint32_t v : allPixels(rgba)) withAlpha += static_cast<char>(v);
    ASSERT_TRUE(savePam(rgba, "a.pam", false));
    EXPECT_EQ(readBytes("a.pam"),
              "P7\n# a.pam\nWIDTH 2\nHEIGHT 1\nDEPTH 4\nMAXVAL 255 \nTUPLTYPE RGB_ALPHA  \nENDHDR\n" + withAlpha);

    // Gray kinds repeat their value in the three channels.
    ImageField gray;
    newField(gray, VoxelKind::imageGray, 1, 1);
    setPixel(gray, 1, 1, 7);
    ASSERT_TRUE(savePpm(gray, "g.ppm", false));
    EXPECT_EQ(readBytes("g.ppm"), std::string("P6\n# g.ppm\n1 1\n255\n") + "\x07\x07\x07");
}

TEST_F(PnmTest, RoundTripsThroughEveryPlainAndGzipForm) {
    for (bool gzip : {false, true}) {
        const ImageField rgb = patternImage(VoxelKind::imageRgb, 7, 5);
        const Text ppm = gzip ? "r.ppm.gz" : "r.ppm";
        ASSERT_TRUE(savePpm(rgb, ppm, gzip));
        ImageField back = emptyOfKind(VoxelKind::imageRgb);
        loadPnm(back, ppm, gzip);
        EXPECT_EQ(allPixels(back), allPixels(rgb));

        const ImageField gray = patternImage(VoxelKind::imageGray, 9, 4);
        const Text pgm = gzip ? "g.pgm.gz" : "g.pgm";
        ASSERT_TRUE(savePgm(gray, pgm, gzip));
        back = emptyOfKind(VoxelKind::imageGray);
        loadPnm(back, pgm, gzip);
        EXPECT_EQ(allPixels(back), allPixels(gray));
    }
    // The gzip forms hold the plain bytes.
    const ImageField rgb = patternImage(VoxelKind::imageRgba, 4, 3);
    ASSERT_TRUE(savePam(rgb, "p.pam.gz", true));
    ASSERT_TRUE(savePam(rgb, "p.pam", false));
    gzFile file = gzopen("p.pam.gz", "rb");
    std::string inflated(4096, '\0');
    inflated.resize(static_cast<std::size_t>(gzread(file, inflated.data(), 4096)));
    gzclose(file);
    EXPECT_EQ(inflated, readBytes("p.pam").replace(5, 5, "p.pam.gz"));
}

TEST_F(PnmTest, WritersAddTheirExtension) {
    const ImageField gray = patternImage(VoxelKind::imageGray, 2, 2);
    struct Row {
        const char* given;
        const char* written;
    };
    const Row rows[] = {
        {"a", "a.pgm"},         {"b.pgm", "b.pgm"},      {"c.PGM", "c.PGM"},      {"d.pnm", "d.pnm"},
        {"e.ppm", "e.ppm.pgm"}, {"f.x.pgm", "f.x.pgm.pgm"}, {"g.pgm.gz", "g.pgm.gz.pgm"},
    };
    for (const Row& row : rows) {
        messages(output_);
        ASSERT_TRUE(savePgm(gray, row.given, false));
        EXPECT_EQ(messages(output_), std::string("Write file (") + row.written + ").\n");
    }
    ASSERT_TRUE(savePgm(gray, "h", true));
    EXPECT_EQ(messages(output_), "Write file (h.pgm.gz).\n");
    ASSERT_TRUE(savePgm(gray, "i.pnm.gz", true));
    EXPECT_EQ(messages(output_), "Write file (i.pnm.gz).\n");
}

TEST_F(PnmTest, WritersSkipEmptyImages) {
    const ImageField empty = emptyOfKind(VoxelKind::imageGray);
    EXPECT_FALSE(savePgm(empty, "e.pgm", false));
    EXPECT_FALSE(savePbm(empty, "e.pbm", false));
    EXPECT_FALSE(savePpm(empty, "e.ppm", false));
    EXPECT_FALSE(savePam(empty, "e.pam", false));
    EXPECT_EQ(messages(output_), "");
    ImageField none;
    EXPECT_FALSE(savePgm(none, "n.pgm", false));
    EXPECT_EQ(messages(output_), "Unknown imagefield!\n");
}

}  // namespace
}  // namespace corvane
