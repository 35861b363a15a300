// BMP loader and writer. The loader takes the six magic words of the
// format's history and its five header sizes, uncompressed data only.
#include "formats/bmp.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "formats/imagecommon.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

// "BM", "BA", "CI", "CP", "IC", "PT" as little-endian words.
constexpr std::uint32_t bmpMagics[] = {19778, 16706, 18755, 20547, 17225, 21584};
constexpr std::uint32_t bmpHeaderSizes[] = {12, 40, 64, 108, 124};
constexpr std::int64_t fileHeaderBytes = 14;  // magic and file header

template <class List>
bool listed(const List& list, std::uint32_t value) {
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

struct BmpHeader {
    std::int64_t width = 0, height = 0;  // a negative height means top-down rows
    std::uint32_t bitsPerPixel = 0;
    std::uint32_t compression = 0;
    std::int64_t colours = 0;  // 0: as many as the depth can index
    int entryBytes = 4;        // colour table entries: b, g, r and 0; 3 bytes for 12-byte headers
};

BmpHeader decodeInfoHeader(const std::uint8_t* body, std::uint32_t headerSize) {
    BmpHeader h;
    if (headerSize == 12) {
        h.width = littleEndian16(body);
        h.height = littleEndian16(body + 2);
        h.bitsPerPixel = littleEndian16(body + 6);
        h.entryBytes = 3;
        return h;
    }
    h.width = static_cast<std::int32_t>(littleEndian32(body));
    h.height = static_cast<std::int32_t>(littleEndian32(body + 4));
    h.bitsPerPixel = littleEndian16(body + 10);
    h.compression = littleEndian32(body + 12);
    h.colours = littleEndian32(body + 28);
    return h;
}

const char* depthText(std::uint32_t bits, VoxelKind kind) {
    const bool gray = kind == VoxelKind::imageGray, full = kind == VoxelKind::imageFullgray;
    switch (bits) {
        case 1: return gray ? "  Grey (Mono) with (" : full ? "  Fullgrey (Mono) with (" : "  RGB (Mono) with (";
        case 4: return gray ? "  Grey (4bit) with (" : full ? "  Fullgrey (4bit) with (" : "  RGB (4bit) with (";
        case 8: return gray ? "  Grey with (" : full ? "  Fullgrey with (" : "  RGB with (";
        default: return gray ? "  Grey (RGB) with (" : full ? "  Fullgrey (RGB) with (" : "  RGB (RGB) with (";
    }
}

// A palette of 256 entries, black behind those the file gives.
struct Palette {
    std::uint8_t rgb[256 * 3] = {};
    std::uint8_t gray[256] = {};
};

// Indices of one row, one byte each; bits and nibbles from the high end.
void unpackIndices(const std::uint8_t* row, std::int64_t n, std::uint32_t bits, std::uint8_t* indices) {
    switch (bits) {
        case 1:
            for (std::int64_t x = 0; x < n; ++x) indices[x] = (row[x >> 3] >> (7 - (x & 7))) & 1;
            break;
        case 4:
            for (std::int64_t x = 0; x < n; ++x) indices[x] = (row[x >> 1] >> ((x & 1) ? 0 : 4)) & 15;
            break;
        default: std::memcpy(indices, row, static_cast<std::size_t>(n)); break;
    }
}

void storeIndexedRow(ImagePayload& image, std::int64_t y, const std::uint8_t* indices, const Palette& palette,
                     std::uint8_t* colours) {
    const std::int64_t n = image.sizeX;
    if (isGrayImageKind(image.kind)) {
        for (std::int64_t x = 0; x < n; ++x) colours[x] = palette.gray[indices[x]];
        storeGrayRow(image, y, colours);
        return;
    }
    for (std::int64_t x = 0; x < n; ++x) std::memcpy(colours + 3 * x, palette.rgb + 3 * indices[x], 3);
    storeColourRow(image, y, colours, 3, ChannelOrder::rgb, GrayRule::mean);
}

}  // namespace

void loadBmp(ImageField& image, const Text& fileName) {
    const VoxelKind kind = image.kind;
    if (!isGrayImageKind(kind) && !isColourImageKind(kind)) {
        writeLine("Unknown imagefield!");
        emptyImage(image, fileName);
        return;
    }
    FileHandle file;
    if (!openImageFile(file, fileName)) {
        emptyImage(image, fileName);
        return;
    }
    const std::int64_t fileSize = file.size();
    std::uint8_t head[fileHeaderBytes + 4];  // magic, file header, header size
    if (file.readSome(head, 2) != 2) {
        setIoResult(0);
        writeTextLine("Wrong file size (" + integerToText(fileSize) + ").");
        emptyImage(image, fileName);
        return;
    }
    const std::uint32_t magic = littleEndian16(head);
    if (!listed(bmpMagics, magic)) {
        writeTextLine("Unknown header type (" + integerToText(magic) + ").");
        emptyImage(image, fileName);
        return;
    }
    if (!file.read(head + 2, sizeof head - 2)) {
        failShortImage(image, fileName);
        return;
    }
    const std::int64_t dataOffset = littleEndian32(head + 10);
    const std::uint32_t headerSize = littleEndian32(head + 14);
    if (!listed(bmpHeaderSizes, headerSize)) {
        writeTextLine("Unknown header size (" + integerToText(headerSize) + ").");
        emptyImage(image, fileName);
        return;
    }
    std::uint8_t body[124] = {};
    if (!file.read(body, headerSize - 4)) {
        failShortImage(image, fileName);
        return;
    }
    const BmpHeader h = decodeInfoHeader(body, headerSize);
    if (h.compression != 0) {
        writeLine("I'm to stupid for compressed images.");  // verbatim
        emptyImage(image, fileName);
        return;
    }
    const std::uint32_t bits = h.bitsPerPixel;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24) {
        writeTextLine("  Bad BitsPerPixel Identifier (" + integerToText(bits) + "). Empty image created!");
        emptyImage(image, fileName);
        return;
    }

    // The colour table follows the header: (1 << bits) entries unless the
    // header counts them. Indices reach 255 at most, so no more are kept.
    Palette palette;
    const std::int64_t tableEntries = bits > 8 ? 0 : h.colours != 0 ? h.colours : std::int64_t{1} << bits;
    const std::int64_t tableStart = fileHeaderBytes + headerSize;
    const std::int64_t tableEnd = tableStart + tableEntries * h.entryBytes;
    const std::int64_t keptEntries = std::min<std::int64_t>(tableEntries, 256);
    std::uint8_t table[256 * 4];
    if (keptEntries > 0 && !file.read(table, keptEntries * h.entryBytes)) {
        failShortImage(image, fileName);
        return;
    }
    for (std::int64_t i = 0; i < keptEntries; ++i) {
        const std::uint8_t* entry = table + i * h.entryBytes;
        palette.rgb[3 * i] = entry[2];
        palette.rgb[3 * i + 1] = entry[1];
        palette.rgb[3 * i + 2] = entry[0];
        palette.gray[i] = static_cast<std::uint8_t>((entry[0] + entry[1] + entry[2]) / 3);
    }

    const bool topDown = h.height < 0;
    const std::int64_t rows = topDown ? -h.height : h.height;
    if (!plausibleImageSize(h.width, rows)) {
        emptyImage(image, fileName);
        return;
    }
    const std::int64_t rowBytes = (h.width * bits + 7) / 8;
    const std::int64_t padBytes = (4 - rowBytes % 4) % 4;
    // The header's data offset when it points behind the header into the
    // file; otherwise the pixels follow the colour table.
    const std::int64_t start = dataOffset >= tableStart && dataOffset < fileSize ? dataOffset : tableEnd;
    if (start > fileSize || (rowBytes + padBytes) * (rows - 1) + rowBytes > fileSize - start || !file.seek(start)) {
        failShortImage(image, fileName);
        return;
    }
    if (!makeLoadedImage(image, fileName, h.width, rows)) return;

    ImagePayload& p = *image.payload;
    RowBlocks blocks(rowBytes, rowBytes + padBytes, rows, false,
                     [&file](void* data, std::int64_t count) { return file.readSome(data, count); });
    auto indices = rowBuffer<std::uint8_t>(p.sizeX);
    auto colours = rowBuffer<std::uint8_t>(p.sizeX * 3);
    if (!blocks.ready() || !indices || !colours) {
        emptyImage(image, fileName);
        return;
    }
    const Text title = progressTitle(depthText(bits, kind), p.sizeX, p.sizeY);
    for (std::int64_t i = 0; i < rows; ++i) {
        const std::uint8_t* row = blocks.next();
        if (row == nullptr) {
            failShortImage(image, fileName);
            readyDone();
            return;
        }
        const std::int64_t y = topDown ? i : rows - 1 - i;
        if (bits == 24) {
            storeColourRow(p, y, row, 3, ChannelOrder::bgr, GrayRule::mean);
        } else {
            unpackIndices(row, p.sizeX, bits, indices.get());
            storeIndexedRow(p, y, indices.get(), palette, colours.get());
        }
        ready(static_cast<double>(i + 1) / static_cast<double>(rows), title);
    }
    setIoResult(0);  // a missing last pad is no error
    readyDone();
}

bool saveBmp(const ImageField& image, const Text& fileName) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {"bmp", "dib"});
    const ImagePayload& p = *image.payload;
    const std::int64_t rowBytes = (p.sizeX * 3 + 3) / 4 * 4;
    const std::int64_t imageBytes = rowBytes * p.sizeY;
    std::uint8_t header[54] = {'B', 'M'};
    putLittleEndian32(header + 2, static_cast<std::uint32_t>(imageBytes + 54));
    putLittleEndian32(header + 10, 54);
    putLittleEndian32(header + 14, 40);
    putLittleEndian32(header + 18, static_cast<std::uint32_t>(p.sizeX));
    putLittleEndian32(header + 22, static_cast<std::uint32_t>(p.sizeY));
    putLittleEndian16(header + 26, 1);
    putLittleEndian16(header + 28, 24);
    putLittleEndian32(header + 34, static_cast<std::uint32_t>(imageBytes));
    RowBlockWriter rows(p.sizeY, rowBytes);
    if (!rows.ready()) return false;
    FileHandle file;
    if (!writeBinaryFile(file, name)) return false;
    const bool written = file.write(header, sizeof header);
    if (written) {
        // Rows from the bottom, b, g, r, the pad zero.
        const auto fill = [&p, rowBytes](std::int64_t y, std::uint8_t* out) {
            interleaveRow(p, y, PixelLayout::bgr, out);
            std::memset(out + p.sizeX * 3, 0, static_cast<std::size_t>(rowBytes - p.sizeX * 3));
        };
        rows.run(true, fill, [&file](const void* data, std::int64_t count) { return file.write(data, count); });
    }
    return file.close();
}

}  // namespace corvane
