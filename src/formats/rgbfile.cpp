// RGB file loader and writer. The header is four bytes 0, 0, 32, 0 and the
// width and height as little-endian uint16; the pixels follow from the top.
#include "formats/rgbfile.h"

#include <cstdint>

#include "formats/imagecommon.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

constexpr std::int64_t rgbHeaderBytes = 8;

// A pixel of 16 bits is unpacked as it always was: blue from the high
// nibble of byte 0, green from the low and red from the high nibble of byte 1.
void unpackSixteenBit(const std::uint8_t* in, std::int64_t n, std::uint8_t* rgb) {
    for (std::int64_t x = 0; x < n; ++x) {
        const std::uint8_t low = in[2 * x], high = in[2 * x + 1];
        rgb[3 * x] = high & 240;
        rgb[3 * x + 1] = static_cast<std::uint8_t>((high & 15) << 4);
        rgb[3 * x + 2] = low & 240;
    }
}

// Whether the data holds exactly area pixels of `bytes` bytes each.
bool holds(std::int64_t dataBytes, std::int64_t area, std::int64_t bytes) {
    return area <= dataBytes / bytes && area * bytes == dataBytes;
}

bool colourKindFor(ImageField& image, const Text& fileName) {
    switch (image.kind) {
        case VoxelKind::imageRgb:
        case VoxelKind::imageRgba: return true;
        case VoxelKind::imageGray: writeLine("gray <> RGB-file"); break;
        case VoxelKind::imageFullgray: writeLine("fullgray <> RGB-file"); break;
        default: writeLine("Unknown imagefield!"); break;
    }
    emptyImage(image, fileName);
    return false;
}

// The pixels from the file's position on: the layout follows from the bytes
// the file has for them.
void loadPixels(ImageField& image, const Text& fileName, FileHandle& file, std::int64_t dataBytes,
                std::int64_t width, std::int64_t height) {
    const bool alpha = image.kind == VoxelKind::imageRgba;
    const bool sane = width >= 0 && height >= 0 && width <= largestImageSide && height <= largestImageSide;
    const std::int64_t area = sane ? width * height : -1;
    int pixelBytes = 0;
    const char* text = nullptr;
    if (sane && holds(dataBytes, area, 2)) {
        pixelBytes = 2;
        text = alpha ? "  RGBA (16bit) with (" : "  RGB (16bit) with (";
    } else if (sane && holds(dataBytes, area, 3)) {
        pixelBytes = 3;
        text = alpha ? "  RGBA (24bit) with (" : "  RGB (24bit) with (";
    } else if (sane && holds(dataBytes, area, 4)) {
        pixelBytes = 4;
        text = alpha ? "  RGBA (32bit) with (" : "  RGB (32bit) with (";
    } else {
        writeLine("  Bad file size. Empty image created!");
        emptyImage(image, fileName);
        return;
    }
    if (!makeLoadedImage(image, fileName, width, height)) return;
    ImagePayload& p = *image.payload;
    const std::int64_t rowBytes = width * pixelBytes;
    RowBlocks blocks(rowBytes, rowBytes, height, false,
                     [&file](void* data, std::int64_t count) { return file.readSome(data, count); });
    auto unpacked = rowBuffer<std::uint8_t>(pixelBytes == 2 ? width * 3 : 1);
    if (!blocks.ready() || !unpacked) {
        emptyImage(image, fileName);
        return;
    }
    const Text title = progressTitle(text, width, height);
    for (std::int64_t y = 0; y < height; ++y) {
        const std::uint8_t* row = blocks.next();
        if (row == nullptr) {
            failShortImage(image, fileName);
            readyDone();
            return;
        }
        if (pixelBytes == 2) {
            unpackSixteenBit(row, width, unpacked.get());
            storeColourRow(p, y, unpacked.get(), 3, ChannelOrder::rgb, GrayRule::mean);
        } else {
            storeColourRow(p, y, row, pixelBytes, ChannelOrder::rgb, GrayRule::mean);
        }
        ready(static_cast<double>(y + 1) / static_cast<double>(height), title);
    }
    readyDone();
}

}  // namespace

void loadRgbFile(ImageField& image, const Text& fileName) {
    if (!colourKindFor(image, fileName)) return;
    FileHandle file;
    if (!openImageFile(file, fileName)) {
        emptyImage(image, fileName);
        return;
    }
    const std::int64_t fileSize = file.size();
    std::uint8_t header[rgbHeaderBytes];
    if (file.readSome(header, rgbHeaderBytes) != rgbHeaderBytes) {
        setIoResult(0);
        writeLine("  Wrong header. Empty image created!");
        emptyImage(image, fileName);
        return;
    }
    loadPixels(image, fileName, file, fileSize - rgbHeaderBytes, littleEndian16(header + 4),
               littleEndian16(header + 6));
}

void loadRawRgb(ImageField& image, const Text& fileName, std::int64_t headerBytes, std::int64_t width,
                std::int64_t height) {
    if (!colourKindFor(image, fileName)) return;
    FileHandle file;
    if (!openImageFile(file, fileName)) {
        emptyImage(image, fileName);
        return;
    }
    const std::int64_t fileSize = file.size();
    // A header beyond the file leaves no bytes for any layout.
    const std::int64_t dataBytes = headerBytes >= 0 && headerBytes <= fileSize ? fileSize - headerBytes : -1;
    if (dataBytes >= 0 && !file.seek(headerBytes)) {
        failShortImage(image, fileName);
        return;
    }
    loadPixels(image, fileName, file, dataBytes, width, height);
}

bool saveRgbFile(const ImageField& image, const Text& fileName) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {"rgb"});
    const ImagePayload& p = *image.payload;
    std::uint8_t header[rgbHeaderBytes] = {0, 0, 32, 0};
    putLittleEndian16(header + 4, static_cast<std::uint32_t>(p.sizeX));
    putLittleEndian16(header + 6, static_cast<std::uint32_t>(p.sizeY));
    RowBlockWriter rows(p.sizeY, p.sizeX * 4);
    if (!rows.ready()) return false;
    FileHandle file;
    if (!writeBinaryFile(file, name)) return false;
    const bool written = file.write(header, sizeof header);
    if (written) {
        const auto fill = [&p](std::int64_t y, std::uint8_t* out) { interleaveRow(p, y, PixelLayout::rgbOpaque, out); };
        rows.run(false, fill, [&file](const void* data, std::int64_t count) { return file.write(data, count); });
    }
    return file.close();
}

}  // namespace corvane
