// PNG writer: chunk layout and CRCs, the zlib stream of stored blocks with
// its Adler word, one IDAT below the limit and one a row from it on, the
// four kinds, and the messages of the mode check.
#include "formats/png.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

struct Chunk {
    std::string type;
    std::string data;
};

// The chunks behind the signature, each CRC checked.
std::vector<Chunk> chunksOf(const std::string& file) {
    std::vector<Chunk> chunks;
    EXPECT_EQ(file.substr(0, 8), "\x89PNG\r\n\x1a\n");
    std::size_t at = 8;
    while (at + 12 <= file.size()) {
        const std::uint32_t length = be32At(file, at);
        Chunk chunk{file.substr(at + 4, 4), file.substr(at + 8, length)};
        const std::string typed = file.substr(at + 4, 4 + length);
        const auto crc = static_cast<std::uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(typed.data()), static_cast<uInt>(typed.size())));
        EXPECT_EQ(be32At(file, at + 8 + length), crc) << chunk.type << " at " << at;
        chunks.push_back(chunk);
        at += 12 + length;
    }
    EXPECT_EQ(at, file.size());
    return chunks;
}

// Walks the stored blocks of the zlib stream and yields what they hold;
// checks the header, the block frames, the final flag and the Adler word.
std::string storedContent(const std::string& stream) {
    EXPECT_EQ(stream.substr(0, 2), "\x08\x1d");
    std::string content;
    std::size_t at = 2;
    bool final = false;
    while (!final && at + 5 <= stream.size()) {
        final = byteAt(stream, at) == 1;
        EXPECT_LE(byteAt(stream, at), 1);
        const std::uint32_t length = le16At(stream, at + 1);
        EXPECT_EQ(le16At(stream, at + 3), ~length & 0xffff);
        EXPECT_LE(length, 8192u);
        content += stream.substr(at + 5, length);
        at += 5 + length;
    }
    EXPECT_TRUE(final);
    const auto adler = static_cast<std::uint32_t>(
        adler32(1, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
    EXPECT_EQ(be32At(stream, at), adler);
    EXPECT_EQ(at + 4, stream.size());
    // zlib itself agrees.
    std::string inflated(content.size() + 1, '\0');
    uLongf size = static_cast<uLongf>(inflated.size());
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(inflated.data()), &size,
                         reinterpret_cast<const Bytef*>(stream.data()), static_cast<uLong>(stream.size())),
              Z_OK);
    EXPECT_EQ(inflated.substr(0, size), content);
    return content;
}

// The raw rows a reader must get back: filter 0, samples, 16 bits big-endian.
std::string expectedRows(const ImageField& image, bool alphaKept) {
    std::string rows;
    const ImagePayload& p = *image.payload;
    for (std::int64_t y = 1; y <= p.sizeY; ++y) {
        rows += '\0';
        for (std::int64_t x = 1; x <= p.sizeX; ++x) {
            const int channels = p.kind == VoxelKind::imageGray || p.kind == VoxelKind::imageFullgray ? 1
                                 : alphaKept                                                            ? 4
                                                                                                       : 3;
            for (int c = 0; c < channels; ++c) {
                const std::uint32_t v = getPixel(image, x, y, c);
                if (p.kind == VoxelKind::imageFullgray) rows += static_cast<char>(v >> 8);
                rows += static_cast<char>(v & 255);
            }
        }
    }
    return rows;
}

class PngTest : public ::testing::Test {
protected:
    TemporaryWorkingDirectory directory_{"corvane-png"};
    OutputCapture output_;
};

TEST_F(PngTest, KindsHeadersAndOneChunk) {
    struct Row {
        VoxelKind kind;
        int depth, colourType;
        bool alpha;
    };
    const Row rows[] = {
        {VoxelKind::imageGray, 8, 0, false},
        {VoxelKind::imageFullgray, 16, 0, false},
        {VoxelKind::imageRgb, 8, 2, false},
        {VoxelKind::imageRgba, 8, 6, true},
        {VoxelKind::imageZrgb, 8, 2, false},
    };
    for (const Row& row : rows) {
        const ImageField image = patternImage(row.kind, 37, 11);
        ASSERT_TRUE(savePng(image, "out.png"));
        const std::vector<Chunk> chunks = chunksOf(readBytes("out.png"));
        ASSERT_EQ(chunks.size(), 3u);
        EXPECT_EQ(chunks[0].type, "IHDR");
        EXPECT_EQ(be32At(chunks[0].data, 0), 37u);
        EXPECT_EQ(be32At(chunks[0].data, 4), 11u);
        const std::string modeBytes{static_cast<char>(row.depth), static_cast<char>(row.colourType), 0, 0, 0};
        EXPECT_EQ(chunks[0].data.substr(8), modeBytes);
        EXPECT_EQ(chunks[1].type, "IDAT");
        const std::string raw = expectedRows(image, row.alpha);
        EXPECT_EQ(storedContent(chunks[1].data), raw);
        // 5 bytes a block, the data, 2 for the zlib header, 4 for the Adler word.
        EXPECT_EQ(chunks[1].data.size(), 5 * ((raw.size() + 8191) / 8192) + raw.size() + 6);
        EXPECT_EQ(chunks[2].type, "IEND");
    }
    EXPECT_EQ(readBytes("out.png").substr(readBytes("out.png").size() - 12),
              std::string("\0\0\0\0IEND\xae\x42\x60\x82", 12));
    std::string written;
    for (int i = 0; i < 5; ++i) written += "Write file (out.png).\n";
    EXPECT_EQ(messages(output_), written);
}

TEST_F(PngTest, OneChunkARowFromTheLimitOn) {
    struct Row {
        VoxelKind kind;
        std::int64_t width, height;
        std::size_t chunks;  // IDAT chunks
    };
    const Row rows[] = {
        {VoxelKind::imageGray, 1023, 1023, 1},     // 1024 * 1023 row bytes: below
        {VoxelKind::imageGray, 1023, 1024, 1024},  // exactly 1048576: one a row
        {VoxelKind::imageRgb, 3000, 120, 120},     // 9001-byte rows: two blocks each
    };
    for (const Row& row : rows) {
        const ImageField image = patternImage(row.kind, row.width, row.height);
        ASSERT_TRUE(savePng(image, "big"));
        const std::vector<Chunk> chunks = chunksOf(readBytes("big.png"));
        ASSERT_EQ(chunks.size(), row.chunks + 2) << row.width << "x" << row.height;
        std::string stream;
        for (std::size_t i = 1; i <= row.chunks; ++i) {
            EXPECT_EQ(chunks[i].type, "IDAT");
            stream += chunks[i].data;
        }
        const std::string raw = expectedRows(image, false);
        EXPECT_EQ(storedContent(stream), raw);
        if (row.chunks > 1) {
            const std::size_t rowBytes = raw.size() / static_cast<std::size_t>(row.height);
            const std::size_t blocks = 5 * ((rowBytes + 8191) / 8192);
            EXPECT_EQ(chunks[1].data.size(), 2 + blocks + rowBytes);
            EXPECT_EQ(chunks[2].data.size(), blocks + rowBytes);
            EXPECT_EQ(chunks[row.chunks].data.size(), blocks + rowBytes + 4);
        }
    }
}

TEST_F(PngTest, ModeCheckMessages) {
    struct Row {
        int depth, colourType;
        bool valid;
        const char* message;
    };
    const Row rows[] = {
        {8, 0, true, ""},
        {16, 0, true, ""},
        {1, 0, true, ""},
        {3, 0, false, "Wrong png bit depth (3) in mode gray!\n"},
        {8, 2, true, ""},
        {4, 2, false, "Wrong png bit depth (4) in mode rgb!\n"},
        {8, 3, true, ""},
        {16, 3, false, "Wrong png bit depth (16) in mode palette!\n"},
        {2, 4, false, "Wrong png bit depth (2) in mode gray+alpha!\n"},
        {16, 6, true, ""},
        {1, 6, false, "Wrong png bit depth (1) in mode rgb+alpha!\n"},
        {8, 5, false, "Wrong png mode (5)!\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(checkPngMode(row.depth, row.colourType), row.valid);
        EXPECT_EQ(messages(output_), row.message);
    }
}

TEST_F(PngTest, ExtensionAndEmptyImages) {
    const ImageField image = patternImage(VoxelKind::imageGray, 2, 2);
    ASSERT_TRUE(savePng(image, "a.PNG"));
    ASSERT_TRUE(savePng(image, "b.tif"));
    ImageField empty;
    newField(empty, VoxelKind::imageRgb);
    EXPECT_FALSE(savePng(empty, "c.png"));
    EXPECT_EQ(messages(output_), "Write file (a.PNG).\nWrite file (b.tif.png).\n");
}

}  // namespace
}  // namespace corvane
