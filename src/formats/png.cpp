// PNG writer: signature, IHDR, IDAT chunks of stored deflate blocks inside
// one zlib stream, IEND. CRC-32 and Adler-32 come from zlib.
#include "formats/png.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "formats/imagecommon.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/workers.h"

namespace corvane {

bool checkPngMode(int bitDepth, int colourType) {
    struct Mode {
        int colourType;
        const char* name;
        std::initializer_list<int> depths;
    };
    static const Mode modes[] = {
        {0, "gray", {1, 2, 4, 8, 16}},
        {2, "rgb", {8, 16}},
        {3, "palette", {1, 2, 4, 8}},
        {4, "gray+alpha", {8, 16}},
        {6, "rgb+alpha", {8, 16}},
    };
    for (const Mode& mode : modes) {
        if (mode.colourType != colourType) continue;
        if (std::find(mode.depths.begin(), mode.depths.end(), bitDepth) != mode.depths.end()) return true;
        writeTextLine("Wrong png bit depth (" + integerToText(bitDepth) + ") in mode " + mode.name + "!");
        return false;
    }
    writeTextLine("Wrong png mode (" + integerToText(colourType) + ")!");
    return false;
}

namespace {

constexpr std::uint8_t pngSignature[8] = {137, 'P', 'N', 'G', 13, 10, 26, 10};
constexpr std::uint8_t pngEnd[12] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 174, 66, 96, 130};
constexpr std::uint8_t zlibHeader[2] = {8, 29};  // deflate, 256-byte window, check bits

struct PngMode {
    int bitDepth, colourType, channels, sampleBytes;
};

PngMode modeOf(VoxelKind kind) {
    switch (kind) {
        case VoxelKind::imageGray: return {8, 0, 1, 1};
        case VoxelKind::imageFullgray: return {16, 0, 1, 2};
        case VoxelKind::imageRgba: return {8, 6, 4, 1};
        default: return {8, 2, 3, 1};  // rgb, and the colour planes of zrgb
    }
}

// Words turned big-endian, built for AVX2 and the baseline like the other
// row kernels (see imagecommon.cpp).
[[gnu::target_clones("avx2", "default")]]
void bigEndianSamples(const std::uint16_t* __restrict words, std::int64_t n, std::uint8_t* __restrict out) {
    for (std::int64_t x = 0; x < n; ++x) {
        const auto swapped = static_cast<std::uint16_t>(words[x] >> 8 | words[x] << 8);
        std::memcpy(out + 2 * x, &swapped, 2);
    }
}

// One row of the zlib stream: filter byte 0, then the samples, 16-bit ones
// big-endian.
void fillRow(const ImagePayload& p, const PngMode& mode, std::int64_t y, std::uint8_t* out) {
    out[0] = 0;
    std::uint8_t* samples = out + 1;
    switch (p.kind) {
        case VoxelKind::imageGray:
            std::memcpy(samples, p.plane<std::uint8_t>(0) + y * p.sizeX, static_cast<std::size_t>(p.sizeX));
            break;
        case VoxelKind::imageFullgray: bigEndianSamples(p.plane<std::uint16_t>(0) + y * p.sizeX, p.sizeX, samples); break;
        default: interleaveRow(p, y, mode.channels == 4 ? PixelLayout::rgba : PixelLayout::rgb, samples); break;
    }
}

std::int64_t blocksFor(std::int64_t bytes) { return (bytes + pngStoredBlockBytes - 1) / pngStoredBlockBytes; }

// The data of one IDAT chunk: the zlib header when the chunk opens the
// stream, stored blocks over `raw`, and the Adler word when it ends it.
// Yields the bytes written to `out`.
std::int64_t putChunkData(std::uint8_t* out, const std::uint8_t* raw, std::int64_t count, bool opens, bool ends,
                          std::uint32_t adler) {
    std::uint8_t* at = out;
    if (opens) {
        std::memcpy(at, zlibHeader, 2);
        at += 2;
    }
    for (std::int64_t done = 0; done < count;) {
        const std::int64_t length = std::min(count - done, pngStoredBlockBytes);
        at[0] = ends && done + length == count ? 1 : 0;  // final block of the image
        putLittleEndian16(at + 1, static_cast<std::uint32_t>(length));
        putLittleEndian16(at + 3, static_cast<std::uint32_t>(~length & 0xffff));
        std::memcpy(at + 5, raw + done, static_cast<std::size_t>(length));
        at += 5 + length;
        done += length;
    }
    if (ends) {
        putBigEndian32(at, adler);
        at += 4;
    }
    return at - out;
}

// Length, type and data are in `chunk` from its start; the CRC goes
// behind. Yields the bytes of the whole chunk.
std::int64_t sealChunk(std::uint8_t* chunk, std::int64_t dataBytes) {
    putBigEndian32(chunk, static_cast<std::uint32_t>(dataBytes));
    const std::uint32_t crc = static_cast<std::uint32_t>(
        crc32_z(crc32_z(0, nullptr, 0), chunk + 4, static_cast<z_size_t>(dataBytes + 4)));
    putBigEndian32(chunk + 8 + dataBytes, crc);
    return dataBytes + 12;
}

// The Adler word of a streamed image, worked out beside the writing on a
// thread of its own: zlib's Adler-32 costs as much as the rest together.
struct AdlerTask {
    const ImagePayload* image = nullptr;
    PngMode mode{};
    std::int64_t rowBytes = 0;
    std::uint32_t adler = 0;
    bool done = false;  // false: no row buffer, the caller works it out
};

std::uint32_t adlerOfRows(const ImagePayload& p, const PngMode& mode, std::int64_t rowBytes, std::uint8_t* raw) {
    auto adler = static_cast<std::uint32_t>(adler32_z(0, nullptr, 0));
    for (std::int64_t y = 0; y < p.sizeY; ++y) {
        fillRow(p, mode, y, raw);
        adler = static_cast<std::uint32_t>(adler32_z(adler, raw, static_cast<z_size_t>(rowBytes)));
    }
    return adler;
}

void* adlerTask(void* parameter) {
    auto& task = *static_cast<AdlerTask*>(parameter);
    std::unique_ptr<std::uint8_t[]> raw(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(task.rowBytes)]);
    if (raw) {
        task.adler = adlerOfRows(*task.image, task.mode, task.rowBytes, raw.get());
        task.done = true;
    }
    return nullptr;
}

}  // namespace

bool savePng(const ImageField& image, const Text& fileName) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {"png"});
    const ImagePayload& p = *image.payload;
    const PngMode mode = modeOf(p.kind);
    checkPngMode(mode.bitDepth, mode.colourType);  // reports, and writing goes on

    const std::int64_t rowBytes = 1 + p.sizeX * mode.channels * mode.sampleBytes;
    const bool oneChunk = rowBytes * p.sizeY < pngSingleChunkLimit;
    // Raw rows: all of them for one chunk, else one at a time. Streamed
    // chunks are gathered into batches of about 1 MiB, one write each.
    const std::int64_t rawBytes = oneChunk ? rowBytes * p.sizeY : rowBytes;
    const std::int64_t chunkBytes = 12 + 2 + 5 * blocksFor(rawBytes) + rawBytes + 4;
    const std::int64_t batchRows = oneChunk ? 1 : std::clamp<std::int64_t>((1 << 20) / chunkBytes, 1, p.sizeY);
    std::unique_ptr<std::uint8_t[]> raw(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(rawBytes)]);
    std::unique_ptr<std::uint8_t[]> batch(
        new (std::nothrow) std::uint8_t[static_cast<std::size_t>(chunkBytes * batchRows)]);
    if (!raw || !batch) {
        writeLine("PNG memory error!");
        return false;
    }

    FileHandle file;
    if (!writeBinaryFile(file, name)) return false;
    bool written = file.write(pngSignature, sizeof pngSignature);
    std::uint8_t header[8 + 13 + 4] = {0, 0, 0, 0, 'I', 'H', 'D', 'R'};
    putBigEndian32(header + 8, static_cast<std::uint32_t>(p.sizeX));
    putBigEndian32(header + 12, static_cast<std::uint32_t>(p.sizeY));
    header[16] = static_cast<std::uint8_t>(mode.bitDepth);
    header[17] = static_cast<std::uint8_t>(mode.colourType);
    written = written && file.write(header, sealChunk(header, 13));

    if (oneChunk) {
        for (std::int64_t y = 0; y < p.sizeY; ++y) fillRow(p, mode, y, raw.get() + y * rowBytes);
        const auto adler = static_cast<std::uint32_t>(
            adler32_z(adler32_z(0, nullptr, 0), raw.get(), static_cast<z_size_t>(rawBytes)));
        std::memcpy(batch.get() + 4, "IDAT", 4);
        const std::int64_t data = putChunkData(batch.get() + 8, raw.get(), rawBytes, true, true, adler);
        written = written && file.write(batch.get(), sealChunk(batch.get(), data));
    } else {
        AdlerTask task{&p, mode, rowBytes};
        ThreadHandle helper;
        bool helping = threadStart(adlerTask, &task, helper);
        // The first chunk opens the zlib stream, the last one ends it with the Adler word.
        std::int64_t used = 0;
        for (std::int64_t y = 0; y < p.sizeY && written; ++y) {
            const bool last = y == p.sizeY - 1;
            std::uint32_t adler = 0;
            if (last) {
                if (helping) threadJoin(helper);
                helping = false;
                adler = task.done ? task.adler : adlerOfRows(p, mode, rowBytes, raw.get());
            }
            fillRow(p, mode, y, raw.get());
            std::uint8_t* chunk = batch.get() + used;
            std::memcpy(chunk + 4, "IDAT", 4);
            const std::int64_t data = putChunkData(chunk + 8, raw.get(), rowBytes, y == 0, last, adler);
            used += sealChunk(chunk, data);
            if (last || used + chunkBytes > chunkBytes * batchRows) {
                written = file.write(batch.get(), used);
                used = 0;
            }
        }
        if (helping) threadJoin(helper);  // a write failed before the last row
    }
    if (written) file.write(pngEnd, sizeof pngEnd);
    return file.close();
}

}  // namespace corvane
