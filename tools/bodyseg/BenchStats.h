// Order statistics of a sample of times. Percentiles are nearest-rank (the smallest sample with
// at least p% of the samples at or below it), so every reported value was actually measured; the
// median of an even count is the mean of the two middle samples.
#pragma once

#include <stddef.h>

#include <vector>

namespace bodyseg {

struct Summary {
    size_t count = 0;
    double median = 0;
    double p90 = 0;
    double p99 = 0;
    double total = 0;
};

Summary summarize(std::vector<double> samples);

}  // namespace bodyseg
