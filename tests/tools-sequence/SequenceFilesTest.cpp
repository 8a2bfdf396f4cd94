// bodyseg's host code without the plug-in, on inputs whose figures are known exactly: .y4m written
// and read back, the steadiness of masks with a known change and the bench's order statistics (the
// subprocess runs can only show these masked or all zero).
#include <gtest/gtest.h>

#include <array>

#include "BenchStats.h"
#include "PluginPaths.h"
#include "SequenceReader.h"
#include "Steadiness.h"
#include "Y4m.h"

namespace {

using namespace bodyseg;

TEST(SequenceFiles, Y4mWrittenThenReadGivesTheSameFrames) {
    const std::string path = testsupport::tempDir() + "/round.y4m";
    std::vector<I420> frames;
    Y4mWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(path, 4, 2, "25:1", &error)) << error;
    for (uint8_t k = 0; k < 3; ++k) {
        frames.emplace_back(4, 2);
        for (size_t i = 0; i < frames.back().bytes.size(); ++i)
            frames.back().bytes[i] = static_cast<uint8_t>(k * 20 + i);
        ASSERT_TRUE(writer.write(frames.back(), &error)) << error;
    }
    ASSERT_TRUE(writer.close(&error)) << error;

    SequenceReader reader;
    ASSERT_TRUE(reader.open(Input{path, "", InputKind::Y4m}, PixelFormat::NV12, 0, {}, &error))
        << error;
    ASSERT_EQ(reader.frameCount(), 3u);
    EXPECT_EQ(reader.frameRate(), "25:1");
    Frame frame;
    for (size_t k = 0; k < 3; ++k) {
        ASSERT_TRUE(reader.read(k, &frame, &error)) << error;
        I420& want = frames[k];
        std::vector<uint8_t> nv12(want.y(), want.y() + 8);
        for (int i = 0; i < 2; ++i)
            nv12.insert(nv12.end(), {want.u()[i], want.v()[i]});
        EXPECT_EQ(frame.bytes, nv12) << "frame " << k;
    }
}

TEST(SequenceFiles, SteadinessOfAKnownChange) {
    const uint8_t previous[8] = {0, 2, 2, 2, 0, 0, 0, 0};
    const uint8_t current[8] = {0, 0, 2, 2, 2, 1, 0, 0};
    const MaskChange change = compareMasks(previous, current, 8);
    EXPECT_DOUBLE_EQ(change.iou, 2.0 / 5);  // persons {1,2,3} and {2,3,4,5}
    EXPECT_DOUBLE_EQ(change.changedShare, 3.0 / 8);
    EXPECT_DOUBLE_EQ(compareMasks(previous + 4, current + 6, 2).iou, 1);  // no person at all
    EXPECT_DOUBLE_EQ(personShare(current, 8), 4.0 / 8);

    const SteadinessSummary summary =
        summarizeSteadiness({{1, 0}, change, {0.5, 0.25}, {0.4, 0.5}});
    EXPECT_DOUBLE_EQ(summary.medianIou, 0.45);
    EXPECT_DOUBLE_EQ(summary.worstIou, 0.4);
    EXPECT_EQ(summary.worstIouFrame, 2u);  // the earliest of the two
    EXPECT_DOUBLE_EQ(summary.mostChanged, 0.5);
    EXPECT_EQ(summary.mostChangedFrame, 4u);
}

// From n, n - 1, ..., 1 (unsorted on purpose): count, median and the nearest-rank p90 and p99.
TEST(BenchStats, MedianAndNearestRankPercentiles) {
    using Row = std::array<double, 4>;
    for (const Row& row : {Row{1, 1, 1, 1}, Row{2, 1.5, 2, 2}, Row{10, 5.5, 9, 10},
                           Row{100, 50.5, 90, 99}, Row{200, 100.5, 180, 198}}) {
        std::vector<double> samples;
        for (double i = row[0]; i >= 1; --i)
            samples.push_back(i);
        const Summary s = summarize(samples);
        EXPECT_EQ((Row{static_cast<double>(s.count), s.median, s.p90, s.p99}), row);
    }
}

}  // namespace
