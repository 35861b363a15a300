// Runs the micro-benchmarks, then prints each registered ratio against its reference.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

#include "ratios.h"

std::vector<BenchRatio>& benchRatios() {
    static std::vector<BenchRatio> ratios;
    return ratios;
}

int addBenchRatio(const std::string& subject, const std::string& reference) {
    benchRatios().push_back({subject, reference});
    return 0;
}

namespace {

// The console report as usual, keeping the time per iteration of each run.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                nanoseconds[run.benchmark_name()] = run.GetAdjustedRealTime() * toNanoseconds(run.time_unit);
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> nanoseconds;

private:
    static double toNanoseconds(benchmark::TimeUnit unit) {
        switch (unit) {
            case benchmark::kSecond: return 1e9;
            case benchmark::kMillisecond: return 1e6;
            case benchmark::kMicrosecond: return 1e3;
            default: return 1;
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n%-36s %-28s %12s %12s %8s\n", "subject", "reference", "subject ns", "reference ns", "ratio");
    for (const BenchRatio& ratio : benchRatios()) {
        const auto subject = reporter.nanoseconds.find(ratio.subject);
        const auto reference = reporter.nanoseconds.find(ratio.reference);
        if (subject == reporter.nanoseconds.end() || reference == reporter.nanoseconds.end()) continue;
        std::printf("%-36s %-28s %12.1f %12.1f %8.2f\n", ratio.subject.c_str(), ratio.reference.c_str(),
                    subject->second, reference->second, subject->second / reference->second);
    }
    benchmark::Shutdown();
    return 0;
}
