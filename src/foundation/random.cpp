// Process-wide random source.
#include "foundation/random.h"

#include <cstdlib>

namespace corvane {

std::mt19937_64& randomSource() {
    static std::mt19937_64 source = [] {
        const char* seed = std::getenv("CORVANE_SEED");
        return std::mt19937_64(seed ? std::strtoull(seed, nullptr, 10) : std::random_device()());
    }();
    return source;
}

void seedRandom(std::uint64_t seed) { randomSource().seed(seed); }

double randomReal() { return std::uniform_real_distribution<double>(0.0, 1.0)(randomSource()); }

std::int64_t randomBelow(std::int64_t count) {
    if (count < 1) return 0;
    return std::uniform_int_distribution<std::int64_t>(0, count - 1)(randomSource());
}

}  // namespace corvane
