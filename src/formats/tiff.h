// TIFF: the writer of one uncompressed little-endian strip with a fixed
// directory of 13 tags.
#pragma once

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// 8-bit gray, 16-bit fullgray or 8-bit rgb (rgba and zrgb give their
// colour planes); adds ".tif" unless the name ends in tif or tiff.
bool saveTiff(const ImageField& image, const Text& fileName);

}  // namespace corvane
