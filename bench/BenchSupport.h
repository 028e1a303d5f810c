// A benchmark main that also prints, after the usual table, how each measured
// operation compares with its reference: "ratio A / B" from the medians.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

// Pairs of benchmark names (measured, reference) whose median times are compared;
// a benchmark with an argument is named with it, "Export/100000".
int runWithRatios(int argc, char** argv, const std::vector<std::pair<std::string, std::string>>& ratios);

}  // namespace bench
