// Console output as usual, then a table of engine against bare XNNPACK: median real time of
// each pair of benchmarks from the same run, and their ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace enginebench {

class MedianReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override;
    // Rows are (label, engine benchmark, bare XNNPACK benchmark); unmeasured rows are skipped.
    void printRatios(const std::vector<std::vector<std::string>>& rows) const;

  private:
    double median(const std::string& name) const;

    std::map<std::string, std::vector<double>> times_;  // microseconds per repetition
};

}  // namespace enginebench
