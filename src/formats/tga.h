// TGA: the writer of uncompressed 24-bit true colour files.
#pragma once

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Rows bottom up in b, g, r; adds ".tga" unless the name ends in it.
bool saveTga(const ImageField& image, const Text& fileName);

}  // namespace corvane
