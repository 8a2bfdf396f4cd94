#include "RatioReporter.h"

#include <algorithm>
#include <cstdio>

namespace funcbench {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
            times_[run.run_name.str()].push_back(run.GetAdjustedRealTime());
        }
    }
}

double RatioReporter::median(const std::string& name) const {
    const auto found = times_.find(name);
    if (found == times_.end() || found->second.empty())
        return -1.0;
    std::vector<double> sorted = found->second;
    std::sort(sorted.begin(), sorted.end());
    const size_t n = sorted.size();
    return n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2.0;
}

void RatioReporter::printTable(const std::vector<Comparison>& rows, const char* measuredTitle,
                               const char* referenceTitle) const {
    std::printf("\n%-34s %12s %12s %8s %12s\n", "case (median real time, us)", measuredTitle,
                referenceTitle, "ratio", "memcpy");
    for (const Comparison& row : rows) {
        const double measured = median(row.measured);
        const double reference = median(row.reference);
        const double baseline = median(row.baseline);
        if (measured < 0 || reference <= 0)
            continue;
        std::printf("%-34s %12.1f %12.1f %8.3f ", row.label.c_str(), measured, reference,
                    measured / reference);
        if (baseline < 0) {
            std::printf("%12s\n", "-");
        } else {
            std::printf("%12.1f\n", baseline);
        }
    }
}

}  // namespace funcbench
