// Arbitrary bytes as a BMP file into every image kind: no crash, no hang,
// and a whole or an empty image.
#include "formats/bmp.h"
#include "imageinput.h"

using namespace imagefuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!writeInput(data, size, ".in")) return 0;
    for (VoxelKind kind : loadKinds) {
        ImageField image;
        newField(image, kind);
        loadBmp(image, Text(base() + ".in"));
        checkLoaded(image, kind, base() + ".in");
    }
    return 0;
}
