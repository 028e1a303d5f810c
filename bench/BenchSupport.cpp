#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace bench {
namespace {

// Keeps the time per iteration of each benchmark: its median when repeated.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // "Export/100000" for a benchmark with an argument.
            const std::string name = run.run_name.function_name +
                                     (run.run_name.args.empty() ? std::string() : "/" + run.run_name.args);
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            // Processor time where the benchmark measures its own process: on a busy
            // machine it moves far less than the time on the clock. Benchmarks that time
            // other processes or waits say so (real or manual time).
            const bool ownProcessor = run.run_name.time_type.empty();
            if (median || (run.run_type == Run::RT_Iteration && !times.count(name)))
                times[name] = ownProcessor ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
        }
    }
    std::map<std::string, double> times;
};

}  // namespace

int runWithRatios(int argc, char** argv, const std::vector<std::pair<std::string, std::string>>& ratios) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::printf("\n");
    for (const auto& [measured, reference] : ratios) {
        const auto a = reporter.times.find(measured);
        const auto b = reporter.times.find(reference);
        if (a != reporter.times.end() && b != reporter.times.end() && b->second > 0)
            std::printf("ratio %-32s / %-32s = %6.2f\n", measured.c_str(), reference.c_str(), a->second / b->second);
    }
    return 0;
}

}  // namespace bench
