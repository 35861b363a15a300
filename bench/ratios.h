// Pairs each benchmark with a reference run of the same machine and run, so
// that the report ends with ratios instead of bare times.
#pragma once

#include <string>
#include <vector>

struct BenchRatio {
    std::string subject;    // benchmark name as reported
    std::string reference;  // the peer it is compared with
};

std::vector<BenchRatio>& benchRatios();

// Registers a ratio at static initialisation: `static int r = addBenchRatio(...)`.
int addBenchRatio(const std::string& subject, const std::string& reference);
