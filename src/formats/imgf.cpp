// IMGF loader: "IMGF", a reserved word, width, height, bits per pixel,
// compression (1 is none) and the current value, all little-endian
// uint32, then the rows from the top.
#include "formats/imgf.h"

#include <cstdint>
#include <cstring>

#include "formats/imagecommon.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

constexpr std::int64_t imgfHeaderBytes = 28;

const char* imgfText(std::uint32_t bits, VoxelKind kind) {
    if (bits == 8) return kind == VoxelKind::imageGray ? "  Grey with (" : "  Fullgrey (Grey) with (";
    return kind == VoxelKind::imageGray ? "  Grey (Fullgrey) with (" : "  Fullgrey with (";
}

}  // namespace

void loadImgf(ImageField& image, const Text& fileName) {
    const VoxelKind kind = image.kind;
    if (kind == VoxelKind::imageRgb || kind == VoxelKind::imageRgba) {
        writeLine(kind == VoxelKind::imageRgb ? "rgb <> IMGF-file" : "rgba <> IMGF-file");
        emptyImage(image, fileName);
        return;
    }
    if (!isGrayImageKind(kind)) {
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
    std::uint8_t header[imgfHeaderBytes];
    if (file.readSome(header, 4) != 4 || std::memcmp(header, "IMGF", 4) != 0) {
        setIoResult(0);
        writeLine("  Bad Magic Identifier! Create empty field.");
        emptyImage(image, fileName);
        return;
    }
    if (!file.read(header + 4, imgfHeaderBytes - 4)) {
        failShortImage(image, fileName);
        return;
    }
    const std::int64_t width = littleEndian32(header + 8), height = littleEndian32(header + 12);
    const std::uint32_t bits = littleEndian32(header + 16);
    const std::uint32_t compression = littleEndian32(header + 20);
    const std::uint8_t value = header[24];  // the low byte of the last word
    if (compression != 1) {
        writeTextLine("  Error - compressed file (" + integerToText(compression) + ")!");
        emptyImage(image, fileName);
        return;
    }
    if (bits != 8 && bits != 16) {
        writeTextLine("  Error - wrong bit depth (" + integerToText(bits) + ")!");
        emptyImage(image, fileName);
        return;
    }
    if (!plausibleImageSize(width, height)) {
        emptyImage(image, fileName);
        return;
    }
    const int sampleBytes = bits == 16 ? 2 : 1;
    if (width * height * sampleBytes > fileSize - imgfHeaderBytes) {
        failShortImage(image, fileName);
        return;
    }
    if (!makeLoadedImage(image, fileName, width, height)) return;

    ImagePayload& p = *image.payload;
    const Text title = progressTitle(imgfText(bits, kind), width, height);
    if ((bits == 8) == (kind == VoxelKind::imageGray)) {
        // Samples as the image holds them: one read into the plane.
        if (!file.read(p.planes[0].records<std::uint8_t>(), width * height * sampleBytes)) {
            failShortImage(image, fileName);
            return;
        }
        ready(1, title);
    } else {
        RowBlocks blocks(width * sampleBytes, width * sampleBytes, height, false,
                         [&file](void* data, std::int64_t count) { return file.readSome(data, count); });
        if (!blocks.ready()) {
            emptyImage(image, fileName);
            return;
        }
        for (std::int64_t y = 0; y < height; ++y) {
            const std::uint8_t* row = blocks.next();
            if (row == nullptr) {
                failShortImage(image, fileName);
                readyDone();
                return;
            }
            if (bits == 8) {
                storeGrayRow(p, y, row);
            } else {
                // Little-endian words, divided by 256 for gray.
                std::uint8_t* out = p.plane<std::uint8_t>(0) + y * width;
                for (std::int64_t x = 0; x < width; ++x) out[x] = row[2 * x + 1];
            }
            ready(static_cast<double>(y + 1) / static_cast<double>(height), title);
        }
    }
    readyDone();
    setImageValue(image, spreadOverChannels(value));
}

}  // namespace corvane
