// Arbitrary bytes as a PNM file, plain and through the gzip reader, into
// every image kind: no crash, no hang, and a whole or an empty image.
#include "formats/pnm.h"
#include "imageinput.h"

using namespace imagefuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (bool gzip : {false, true}) {
        const char* suffix = gzip ? ".in.gz" : ".in";
        if (!writeInput(data, size, suffix)) return 0;
        for (VoxelKind kind : loadKinds) {
            ImageField image;
            newField(image, kind);
            loadPnm(image, Text(base() + suffix), gzip);
            checkLoaded(image, kind, base() + suffix);
        }
    }
    return 0;
}
