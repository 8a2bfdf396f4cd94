// The sequence files and figures without the plug-in: .y4m written and read back, a raw dump
// split into its frames, and the steadiness of masks with a known change.
#include <gtest/gtest.h>

#include "PluginPaths.h"
#include "SequenceReader.h"
#include "Steadiness.h"
#include "TestInputs.h"
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
        const std::vector<uint8_t> nv12 = {want.y()[0], want.y()[1], want.y()[2], want.y()[3],
                                           want.y()[4], want.y()[5], want.y()[6], want.y()[7],
                                           want.u()[0], want.v()[0], want.u()[1], want.v()[1]};
        EXPECT_EQ(frame.bytes, nv12) << "frame " << k;
    }
}

TEST(SequenceFiles, RawDumpSplitsIntoItsFrames) {
    std::vector<uint8_t> dump(3 * 12);
    for (size_t i = 0; i < dump.size(); ++i)
        dump[i] = static_cast<uint8_t>(i);
    const std::string path = testsupport::writeTempFile("three.nv21", dump);
    SequenceReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(Input{path, "", InputKind::RawDump}, PixelFormat::NV21, 90,
                            {4, 2, 4, 2}, &error))
        << error;
    ASSERT_EQ(reader.frameCount(), 3u);
    Frame frame;
    ASSERT_TRUE(reader.read(2, &frame, &error)) << error;
    EXPECT_EQ(frame.bytes, std::vector<uint8_t>(dump.begin() + 24, dump.end()));
    EXPECT_EQ(frame.orientation, 90);
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

}  // namespace
