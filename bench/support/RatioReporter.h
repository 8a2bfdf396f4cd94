// Console output as usual, then a closing table: each measured benchmark beside the bare calls it
// wraps, measured in the same run, as the ratio of their median real times. Medians are taken over
// the repetitions, or read from the median aggregate when only aggregates are reported.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace benchsupport {

struct Comparison {
    std::string label;      // row title
    std::string measured;   // benchmark name of the code under test
    std::string reference;  // benchmark name of the bare calls it wraps
    std::string floor;      // optional: benchmark name of a plain copy of the same data
    // Optional: further benchmarks whose times add to the reference's, when the bare calls are
    // measured piece by piece.
    std::vector<std::string> moreReferences = {};
};

struct Headings {
    std::string title;  // over the row titles, with the unit
    std::string measured;
    std::string reference;
    std::string floor;  // empty: the table has no floor column
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override;

    // Real time per iteration in the benchmark's unit; negative when it was not measured.
    double median(const std::string& name) const;
    // Negative when the benchmark was not measured or counts no items.
    double itemsPerSecond(const std::string& name) const;

    // Rows whose benchmarks were filtered out are left out.
    void printTable(const Headings& headings, const std::vector<Comparison>& rows) const;

  private:
    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, std::vector<double>> rates_;
    std::map<std::string, double> reportedTimes_;  // from median aggregates
    std::map<std::string, double> reportedRates_;
};

// Google Benchmark's main with the closing table: runs what the command line selects, then prints
// the table. Returns the program's exit status, 1 for an argument the library does not know.
int runWithTable(int argc, char** argv, const Headings& headings,
                 const std::vector<Comparison>& rows);

}  // namespace benchsupport
