// IMGF: the loader of the 28-byte header format with 8 or 16-bit gray data.
#pragma once

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

// Loads into a gray or fullgray image; colour kinds report
// "rgb <> IMGF-file" or "rgba <> IMGF-file". Every failure leaves the image
// empty with the file name, after its message.
void loadImgf(ImageField& image, const Text& fileName);

}  // namespace corvane
