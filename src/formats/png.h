// PNG: the writer of our own, with stored deflate blocks and no compression
// library, and the check of a bit depth and colour type pair.
#pragma once

#include <cstdint>

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Images of 1,048,576 row bytes (filter bytes counted) or more take one
// IDAT chunk per row, so that no buffer of the whole image is needed.
constexpr std::int64_t pngSingleChunkLimit = 1048576;
// Stored deflate blocks hold at most this many bytes.
constexpr std::int64_t pngStoredBlockBytes = 8192;

// gray 8-bit gray, fullgray 16-bit gray, rgb (and zrgb) 8-bit rgb, rgba
// 8-bit rgb with alpha; adds ".png" unless the name ends in it.
bool savePng(const ImageField& image, const Text& fileName);

// Prints "Wrong png bit depth (...) in mode ...!" or "Wrong png mode (...)!"
// for a pair PNG does not define; true for a valid pair.
bool checkPngMode(int bitDepth, int colourType);

}  // namespace corvane
