// Console output as usual, plus a closing table: every measured case beside its bare-library
// reference from the same run, as a ratio of median real times.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace funcbench {

struct Comparison {
    std::string label;      // row title
    std::string measured;   // benchmark name of the code under test
    std::string reference;  // benchmark name of the bare library calls
    std::string baseline;   // benchmark name of a plain memcpy of the same data
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override;
    // Prints the table; rows whose benchmarks were filtered out are skipped. The titles name the
    // measured and the reference columns.
    void printTable(const std::vector<Comparison>& rows, const char* measuredTitle = "function",
                    const char* referenceTitle = "bare libyuv") const;

  private:
    double median(const std::string& name) const;

    std::map<std::string, std::vector<double>> times_;  // microseconds per repetition
};

}  // namespace funcbench
