// Shared by the image loader targets: the input as a file of its own, the
// console off, and the check that a loaded image is whole, or empty with
// the file name. The writers are left to the unit tests: every save syncs
// to the disk, which would slow the runs a hundredfold.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fields/fieldrecords.h"
#include "foundation/console.h"

namespace imagefuzz {

using namespace corvane;

inline const std::string& base() {
    // Memory-backed where there is such a place: every run writes its input.
    static const std::string directory = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    static const std::string path = directory + "/corvane-fuzz-image-" + std::to_string(::getpid());
    return path;
}

inline void removeFiles() {
    for (const char* suffix : {".in", ".in.gz"}) std::remove((base() + suffix).c_str());
}

// The bytes as base() + suffix; false when the file can't be written.
inline bool writeInput(const std::uint8_t* data, std::size_t size, const char* suffix) {
    static const bool once = [] {
        outputSettings.consoleActive = false;
        outputSettings.logActive = false;
        base();  // made before the exit handler is set, so it outlives it
        return std::atexit(removeFiles) == 0;
    }();
    (void)once;
    std::FILE* file = std::fopen((base() + suffix).c_str(), "wb");
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

// Sizes and planes agree, the kind stayed, the name is the file's.
inline void checkLoaded(const ImageField& image, VoxelKind kind, const std::string& name) {
    if (image.kind != kind || !hasPayload(image) || image.name.toText() != Text(name)) __builtin_trap();
    const ImagePayload& p = *image.payload;
    if (p.sizeX < 0 || p.sizeY < 0 || (p.sizeX == 0) != (p.sizeY == 0)) __builtin_trap();
    for (int c = 0; c < p.channels(); ++c) {
        if (p.sizeX > 0 && p.planes[c].count() != p.sizeX * p.sizeY) __builtin_trap();
    }
}

constexpr VoxelKind loadKinds[] = {VoxelKind::imageGray, VoxelKind::imageFullgray, VoxelKind::imageRgb,
                                   VoxelKind::imageRgba, VoxelKind::imageZrgb};

}  // namespace imagefuzz
