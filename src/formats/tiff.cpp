// TIFF writer: header, the pixels as one strip, then the directory and the
// sample range words its tags 280 and 281 point at.
#include "formats/tiff.h"

#include <cstdint>

#include "formats/imagecommon.h"
#include "foundation/files.h"

namespace corvane {

namespace {

constexpr std::uint32_t tiffShort = 3, tiffLong = 4;
constexpr int tiffTags = 13;
constexpr std::int64_t directoryBytes = 2 + tiffTags * 12 + 4;

void putEntry(std::uint8_t*& at, std::uint32_t tag, std::uint32_t type, std::uint32_t count, std::uint32_t value) {
    putLittleEndian16(at, tag);
    putLittleEndian16(at + 2, type);
    putLittleEndian32(at + 4, count);
    // A single SHORT sits in the low half of the value field.
    if (type == tiffShort && count == 1) {
        putLittleEndian16(at + 8, value & 0xffff);
        putLittleEndian16(at + 10, 0);
    } else {
        putLittleEndian32(at + 8, value);
    }
    at += 12;
}

}  // namespace

bool saveTiff(const ImageField& image, const Text& fileName) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {"tif", "tiff"});
    const ImagePayload& p = *image.payload;
    const bool colour = !isGrayImageKind(p.kind);
    const bool wide = p.kind == VoxelKind::imageFullgray;
    const int sampleBytes = colour ? 3 : wide ? 2 : 1;
    const std::int64_t area = p.sizeX * p.sizeY;
    const std::int64_t pixelBytes = area * sampleBytes;
    // Tags 279 to 281 as they have always been written: the byte count
    // takes the factor 2 for 8-bit gray too, and 280 and 281 give the file
    // positions of the range words behind the directory, not sample values.
    const std::int64_t statedBytes = area * (colour ? 3 : 2);
    const auto w = static_cast<std::uint32_t>(p.sizeX), h = static_cast<std::uint32_t>(p.sizeY);

    std::uint8_t head[8] = {'I', 'I'};
    putLittleEndian16(head + 2, 42);
    putLittleEndian32(head + 4, static_cast<std::uint32_t>(8 + pixelBytes));

    std::uint8_t tail[directoryBytes + 12] = {};
    std::uint8_t* at = tail;
    putLittleEndian16(at, tiffTags);
    at += 2;
    const std::uint32_t samples = colour ? 3 : 1;
    putEntry(at, 256, tiffLong, 1, w);
    putEntry(at, 257, tiffLong, 1, h);
    putEntry(at, 258, tiffShort, 1, wide ? 16 : 8);
    putEntry(at, 259, tiffShort, 1, 1);
    putEntry(at, 262, tiffShort, 1, colour ? 2 : 1);
    putEntry(at, 273, tiffLong, 1, 8);
    putEntry(at, 274, tiffShort, 1, 1);
    putEntry(at, 277, tiffShort, 1, samples);
    putEntry(at, 278, tiffLong, 1, h);
    putEntry(at, 279, tiffLong, 1, static_cast<std::uint32_t>(statedBytes));
    putEntry(at, 280, tiffShort, samples, static_cast<std::uint32_t>(statedBytes + 170));
    putEntry(at, 281, tiffShort, samples, static_cast<std::uint32_t>(statedBytes + (colour ? 176 : 172)));
    putEntry(at, 284, tiffShort, 1, 1);
    at += 4;  // no further directory
    // The range words: 0 and the kind's maximum, per sample.
    const std::uint32_t highest = wide ? 65535 : 255;
    for (std::uint32_t s = 0; s < samples; ++s, at += 2) putLittleEndian16(at, 0);
    for (std::uint32_t s = 0; s < samples; ++s, at += 2) putLittleEndian16(at, highest);

    RowBlockWriter rows(colour ? p.sizeY : 1, p.sizeX * 3);
    if (!rows.ready()) return false;
    FileHandle file;
    if (!writeBinaryFile(file, name)) return false;
    bool written = file.write(head, sizeof head);
    if (colour) {
        const auto fill = [&p](std::int64_t y, std::uint8_t* out) { interleaveRow(p, y, PixelLayout::rgb, out); };
        written = written && rows.run(false, fill, [&file](const void* data, std::int64_t count) {
            return file.write(data, count);
        });
    } else if (written) {
        // The plane as held in memory: rows from the top, words little-endian.
        written = file.write(p.planes[0].records<std::uint8_t>(), pixelBytes);
    }
    if (written) file.write(tail, at - tail);
    return file.close();
}

}  // namespace corvane
