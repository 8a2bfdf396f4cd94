// The label plane is turned back to the frame's landscape orientation, label bytes unchanged.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VerboseLog.h"
#include "PipelineRunner.h"

namespace functest {
namespace {

constexpr size_t kPlaneBytes = static_cast<size_t>(kNetWidth) * kNetHeight;

struct MaskPoint {
    int x;
    int y;
};

struct CornerCase {
    int orientation;
    // Where the labels placed at the tensor's top-left, top-right and bottom-left corners end up.
    MaskPoint top_left;
    MaskPoint top_right;
    MaskPoint bottom_left;
};

constexpr int kLastCol = kNetHeight - 1;  // 455
constexpr int kLastRow = kNetWidth - 1;   // 341

// 90 and 180 undo a clockwise turn, every other value a counter-clockwise one.
const CornerCase kCorners[] = {
    {90, {0, kLastRow}, {0, 0}, {kLastCol, kLastRow}},
    {180, {0, kLastRow}, {0, 0}, {kLastCol, kLastRow}},
    {0, {kLastCol, 0}, {kLastCol, kLastRow}, {0, 0}},
    {270, {kLastCol, 0}, {kLastCol, kLastRow}, {0, 0}},
    {-1, {kLastCol, 0}, {kLastCol, kLastRow}, {0, 0}},
};

TEST(FuncPostProcess, MarkedCornersReturnToTheFramesOrientation) {
    std::vector<uint8_t> labels(kPlaneBytes, 0);
    labels[0] = 1;                                                                  // top left
    labels[kNetWidth - 1] = 2;                                                      // top right
    labels[static_cast<size_t>(kNetHeight - 1) * kNetWidth] = 3;                    // bottom left
    labels[static_cast<size_t>(kNetHeight - 1) * kNetWidth + kNetWidth - 1] = 200;  // bottom right
    for (const CornerCase& c : kCorners) {
        SCOPED_TRACE("orientation " + std::to_string(c.orientation));
        bodysegment::Settings settings;
        settings.orientation = c.orientation;
        std::vector<uint8_t> mask(kPlaneBytes, 0xEE);
        ASSERT_EQ(0, bodysegment::post_process_bodysegment(mask.data(), labels.data(), &settings));
        auto at = [&](MaskPoint p) { return mask[static_cast<size_t>(p.y) * kNetHeight + p.x]; };
        EXPECT_EQ(1, at(c.top_left));
        EXPECT_EQ(2, at(c.top_right));
        EXPECT_EQ(3, at(c.bottom_left));
        EXPECT_EQ(kPlaneBytes - 4, static_cast<size_t>(std::count(mask.begin(), mask.end(), 0)));
        EXPECT_EQ(1, std::count(mask.begin(), mask.end(), 200));
    }
}

TEST(FuncPostProcess, NullArgumentsAreRefusedAndTouchNothing) {
    const std::vector<uint8_t> labels(kPlaneBytes, 1);
    const bodysegment::Settings settings;
    std::vector<uint8_t> mask(kPlaneBytes, 0x5A);
    struct NullCase {
        const char* name;
        uint8_t* dst;
        const uint8_t* src;
        const bodysegment::Settings* settings;
    };
    const NullCase cases[] = {
        {"dst_mask", nullptr, labels.data(), &settings},
        {"src_labels", mask.data(), nullptr, &settings},
        {"settings", mask.data(), labels.data(), nullptr},
    };
    for (const NullCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LogCapture log;
        EXPECT_EQ(-1, bodysegment::post_process_bodysegment(c.dst, c.src, c.settings));
        EXPECT_EQ(1u, log.lines().size());
        EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "post_process_bodysegment",
                               "send nullptr to post_proces_bodysegment"));
        EXPECT_EQ(kPlaneBytes, static_cast<size_t>(std::count(mask.begin(), mask.end(), 0x5A)));
    }
}

TEST(FuncPostProcess, FailingRotationIsReturnedAndReportedOnce) {
    const std::vector<uint8_t> labels(kPlaneBytes, 1);
    std::vector<uint8_t> mask(kPlaneBytes, 0);
    bodysegment::Settings settings;
    settings.net_width = 0;
    testsupport::LogCapture log;
    EXPECT_EQ(-1, bodysegment::post_process_bodysegment(mask.data(), labels.data(), &settings));
    EXPECT_EQ(1u, log.errorCount());
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "post_process_bodysegment",
                           "post_proces_bodysegment failed"));
}

}  // namespace
}  // namespace functest
