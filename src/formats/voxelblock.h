// The voxel block reader that every raw volume format ends in: a stored
// voxel type (the source code), a stack of whole volumes in a file or gzip
// stream, and the conversion of each stored value into the field's kind,
// with the load filter and the load scale of scalar fields.
#pragma once

#include <cstdint>

#include "fields/fieldrecords.h"
#include "formats/volumestreams.h"
#include "foundation/text.h"

namespace corvane {

// How a stored voxel looks: the sign says signed integers, the thousands
// say float (1), colour (2) or 16-bit colour (3); the rest over 8 is the
// byte size.
namespace sourcecode {
constexpr int grey = 8, signedGrey = -8, fullgrey = 16, signedFullgrey = -16;
constexpr int grey32 = 32, signedGrey32 = -32, grey64 = 64, signedGrey64 = -64;
constexpr int float32 = 1032, float64 = 1064, float80 = 1080;
constexpr int rgb = 2024, rgba = 2032, fullRgb = 3024, fullRgba = 3032;
}  // namespace sourcecode

// Bytes of one stored voxel: (|code| mod 1000) / 8, doubled for the 16-bit
// colours, whose code counts one byte a channel.
std::int64_t sourceBytes(int code);
// The name messages use: "Grey", "-Fullgrey", "32Float", "RGBA", ...; empty
// for an unknown code.
const char* sourceName(int code);
bool isFloatSource(int code);
bool isColourSource(int code);

// One block read: where it is and how it looks.
struct VoxelBlock {
    VolumeInput* input = nullptr;
    Text name;                  // for the progress line
    std::int64_t offset = 0;    // of the first stack
    std::int64_t stack = 1;     // from 1
    bool swapped = false;
    int code = sourcecode::grey;
    std::int64_t sizeX = 0, sizeY = 0, sizeZ = 0;
    float calMin = 0, calMax = 0;  // range of float data; 0 and 0 when unknown
};

// Makes the field anew in `kind` at the block's size (divided by the field's
// load scale when one is set) and fills it from the stream, through the
// field's load filter. The gzip form skips the file size test. Failures
// print their line and leave an empty or zero field, as the format wants.
void readScalarBlock(ScalarField& field, VoxelKind kind, const VoxelBlock& block);
// Three component volumes; colour sources give interleaved voxels in an
// rgb field whatever `kind` says.
void readVectorBlock(VectorField& field, VoxelKind kind, const VoxelBlock& block);
// Six component volumes in the order xx, xy, yy, xz, yz, zz.
void readTensorBlock(TensorField& field, VoxelKind kind, const VoxelBlock& block);

}  // namespace corvane
