#include "fields/voxelkind.h"

namespace corvane {

DefaultKinds defaultKinds;

bool familyAdmits(FieldFamily family, VoxelKind kind) {
    switch (family) {
        case FieldFamily::image:
            return kind == VoxelKind::imageGray || kind == VoxelKind::imageFullgray || kind == VoxelKind::imageRgb ||
                   kind == VoxelKind::imageRgba || kind == VoxelKind::imageZrgb;
        case FieldFamily::scalar:
            return kind == VoxelKind::scalarMono || kind == VoxelKind::scalarGray || kind == VoxelKind::scalarFullgray;
        case FieldFamily::vector:
            return kind == VoxelKind::vectorFloat || kind == VoxelKind::vectorNat || kind == VoxelKind::vectorRgb;
        case FieldFamily::tensor:
            return kind == VoxelKind::vectorFloat || kind == VoxelKind::vectorNat;
    }
    return false;
}

VoxelKind DefaultKinds::of(FieldFamily family) const {
    switch (family) {
        case FieldFamily::image: return image;
        case FieldFamily::scalar: return scalar;
        case FieldFamily::vector: return vector;
        case FieldFamily::tensor: return tensor;
    }
    return VoxelKind::none;
}

}  // namespace corvane
