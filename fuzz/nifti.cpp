// Arbitrary bytes as a NIfTI volume: the one-file form, the same bytes as a
// gzip stream, and split into a .hdr and .img pair, loaded into every kind
// of every family, then saved again and dumped. Nothing may crash or hang.
// Headers that ask for more than a few million voxels are skipped: their
// allocation fails or succeeds as the machine decides, which the unit tests
// cover, and the fuzzer would count a large one as a leak of memory.
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "formats/nifti.h"
#include "foundation/console.h"

using namespace corvane;

namespace {

const std::string base = "/tmp/corvane-fuzz-nifti-" + std::to_string(::getpid());

void removeFiles() {
    for (const char* extension : {".nii", ".nii.gz", ".hdr", ".img", ".out.nii"}) std::remove((base + extension).c_str());
}

bool writeFile(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

bool writeGzip(const std::string& path, const std::uint8_t* data, std::size_t size) {
    gzFile file = gzopen(path.c_str(), "wb1");
    if (!file) return false;
    const bool written = size == 0 || gzwrite(file, data, static_cast<unsigned>(size)) == static_cast<int>(size);
    return gzclose(file) == Z_OK && written;
}

// Voxels a load of this header could allocate, over every stack and term.
bool modestSize(const std::uint8_t* data, std::size_t size) {
    if (size < niftiHeaderBytes) return true;
    NiftiHeaderBlock block;
    std::copy(data, data + niftiHeaderBytes, block.begin());
    for (bool swapped : {false, true}) {
        const NiftiHeader header = decodeNiftiHeader(block, swapped);
        double voxels = 1;
        for (int d = 1; d <= 4; ++d) voxels *= std::max(1, std::abs(int{header.dim[d]}));
        if (voxels * 6 > 4.0e6) return false;
    }
    return true;
}

template <class Field>
void loadEveryKind(std::initializer_list<VoxelKind> kinds, const std::string& path, bool gzip) {
    for (VoxelKind kind : kinds) {
        for (std::int64_t stack : {1, -1, 2}) {
            Field field;
            loadNifti(field, kind, Text(path), stack, gzip);
        }
    }
}

void loadAll(const std::string& path, bool gzip) {
    loadEveryKind<ScalarField>({VoxelKind::scalarMono, VoxelKind::scalarGray, VoxelKind::scalarFullgray}, path, gzip);
    loadEveryKind<VectorField>({VoxelKind::vectorFloat, VoxelKind::vectorNat, VoxelKind::vectorRgb}, path, gzip);
    loadEveryKind<TensorField>({VoxelKind::vectorFloat, VoxelKind::vectorNat}, path, gzip);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        outputSettings.consoleActive = false;
        return std::atexit(removeFiles) == 0;
    }();
    (void)ready;
    if (!modestSize(data, size)) return 0;
    if (writeFile(base + ".nii", data, size)) loadAll(base + ".nii", false);
    if (writeGzip(base + ".nii.gz", data, size)) loadAll(base + ".nii.gz", true);
    const std::size_t headerPart = std::min(size, niftiHeaderBytes);
    if (writeFile(base + ".hdr", data, headerPart) && writeFile(base + ".img", data + headerPart, size - headerPart)) {
        loadAll(base + ".hdr", false);
    }
    ScalarField field;
    loadNifti(field, VoxelKind::scalarFullgray, Text(base + ".nii"), 1, false);
    saveNifti(field, Text(base + ".out.nii"), "nii");
    if (size >= niftiHeaderBytes) {
        NiftiHeaderBlock block;
        std::copy(data, data + niftiHeaderBytes, block.begin());
        niftiHeaderDump(decodeNiftiHeader(block, true));
    }
    return 0;
}
