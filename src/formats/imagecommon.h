// Pieces every image reader and writer shares: opening a file to load,
// making the loaded image, the writers' extension rule, and the row
// converters between an image's planes and the interleaved rows of files.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>

#include "fields/fieldrecords.h"
#include "foundation/files.h"
#include "foundation/text.h"

namespace corvane {

// gray and fullgray load and save through the gray lists, rgb and rgba
// through the colour lists; zrgb saves its colour planes and does not load.
bool isGrayImageKind(VoxelKind kind);
bool isColourImageKind(VoxelKind kind);

// A side above this, or an area above largestImageArea, is no image any
// file of ours can hold; the loaders refuse it before allocating.
constexpr std::int64_t largestImageSide = std::int64_t{1} << 31;
constexpr std::int64_t largestImageArea = std::int64_t{1} << 40;
bool plausibleImageSize(std::int64_t sizeX, std::int64_t sizeY);

// "  Couldn't read File (" name ")! Create empty field.", the name as given.
void reportUnreadableImage(const Text& fileName);
// Opens a file to load without a success line. A missing file prints only
// the line above; other failures the I/O report of the file layer.
bool openImageFile(FileHandle& file, const Text& fileName);

// The image made anew in its own kind and named after the file, 0 x 0: the
// state a load that cannot go on leaves behind.
void emptyImage(ImageField& image, const Text& fileName);
// The image made anew in its own kind at the size and named after the file;
// false with the image empty when the size is implausible or the pixels
// can't be allocated (the allocation line of the tracked array says so).
bool makeLoadedImage(ImageField& image, const Text& fileName, std::int64_t sizeX, std::int64_t sizeY);
// A short read of pixel data: the read error of the file layer for the
// file, and an empty image.
void failShortImage(ImageField& image, const Text& fileName);

// "  Grey with (" becomes "  Grey with (640x480)": the progress title of a load.
Text progressTitle(const char* text, std::int64_t sizeX, std::int64_t sizeY);

// The writers' extension rule: the name as it is when its format extension
// is one of the spellings, otherwise the name with "." and the first
// spelling behind it.
Text withWriterExtension(const Text& fileName, std::initializer_list<const char*> spellings);

// ---- byte orders of file headers --------------------------------------------

inline std::uint32_t littleEndian16(const std::uint8_t* p) { return p[0] | p[1] << 8; }
inline std::uint32_t littleEndian32(const std::uint8_t* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
inline void putLittleEndian16(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void putLittleEndian32(std::uint8_t* p, std::uint32_t v) {
    putLittleEndian16(p, v);
    putLittleEndian16(p + 2, v >> 16);
}
inline void putBigEndian32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

// ---- rows of a loaded image; y counts from 0 ---------------------------------

// One row of gray values: gray keeps them (a sixteen-bit source divided by
// 256, an eight-bit one clamped to 255), fullgray takes them as they are,
// colour kinds get them in every channel, clamped to 255, and alpha 255.
void storeGrayRow(ImagePayload& image, std::int64_t y, const std::uint8_t* values);
void storeGrayRow(ImagePayload& image, std::int64_t y, const std::uint16_t* values, bool sixteenBit);

// How a colour pixel becomes one gray value: the mean of the three, or the
// sum clamped to the byte range first, which caps bright pixels at 85.
enum class GrayRule { mean, saturatingMean };
// Channel order of an interleaved file row.
enum class ChannelOrder { rgb, bgr };

// One row of interleaved 8-bit colour pixels of `stride` bytes (3 or 4):
// colour kinds take the channels, rgba the fourth byte as alpha when there
// is one and 255 otherwise; gray and fullgray take the gray rule.
void storeColourRow(ImagePayload& image, std::int64_t y, const std::uint8_t* pixels, int stride,
                    ChannelOrder order, GrayRule rule);

// ---- rows of an image to save ---------------------------------------------------

// Interleaved 8-bit layouts of the writers.
enum class PixelLayout {
    rgb,         // r, g, b
    bgr,         // b, g, r
    rgba,        // r, g, b, a; kinds without alpha give 255
    rgbOpaque,   // r, g, b, 255 whatever the kind holds
};
int layoutBytes(PixelLayout layout);
// Row y of any kind in the layout: gray kinds repeat their value (fullgray
// divided by 256), zrgb gives its colour planes.
void interleaveRow(const ImagePayload& image, std::int64_t y, PixelLayout layout, std::uint8_t* out);
// Row y as 8-bit gray: gray as it is, fullgray divided by 256, colour kinds
// the mean of r, g and b.
void grayRow(const ImagePayload& image, std::int64_t y, std::uint8_t* out);

void reportNoRowBuffer();
// A row buffer of `count` records, null after the allocation line of the
// tracked array when the memory is not there.
template <class T>
std::unique_ptr<T[]> rowBuffer(std::int64_t count) {
    std::unique_ptr<T[]> buffer(count > 0 ? new (std::nothrow) T[static_cast<std::size_t>(count)] : nullptr);
    if (!buffer) reportNoRowBuffer();
    return buffer;
}

// The rows of a file read in blocks of about 256 KiB: one call for many
// rows, and a block small enough to stay in the cache while its rows are
// converted. `readSome(data, count)` yields the bytes it got. Rows are
// `stride` bytes apart, of which `rowBytes` are needed: the pad behind the
// last row may be missing. With `zeroShort` the rows behind the end of the
// data read as zero bytes; otherwise next() gives null there.
template <class ReadSome>
class RowBlocks {
public:
    static constexpr std::int64_t blockBytes = 1 << 18;

    RowBlocks(std::int64_t rowBytes, std::int64_t stride, std::int64_t rows, bool zeroShort, ReadSome readSome)
        : rowBytes_(rowBytes), stride_(stride), rowsLeft_(rows), zeroShort_(zeroShort), readSome_(readSome) {
        rowsPerBlock_ = std::max<std::int64_t>(1, std::min(rows, blockBytes / std::max<std::int64_t>(stride, 1)));
        buffer_ = rowBuffer<std::uint8_t>(rowsPerBlock_ * stride);
    }
    bool ready() const { return buffer_ != nullptr; }

    // The next row, or null when the data ended before it.
    const std::uint8_t* next() {
        if (at_ == filled_ && !fill()) return nullptr;
        return buffer_.get() + stride_ * at_++;
    }

private:
    bool fill() {
        const std::int64_t rows = std::min(rowsLeft_, rowsPerBlock_);
        if (rows <= 0) return false;
        const std::int64_t wanted = rows * stride_;
        const std::int64_t got = std::max<std::int64_t>(readSome_(buffer_.get(), wanted), 0);
        std::int64_t whole = got / stride_ + (got % stride_ >= rowBytes_ ? 1 : 0);
        if (zeroShort_ && got < wanted) {
            std::fill(buffer_.get() + got, buffer_.get() + wanted, std::uint8_t{0});
            whole = rows;
        }
        if (whole == 0) return false;
        rowsLeft_ = whole < rows ? 0 : rowsLeft_ - rows;
        filled_ = whole;
        at_ = 0;
        return true;
    }

    std::int64_t rowBytes_, stride_, rowsLeft_;
    bool zeroShort_;
    ReadSome readSome_;
    std::int64_t rowsPerBlock_ = 1, filled_ = 0, at_ = 0;
    std::unique_ptr<std::uint8_t[]> buffer_;
};

// Rows of a file written in blocks of about 1 MiB, one write call each.
// The buffer is had before the file is opened, so that a lack of memory
// leaves no file behind.
class RowBlockWriter {
public:
    RowBlockWriter(std::int64_t rows, std::int64_t rowBytes)
        : rows_(rows),
          rowBytes_(rowBytes),
          rowsPerBlock_(std::clamp<std::int64_t>((1 << 20) / std::max<std::int64_t>(rowBytes, 1), 1,
                                                 std::max<std::int64_t>(rows, 1))),
          block_(rowBuffer<std::uint8_t>(rowsPerBlock_ * rowBytes)) {}
    bool ready() const { return block_ != nullptr; }

    // `fill(y, out)` makes row y (from 0), `write(data, count)` yields false
    // on failure. Rows go from the top, or from the bottom with `bottomUp`.
    template <class Fill, class Write>
    bool run(bool bottomUp, Fill fill, Write write) {
        for (std::int64_t done = 0; done < rows_;) {
            const std::int64_t count = std::min(rowsPerBlock_, rows_ - done);
            for (std::int64_t i = 0; i < count; ++i) {
                const std::int64_t row = done + i;
                fill(bottomUp ? rows_ - 1 - row : row, block_.get() + i * rowBytes_);
            }
            if (!write(block_.get(), count * rowBytes_)) return false;
            done += count;
        }
        return true;
    }

private:
    std::int64_t rows_, rowBytes_, rowsPerBlock_;
    std::unique_ptr<std::uint8_t[]> block_;
};

// Every writer's precondition: a payload with pixels. Kind 0 prints
// "Unknown imagefield!"; an image of 0 x 0 is written by nobody.
bool imageToSave(const ImageField& image);

}  // namespace corvane
