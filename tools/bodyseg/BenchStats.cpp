#include "BenchStats.h"

#include <algorithm>
#include <numeric>

namespace bodyseg {

namespace {

// `sorted` is not empty. The rank is computed in whole numbers: ceil(percent * n / 100).
double nearestRank(const std::vector<double>& sorted, size_t percent) {
    const size_t rank = (percent * sorted.size() + 99) / 100;
    return sorted[std::max<size_t>(rank, 1) - 1];
}

}  // namespace

Summary summarize(std::vector<double> samples) {
    Summary summary;
    summary.count = samples.size();
    if (samples.empty())
        return summary;
    std::sort(samples.begin(), samples.end());
    const size_t middle = samples.size() / 2;
    summary.median =
        samples.size() % 2 == 1 ? samples[middle] : (samples[middle - 1] + samples[middle]) / 2;
    summary.p90 = nearestRank(samples, 90);
    summary.p99 = nearestRank(samples, 99);
    summary.total = std::accumulate(samples.begin(), samples.end(), 0.0);
    return summary;
}

}  // namespace bodyseg
