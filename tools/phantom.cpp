// phantom <file> <x> <y> <z>: writes a fullgray head phantom, nested
// ellipsoids with a little seeded noise, so that demos and benchmarks have
// a scan-like volume that compresses as real data does.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fields/fieldrecords.h"
#include "formats/nifti.h"
#include "foundation/console.h"
#include "foundation/paths.h"

using namespace corvane;

namespace {

// Tissue by normalised radius: background, skin, bone, grey and white matter.
std::uint16_t tissue(double radius) {
    if (radius > 1.0) return 0;
    if (radius > 0.93) return 900;
    if (radius > 0.85) return 2600;
    if (radius > 0.6) return 1500;
    return 1100;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: phantom <file.nii|.nii.gz|.hdr> <x> <y> <z>\n");
        return 2;
    }
    outputSettings.consoleActive = false;  // a tool: no progress lines
    const std::int64_t sizeX = std::atoll(argv[2]), sizeY = std::atoll(argv[3]), sizeZ = std::atoll(argv[4]);
    ScalarField field;
    newField(field, VoxelKind::scalarFullgray, sizeX, sizeY, sizeZ);
    if (fieldSize(field).x == 0) return 1;
    // 1 x 1 x 1.25 mm voxels, centred on the origin; binary fractions stay exact in the header.
    field.geometry.matrix = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1.25}}};
    field.geometry.offset = {-0.5 * sizeX, -0.5 * sizeY, -0.625 * sizeZ};
    std::uint32_t noise = 12345;
    for (std::int64_t z = 1; z <= sizeZ; ++z) {
        for (std::int64_t y = 1; y <= sizeY; ++y) {
            std::uint16_t* row = field.payload->row<std::uint16_t>(y, z);
            for (std::int64_t x = 1; x <= sizeX; ++x) {
                const double dx = (x - 0.5 * sizeX) / (0.42 * sizeX);
                const double dy = (y - 0.5 * sizeY) / (0.47 * sizeY);
                const double dz = (z - 0.5 * sizeZ) / (0.45 * sizeZ);
                const std::uint16_t value = tissue(dx * dx + dy * dy + dz * dz);
                noise = noise * 1664525u + 1013904223u;
                row[x - 1] = value == 0 ? 0 : static_cast<std::uint16_t>(value + (noise >> 28));
            }
        }
    }
    const Text name(argv[1]);
    saveNifti(field, name, formatExtension(name));
    return 0;
}
