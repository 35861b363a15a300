// The PNM family: the token reader and the loader of P1 to P6 with their
// 16-bit forms, plain or gzip; the PGM, PBM, PPM and PAM writers, plain or
// gzip.
#pragma once

#include <cstdint>

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Loads into the image's own kind; every failure leaves it empty with the
// file name, after its message.
void loadPnm(ImageField& image, const Text& fileName, bool gzip);

// Writers; each adds its extension when the name has none of its spellings.
// 16-bit PGM samples go out in the order held in memory.
bool savePgm(const ImageField& image, const Text& fileName, bool gzip);
bool savePbm(const ImageField& image, const Text& fileName, bool gzip);
bool savePpm(const ImageField& image, const Text& fileName, bool gzip);
bool savePam(const ImageField& image, const Text& fileName, bool gzip);

// The bytes of a PBM raster as the writer sizes it: width * height div 8,
// or (width + 1) * height div 8 when (width - 1) mod 8 is not 0.
std::int64_t pbmRasterBytes(std::int64_t width, std::int64_t height);

}  // namespace corvane
