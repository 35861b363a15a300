// Arbitrary bytes as an RGB file, and as raw pixels with a header length
// and size taken from the first bytes, into every image kind: no crash, no
// hang, and a whole or an empty image.
#include "formats/rgbfile.h"
#include "imageinput.h"

using namespace imagefuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!writeInput(data, size, ".in")) return 0;
    // Header length, width and height for the raw loader: signed bytes, so
    // that negative values come up too, scaled to reach beyond the file.
    const auto pick = [&](std::size_t i) -> std::int64_t {
        return i < size ? static_cast<std::int8_t>(data[i]) * (i == 0 ? 1 : 3) : 0;
    };
    for (VoxelKind kind : loadKinds) {
        ImageField image;
        newField(image, kind);
        loadRgbFile(image, Text(base() + ".in"));
        checkLoaded(image, kind, base() + ".in");
        newField(image, kind);
        loadRawRgb(image, Text(base() + ".in"), pick(0), pick(1), pick(2));
        checkLoaded(image, kind, base() + ".in");
    }
    return 0;
}
