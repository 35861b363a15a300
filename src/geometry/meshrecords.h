// Mesh and line cloud records as the workspace lists hold them: for now the
// members the list dumps count; the geometry commands fill them in.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/vectors.h"

namespace corvane {

struct Mesh {
    std::vector<Vector3> points;
    std::vector<IntVector3> faces;  // 1-based point indices
    std::vector<Vector3> normals;
};

struct LineCloud {
    std::vector<Vector3> points;
    std::vector<std::int64_t> lines;    // first point of each line
    std::vector<std::int64_t> objects;  // first line of each object
};

}  // namespace corvane
