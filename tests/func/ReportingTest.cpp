// What pre-processing logs, and how the processing functions report bad arguments and failing
// libyuv stages.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "FrameBuilder.h"
#include "PipelineRunner.h"
#include "VerboseLog.h"

namespace functest {
namespace {

TEST(FuncReporting, LogsTheNetworkAndFrameGeometry) {
    const FrameGeometry g{1920, 1080, 1920, 1088};
    Frame frame(g, kImageNV12);
    PipelineRunner runner(g);
    VerboseLog verbose;
    testsupport::LogCapture log;
    ASSERT_EQ(0, runner.pre(frame, 180));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "pre_process_bodysegment",
                           "net_width_342, net_height_456"));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "pre_process_bodysegment",
                           "stride_1920 scan_1088, width_1920, height_1080, orientation_180, "
                           "image_type_6"));
    EXPECT_EQ(0u, log.errorCount());
}

// Each pointer is checked on its own: any one null is enough for the refusal, which writes nothing.
TEST(FuncReporting, NullPointersAreRefusedWithOneLineAndTouchNothing) {
    const FrameGeometry g{640, 480, 640, 480};
    Frame frame(g, kImageNV21);
    const bodysegment::Settings s = frame.settings(0);
    PipelineRunner r(g);
    std::vector<uint8_t> out(kNetPixels * 3, 0xA5);
    unsigned char palette[1][3] = {{1, 2, 3}};
    for (int missing = 0; missing < 3; ++missing) {
        SCOPED_TRACE("null argument " + std::to_string(missing + 1));
        const auto keep = [&](auto* pointer, int slot) {
            return slot == missing ? nullptr : pointer;
        };
        const auto expectRefused = [&](const char* function, const char* text,
                                       const std::function<int()>& call) {
            testsupport::LogCapture log;
            EXPECT_EQ(-1, call());
            EXPECT_EQ(1u, log.lines().size());
            EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, function, text));
            EXPECT_EQ(out.size(), static_cast<size_t>(std::count(out.begin(), out.end(), 0xA5)));
        };
        expectRefused("pre_process_bodysegment", "send nullptr to pre_proces_bodysegment", [&] {
            return bodysegment::pre_process_bodysegment(keep(frame.data(), 0), keep(out.data(), 1),
                                                        r.tmp.data(), r.scaled.data(),
                                                        r.rotated.data(), keep(&s, 2));
        });
        expectRefused("post_process_bodysegment", "send nullptr to post_proces_bodysegment", [&] {
            return bodysegment::post_process_bodysegment(keep(out.data(), 0),
                                                         keep(r.labels.data(), 1), keep(&s, 2));
        });
        expectRefused("visual_bgr", "send nullptr to visual_bgr", [&] {
            return bodysegment::visual_bgr(keep(r.labels.data(), 0), 1, keep(out.data(), 1),
                                           keep(palette, 2));
        });
    }
}

// Pre-processing returns the sum of the libyuv results: a zero width fails both the conversion
// and the scaling, and only the scaling for a format other than NV21 and NV12, which is not
// converted at all (the work buffer is used as it stands).
TEST(FuncReporting, FailingLibyuvStagesAreReturnedAndReportedOnce) {
    const FrameGeometry g{640, 480, 640, 480};
    Frame frame(g, kImageNV21);
    PipelineRunner runner(g);
    for (const auto& [image_type, result] : {std::pair{kImageNV21, -2}, std::pair{7, -1}}) {
        SCOPED_TRACE("image_type " + std::to_string(image_type));
        bodysegment::Settings settings = frame.settings(0);
        settings.width = 0;
        settings.image_type = image_type;
        testsupport::LogCapture log;
        EXPECT_EQ(result, runner.pre(frame.data(), settings));
        EXPECT_EQ(1u, log.errorCount());
        EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "pre_process_bodysegment",
                               "pre_proces_bodysegment failed"));
    }

    bodysegment::Settings settings;
    settings.net_width = 0;
    testsupport::LogCapture log;
    EXPECT_EQ(-1, runner.postFromFirstChannel(settings));
    EXPECT_EQ(1u, log.errorCount());
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "post_process_bodysegment",
                           "post_proces_bodysegment failed"));
}

}  // namespace
}  // namespace functest
