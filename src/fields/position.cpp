#include "fields/position.h"

#include "foundation/numbers.h"

namespace corvane {

std::int64_t positionIndex(double p, std::int64_t n) {
    const double span = static_cast<double>(n - 1);
    std::int64_t index;
    if (p == 0) {
        index = roundReal(span * 0.5) + 1;
    } else if (p > 0 && p < 1) {
        index = roundReal(span * p) + 1;
    } else if (p >= 1) {
        index = roundReal(p);
    } else if (p > -1) {
        index = roundReal(span * (p + 1)) + 1;
    } else {
        index = roundReal(p + 1 + static_cast<double>(n));
    }
    return index >= 1 && index <= n ? index : n / 2;
}

}  // namespace corvane
