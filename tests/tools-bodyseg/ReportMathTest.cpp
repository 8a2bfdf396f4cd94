// The numbers bodyseg reports: order statistics of a bench sample, and stage times read back from
// the plug-in's stopwatch lines.
#include <gtest/gtest.h>

#include "BenchStats.h"
#include "StageTimes.h"

namespace {

struct SummaryCase {
    std::vector<double> samples;
    double median;
    double p90;
    double p99;
};

class Summaries : public ::testing::TestWithParam<SummaryCase> {};

TEST_P(Summaries, AreMedianAndNearestRankPercentiles) {
    const SummaryCase expected = GetParam();
    const bodyseg::Summary summary = bodyseg::summarize(expected.samples);
    EXPECT_EQ(summary.count, expected.samples.size());
    EXPECT_DOUBLE_EQ(summary.median, expected.median);
    EXPECT_DOUBLE_EQ(summary.p90, expected.p90);
    EXPECT_DOUBLE_EQ(summary.p99, expected.p99);
}

std::vector<double> oneToN(int n) {
    std::vector<double> values;
    for (int i = n; i >= 1; --i)
        values.push_back(i);  // unsorted on purpose
    return values;
}

INSTANTIATE_TEST_SUITE_P(Samples, Summaries,
                         ::testing::Values(SummaryCase{{7}, 7, 7, 7}, SummaryCase{{3, 1}, 2, 3, 3},
                                           SummaryCase{{5, 1, 3}, 3, 5, 5},
                                           SummaryCase{oneToN(10), 5.5, 9, 10},
                                           SummaryCase{oneToN(100), 50.5, 90, 99},
                                           SummaryCase{oneToN(200), 100.5, 180, 198}));

TEST(Summaries, OfNothingAreZero) {
    const bodyseg::Summary summary = bodyseg::summarize({});
    EXPECT_EQ(summary.count, 0u);
    EXPECT_EQ(summary.total, 0.0);
}

bodyseg::LogLine debug(const std::string& text) {
    return {3, "beauty-sdk-body-detect", text};
}

TEST(StageTimes, AreReadFromTheStopwatchLines) {
    const std::string head = "[DEBUG] [KAVO] [Stopwatch.cpp] 27  time_end() ";
    const bodyseg::StageTimes times = bodyseg::stageTimesFrom({
        debug(head + "pre process bodysegment time = 12 ms"),
        debug("[INFO] [KAVO] [BodySegmentProcess.cpp] 110  processImageV1() InputDataType:2"),
        debug(head + "inference time = 345 ms"),
        debug(head + "post process bodysegment time = 0 ms"),
        debug(head + "lable redistribute time = 1 ms"),
        debug(head + "release time = 9 ms"),
    });
    EXPECT_TRUE(times.complete());
    EXPECT_EQ(times.ms[bodyseg::kPreProcess], 12);
    EXPECT_EQ(times.ms[bodyseg::kInference], 345);
    EXPECT_EQ(times.ms[bodyseg::kPostProcess], 0);
    EXPECT_EQ(times.ms[bodyseg::kLabelShift], 1);
}

TEST(StageTimes, IgnoreLinesThatOnlyLookAlike) {
    const std::string head = "[DEBUG] [KAVO] [Stopwatch.cpp] 27  time_end() ";
    const bodyseg::StageTimes times = bodyseg::stageTimesFrom({
        debug(head + "inference time = 12 s"),
        debug(head + "inference time = twelve ms"),
        debug(head + "inference time = -1 ms"),
        debug("inference time = 5 ms"),
        debug(head + "label redistribute time = 1 ms"),
    });
    EXPECT_FALSE(times.complete());
    EXPECT_FALSE(times.found[bodyseg::kInference]);
    EXPECT_FALSE(times.found[bodyseg::kLabelShift]);
}

}  // namespace
