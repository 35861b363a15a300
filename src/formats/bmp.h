// BMP: the loader of uncompressed 1, 4, 8 and 24-bit files with any of the
// five header sizes, and the 24-bit writer.
#pragma once

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Loads into the image's own kind; every failure leaves it empty with the
// file name, after its message.
void loadBmp(ImageField& image, const Text& fileName);
// 24 bits, rows bottom up; adds ".bmp" unless the name ends in bmp or dib.
bool saveBmp(const ImageField& image, const Text& fileName);

}  // namespace corvane
