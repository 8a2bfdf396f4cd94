#include "RatioReporter.h"

#include <algorithm>
#include <cstdio>

namespace benchsupport {

namespace {

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

double lookUp(const std::map<std::string, double>& reported,
              const std::map<std::string, std::vector<double>>& kept, const std::string& name) {
    const auto aggregate = reported.find(name);
    if (aggregate != reported.end())
        return aggregate->second;
    const auto found = kept.find(name);
    return found == kept.end() || found->second.empty() ? -1.0 : medianOf(found->second);
}

}  // namespace

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.error_occurred)
            continue;
        const std::string name = run.run_name.str();
        const auto items = run.counters.find("items_per_second");
        if (run.run_type == Run::RT_Iteration) {
            times_[name].push_back(run.GetAdjustedRealTime());
            if (items != run.counters.end())
                rates_[name].push_back(items->second);
        } else if (run.aggregate_name == "median") {
            reportedTimes_[name] = run.GetAdjustedRealTime();
            if (items != run.counters.end())
                reportedRates_[name] = items->second;
        }
    }
}

double RatioReporter::median(const std::string& name) const {
    return lookUp(reportedTimes_, times_, name);
}

double RatioReporter::itemsPerSecond(const std::string& name) const {
    return lookUp(reportedRates_, rates_, name);
}

void RatioReporter::printTable(const Headings& headings,
                               const std::vector<Comparison>& rows) const {
    int width = static_cast<int>(headings.title.size());
    for (const Comparison& row : rows)
        width = std::max(width, static_cast<int>(row.label.size()));
    std::printf("\n%-*s %12s %12s %8s", width, headings.title.c_str(), headings.measured.c_str(),
                headings.reference.c_str(), "ratio");
    if (!headings.floor.empty())
        std::printf(" %12s", headings.floor.c_str());
    std::printf("\n");
    for (const Comparison& row : rows) {
        const double measured = median(row.measured);
        double reference = median(row.reference);
        bool complete = reference > 0;
        for (const std::string& piece : row.moreReferences) {
            const double time = median(piece);
            complete = complete && time >= 0;
            reference += time;
        }
        if (measured < 0 || !complete)
            continue;
        std::printf("%-*s %12.2f %12.2f %8.3f", width, row.label.c_str(), measured, reference,
                    measured / reference);
        if (!headings.floor.empty()) {
            const double floor = median(row.floor);
            if (floor < 0) {
                std::printf(" %12s", "-");
            } else {
                std::printf(" %12.2f", floor);
            }
        }
        std::printf("\n");
    }
}

int runWithTable(int argc, char** argv, const Headings& headings,
                 const std::vector<Comparison>& rows) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable(headings, rows);
    benchmark::Shutdown();
    return 0;
}

}  // namespace benchsupport
