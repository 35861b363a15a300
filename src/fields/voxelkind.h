// Voxel kinds: one enumeration for every family, with the fixed codes that
// bit-level commands store, dumps print and file readers test.
#pragma once

#include <cstdint>

namespace corvane {

enum class VoxelKind : std::uint8_t {
    none = 0,
    vectorFloat = 88,  // also the tensor float kind
    vectorNat = 89,    // also the tensor nat kind
    imageGray = 145,
    imageFullgray = 146,
    scalarMono = 149,
    scalarGray = 150,
    scalarFullgray = 151,
    imageRgb = 161,
    imageRgba = 162,
    imageZrgb = 165,
    vectorRgb = 170,
};

enum class FieldFamily : std::uint8_t { image, scalar, vector, tensor };

// Whether the family admits the kind.
bool familyAdmits(FieldFamily family, VoxelKind kind);

// The default kinds at start and after clear, clean and new.
constexpr VoxelKind startImageKind = VoxelKind::imageFullgray;
constexpr VoxelKind startScalarKind = VoxelKind::scalarFullgray;
constexpr VoxelKind startVectorKind = VoxelKind::vectorFloat;
constexpr VoxelKind startTensorKind = VoxelKind::vectorFloat;

// The kind each family gives a field it creates; the bit-level commands
// change it, and it never converts a field that exists.
struct DefaultKinds {
    VoxelKind image = startImageKind;
    VoxelKind scalar = startScalarKind;
    VoxelKind vector = startVectorKind;
    VoxelKind tensor = startTensorKind;

    VoxelKind of(FieldFamily family) const;
};
extern DefaultKinds defaultKinds;

}  // namespace corvane
