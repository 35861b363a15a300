// The RGB file: an 8-byte header and raw 16, 24 or 32-bit pixels whose
// width the file size tells; its loader, the raw loader without header, and
// its writer.
#pragma once

#include <cstdint>

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Load into an rgb or rgba image; gray kinds report "gray <> RGB-file" or
// "fullgray <> RGB-file". Every failure leaves the image empty with the
// file name, after its message.
void loadRgbFile(ImageField& image, const Text& fileName);
// The same layouts behind `headerBytes` skipped bytes, at a given size.
void loadRawRgb(ImageField& image, const Text& fileName, std::int64_t headerBytes, std::int64_t width,
                std::int64_t height);

// Four bytes a pixel, alpha always 255; adds ".rgb" unless the name ends in it.
bool saveRgbFile(const ImageField& image, const Text& fileName);

}  // namespace corvane
