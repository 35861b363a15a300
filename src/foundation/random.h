// The one process-wide random source. A fixed seed makes runs repeatable;
// the environment variable CORVANE_SEED sets one at start.
#pragma once

#include <cstdint>
#include <random>

namespace corvane {

std::mt19937_64& randomSource();
void seedRandom(std::uint64_t seed);
// A real r with 0 <= r < 1.
double randomReal();
// An integer in 0 .. count - 1; 0 when count is below 1.
std::int64_t randomBelow(std::int64_t count);

}  // namespace corvane
