// Positions on one axis as users give them: 0 the centre, a fraction of the
// size, an absolute index, or the same counted from the end.
#pragma once

#include <cstdint>

namespace corvane {

// The 1-based index that parameter p means on an axis of n voxels; an index
// outside 1..n becomes n / 2.
std::int64_t positionIndex(double p, std::int64_t n);

}  // namespace corvane
