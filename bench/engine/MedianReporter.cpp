#include "MedianReporter.h"

#include <algorithm>
#include <cstdio>

namespace enginebench {

void MedianReporter::ReportRuns(const std::vector<Run>& runs) {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
            // Adjusted times are in the run's unit; the benchmarks all report microseconds.
            times_[run.run_name.str()].push_back(run.GetAdjustedRealTime());
        }
    }
}

double MedianReporter::median(const std::string& name) const {
    const auto found = times_.find(name);
    if (found == times_.end() || found->second.empty()) {
        return -1.0;
    }
    std::vector<double> sorted = found->second;
    std::sort(sorted.begin(), sorted.end());
    const size_t n = sorted.size();
    return n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2.0;
}

void MedianReporter::printRatios(const std::vector<std::vector<std::string>>& rows) const {
    std::printf("\n%-40s %12s %12s %8s\n", "model (median real time, us)", "engine", "xnnpack",
                "ratio");
    for (const auto& row : rows) {
        const double engine = median(row[1]);
        const double bare = median(row[2]);
        if (engine < 0 || bare <= 0) {
            continue;
        }
        std::printf("%-40s %12.1f %12.1f %8.3f\n", row[0].c_str(), engine, bare, engine / bare);
    }
}

}  // namespace enginebench
