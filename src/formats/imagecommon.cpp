#include "formats/imagecommon.h"

#include <algorithm>
#include <cstring>

#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

bool isGrayImageKind(VoxelKind kind) { return kind == VoxelKind::imageGray || kind == VoxelKind::imageFullgray; }

bool isColourImageKind(VoxelKind kind) { return kind == VoxelKind::imageRgb || kind == VoxelKind::imageRgba; }

bool plausibleImageSize(std::int64_t sizeX, std::int64_t sizeY) {
    if (sizeX < 1 || sizeY < 1 || sizeX > largestImageSide || sizeY > largestImageSide) return false;
    return sizeX * sizeY <= largestImageArea;  // both below 2^31: no overflow
}

void reportUnreadableImage(const Text& fileName) {
    writeTextLine("  Couldn't read File (" + fileName + ")! Create empty field.");
}

bool openImageFile(FileHandle& file, const Text& fileName) {
    if (!fileName.empty() && !fileExists(fileName)) {
        reportUnreadableImage(fileName);
        return false;
    }
    return readBinaryFile(file, fileName, SuccessLine::quiet);
}

void emptyImage(ImageField& image, const Text& fileName) {
    newField(image, image.kind);
    image.name = fileName;
}

bool makeLoadedImage(ImageField& image, const Text& fileName, std::int64_t sizeX, std::int64_t sizeY) {
    if (!plausibleImageSize(sizeX, sizeY)) {
        emptyImage(image, fileName);
        return false;
    }
    newField(image, image.kind, sizeX, sizeY);
    image.name = fileName;
    return hasPayload(image) && image.payload->sizeX == sizeX;
}

void failShortImage(ImageField& image, const Text& fileName) {
    setIoResult(100);
    reportIoError(shortenPath(normalizePath(fileName)));
    emptyImage(image, fileName);
}

Text progressTitle(const char* text, std::int64_t sizeX, std::int64_t sizeY) {
    return text + integerToText(sizeX) + "x" + integerToText(sizeY) + ")";
}

Text withWriterExtension(const Text& fileName, std::initializer_list<const char*> spellings) {
    const Text extension = formatExtension(fileName);
    for (const char* spelling : spellings) {
        if (extension == spelling) return fileName;
    }
    return fileName + "." + *spellings.begin();
}

// ---- rows of a loaded image ------------------------------------------------------

namespace {

template <class T>
T* planeRow(const ImagePayload& image, int channel, std::int64_t y) {
    return image.plane<T>(channel) + y * image.sizeX;
}

// The alpha plane of rgba opaque.
void opaqueAlpha(ImagePayload& image, std::int64_t y) {
    if (image.kind == VoxelKind::imageRgba) std::memset(planeRow<std::uint8_t>(image, 3, y), 255, image.sizeX);
}

}  // namespace

void storeGrayRow(ImagePayload& image, std::int64_t y, const std::uint8_t* values) {
    const std::int64_t n = image.sizeX;
    switch (image.kind) {
        case VoxelKind::imageGray: std::memcpy(planeRow<std::uint8_t>(image, 0, y), values, n); break;
        case VoxelKind::imageFullgray: std::copy_n(values, n, planeRow<std::uint16_t>(image, 0, y)); break;
        case VoxelKind::imageRgb:
        case VoxelKind::imageRgba:
            for (int c = 0; c < 3; ++c) std::memcpy(planeRow<std::uint8_t>(image, c, y), values, n);
            opaqueAlpha(image, y);
            break;
        default: break;
    }
}

void storeGrayRow(ImagePayload& image, std::int64_t y, const std::uint16_t* values, bool sixteenBit) {
    const std::int64_t n = image.sizeX;
    if (image.kind == VoxelKind::imageFullgray) {
        std::memcpy(planeRow<std::uint16_t>(image, 0, y), values, n * 2);
        return;
    }
    if (!isGrayImageKind(image.kind) && !isColourImageKind(image.kind)) return;
    std::uint8_t* out = planeRow<std::uint8_t>(image, 0, y);
    if (sixteenBit) {
        for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>(values[x] >> 8);
    } else {
        for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>(std::min<std::uint16_t>(values[x], 255));
    }
    if (image.kind == VoxelKind::imageGray) return;
    std::memcpy(planeRow<std::uint8_t>(image, 1, y), out, n);
    std::memcpy(planeRow<std::uint8_t>(image, 2, y), out, n);
    opaqueAlpha(image, y);
}

namespace {

// The kernels that turn interleaved pixels into planes and back are built
// twice, with AVX2 and for the baseline, and picked when the program
// starts: byte shuffles make the 3-byte pixels cheap, and the plain loops
// stay plain for the compiler to vectorise.
using Byte = std::uint8_t;

[[gnu::target_clones("avx2", "default")]]
void splitThree(const Byte* __restrict pixels, std::int64_t n, Byte* __restrict first, Byte* __restrict second,
                Byte* __restrict third) {
    for (std::int64_t x = 0; x < n; ++x) {
        first[x] = pixels[3 * x];
        second[x] = pixels[3 * x + 1];
        third[x] = pixels[3 * x + 2];
    }
}

[[gnu::target_clones("avx2", "default")]]
void splitFour(const Byte* __restrict pixels, std::int64_t n, Byte* __restrict r, Byte* __restrict g,
               Byte* __restrict b, Byte* __restrict a) {
    for (std::int64_t x = 0; x < n; ++x) {
        r[x] = pixels[4 * x];
        g[x] = pixels[4 * x + 1];
        b[x] = pixels[4 * x + 2];
        a[x] = pixels[4 * x + 3];
    }
}

[[gnu::target_clones("avx2", "default")]]
void splitFourColours(const Byte* __restrict pixels, std::int64_t n, Byte* __restrict r, Byte* __restrict g,
                      Byte* __restrict b) {
    for (std::int64_t x = 0; x < n; ++x) {
        r[x] = pixels[4 * x];
        g[x] = pixels[4 * x + 1];
        b[x] = pixels[4 * x + 2];
    }
}

template <int stride, bool bgr>
void splitChannels(ImagePayload& image, std::int64_t y, const std::uint8_t* pixels) {
    Byte* r = planeRow<Byte>(image, 0, y);
    Byte* g = planeRow<Byte>(image, 1, y);
    Byte* b = planeRow<Byte>(image, 2, y);
    const std::int64_t n = image.sizeX;
    const bool alpha = image.kind == VoxelKind::imageRgba;
    if constexpr (stride == 4) {
        if (alpha) {
            splitFour(pixels, n, r, g, b, planeRow<Byte>(image, 3, y));
        } else {
            splitFourColours(pixels, n, r, g, b);
        }
        return;
    }
    if constexpr (bgr) {
        splitThree(pixels, n, b, g, r);
    } else {
        splitThree(pixels, n, r, g, b);
    }
    if (alpha) std::memset(planeRow<Byte>(image, 3, y), 255, static_cast<std::size_t>(n));
}

template <class T, int stride>
void meanOfChannels(T* out, std::int64_t n, const std::uint8_t* pixels, GrayRule rule) {
    if (rule == GrayRule::saturatingMean) {
        for (std::int64_t x = 0; x < n; ++x) {
            const std::uint8_t* p = pixels + x * stride;
            out[x] = static_cast<T>(std::min(p[0] + p[1] + p[2], 255) / 3);
        }
    } else {
        for (std::int64_t x = 0; x < n; ++x) {
            const std::uint8_t* p = pixels + x * stride;
            out[x] = static_cast<T>((p[0] + p[1] + p[2]) / 3);
        }
    }
}

template <int stride>
void storeColourPixels(ImagePayload& image, std::int64_t y, const std::uint8_t* pixels, ChannelOrder order,
                       GrayRule rule) {
    switch (image.kind) {
        case VoxelKind::imageGray:
            meanOfChannels<std::uint8_t, stride>(planeRow<std::uint8_t>(image, 0, y), image.sizeX, pixels, rule);
            break;
        case VoxelKind::imageFullgray:
            meanOfChannels<std::uint16_t, stride>(planeRow<std::uint16_t>(image, 0, y), image.sizeX, pixels, rule);
            break;
        case VoxelKind::imageRgb:
        case VoxelKind::imageRgba:
            if (order == ChannelOrder::bgr) {
                splitChannels<stride, true>(image, y, pixels);
            } else {
                splitChannels<stride, false>(image, y, pixels);
            }
            break;
        default: break;
    }
}

}  // namespace

void storeColourRow(ImagePayload& image, std::int64_t y, const std::uint8_t* pixels, int stride, ChannelOrder order,
                    GrayRule rule) {
    if (stride == 4) {
        storeColourPixels<4>(image, y, pixels, order, rule);
    } else {
        storeColourPixels<3>(image, y, pixels, order, rule);
    }
}

// ---- rows of an image to save -----------------------------------------------------

int layoutBytes(PixelLayout layout) {
    return layout == PixelLayout::rgb || layout == PixelLayout::bgr ? 3 : 4;
}

namespace {

[[gnu::target_clones("avx2", "default")]]
void joinThree(const Byte* __restrict first, const Byte* __restrict second, const Byte* __restrict third,
               std::int64_t n, Byte* __restrict out) {
    for (std::int64_t x = 0; x < n; ++x) {
        out[3 * x] = first[x];
        out[3 * x + 1] = second[x];
        out[3 * x + 2] = third[x];
    }
}

[[gnu::target_clones("avx2", "default")]]
void joinFour(const Byte* __restrict r, const Byte* __restrict g, const Byte* __restrict b,
              const Byte* __restrict a, std::int64_t n, Byte* __restrict out) {
    for (std::int64_t x = 0; x < n; ++x) {
        out[4 * x] = r[x];
        out[4 * x + 1] = g[x];
        out[4 * x + 2] = b[x];
        out[4 * x + 3] = a[x];
    }
}

[[gnu::target_clones("avx2", "default")]]
void joinOpaque(const Byte* __restrict r, const Byte* __restrict g, const Byte* __restrict b, std::int64_t n,
                Byte* __restrict out) {
    for (std::int64_t x = 0; x < n; ++x) {
        out[4 * x] = r[x];
        out[4 * x + 1] = g[x];
        out[4 * x + 2] = b[x];
        out[4 * x + 3] = 255;
    }
}

template <int stride>
void repeatGray(const std::uint8_t* values, std::int64_t n, std::uint8_t* out) {
    for (std::int64_t x = 0; x < n; ++x) {
        std::uint8_t* p = out + x * stride;
        p[0] = p[1] = p[2] = values[x];
        if constexpr (stride == 4) p[3] = 255;
    }
}

}  // namespace

void grayRow(const ImagePayload& image, std::int64_t y, std::uint8_t* out) {
    const std::int64_t n = image.sizeX;
    switch (image.kind) {
        case VoxelKind::imageGray: std::memcpy(out, planeRow<std::uint8_t>(image, 0, y), n); break;
        case VoxelKind::imageFullgray: {
            const std::uint16_t* in = planeRow<std::uint16_t>(image, 0, y);
            for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>(in[x] >> 8);
            break;
        }
        case VoxelKind::imageRgb:
        case VoxelKind::imageRgba:
        case VoxelKind::imageZrgb: {
            const std::uint8_t* r = planeRow<std::uint8_t>(image, 0, y);
            const std::uint8_t* g = planeRow<std::uint8_t>(image, 1, y);
            const std::uint8_t* b = planeRow<std::uint8_t>(image, 2, y);
            for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>((r[x] + g[x] + b[x]) / 3);
            break;
        }
        default: std::memset(out, 0, n); break;
    }
}

void interleaveRow(const ImagePayload& image, std::int64_t y, PixelLayout layout, std::uint8_t* out) {
    const std::int64_t n = image.sizeX;
    if (isGrayImageKind(image.kind)) {
        // The gray row goes to the end of the buffer first, so no second buffer is needed.
        std::uint8_t* values = out + n * (layoutBytes(layout) - 1);
        grayRow(image, y, values);
        if (layoutBytes(layout) == 4) {
            repeatGray<4>(values, n, out);
        } else {
            repeatGray<3>(values, n, out);
        }
        return;
    }
    const std::uint8_t* r = planeRow<std::uint8_t>(image, 0, y);
    const std::uint8_t* g = planeRow<std::uint8_t>(image, 1, y);
    const std::uint8_t* b = planeRow<std::uint8_t>(image, 2, y);
    const std::uint8_t* a = layout == PixelLayout::rgba && image.kind == VoxelKind::imageRgba
                                ? planeRow<std::uint8_t>(image, 3, y)
                                : nullptr;
    switch (layout) {
        case PixelLayout::rgb: joinThree(r, g, b, n, out); break;
        case PixelLayout::bgr: joinThree(b, g, r, n, out); break;
        case PixelLayout::rgba:
        case PixelLayout::rgbOpaque:
            if (a != nullptr) {
                joinFour(r, g, b, a, n, out);
            } else {
                joinOpaque(r, g, b, n, out);
            }
            break;
    }
}

void reportNoRowBuffer() {
    writeLine("  Wrong static allocation (Out of memory?)! Create empty field.");  // the tracked array's line
}

bool imageToSave(const ImageField& image) {
    if (!hasPayload(image)) {
        writeLine("Unknown imagefield!");
        return false;
    }
    const ImagePayload& p = *image.payload;
    return p.sizeX > 0 && p.sizeY > 0 && p.planes[0].isAllocated();
}

}  // namespace corvane
