// What pre-processing reads from the frame and its work buffer, the byte order it writes, and
// how it reports bad arguments.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FrameBuilder.h"
#include "VerboseLog.h"
#include "PipelineRunner.h"

namespace functest {
namespace {

// Content with chroma that differs in every block, so that a swapped U and V would show.
Yuv patterned(int x, int y) {
    return {static_cast<uint8_t>(16 + (x * 7 + y * 3) % 220),
            static_cast<uint8_t>(40 + (x / 2 * 5) % 180),
            static_cast<uint8_t>(40 + (y / 2 * 9 + x / 2) % 180)};
}

TEST(FuncPreProcessInput, Nv12AndNv21OfTheSameFrameGiveIdenticalTensors) {
    const FrameGeometry frames[] = {{1920, 1080, 1920, 1088}, {641, 481, 648, 482}};
    for (const FrameGeometry& g : frames) {
        Frame nv21(g, kImageNV21);
        Frame nv12(g, kImageNV12);
        nv21.paint(patterned);
        nv12.paint(patterned);
        PipelineRunner from_nv21(g);
        PipelineRunner from_nv12(g);
        for (int orientation : {0, 90}) {
            SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) +
                         " orientation " + std::to_string(orientation));
            ASSERT_EQ(0, from_nv21.pre(nv21, orientation));
            ASSERT_EQ(0, from_nv12.pre(nv12, orientation));
            EXPECT_TRUE(from_nv21.tensor() == from_nv12.tensor());
        }
    }
}

// Pitch beyond the width and rows beyond the height: whatever the padding holds, the tensor is
// made of the picture alone.
TEST(FuncPreProcessInput, PaddingBytesNeverReachTheTensor) {
    const FrameGeometry frames[] = {
        {640, 480, 704, 496},
        {641, 481, 648, 490},
        {1920, 1080, 1920, 1088},
        {3280, 2464, 3328, 2464},
    };
    for (const FrameGeometry& g : frames) {
        SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) + " in " +
                     std::to_string(g.stride) + "x" + std::to_string(g.scan));
        Frame bright_pad(g, kImageNV21, 0xFF, 0x00);
        Frame dark_pad(g, kImageNV21, 0x00, 0xFF);
        bright_pad.paint([](int, int) { return Yuv{128, 128, 128}; });
        dark_pad.paint([](int, int) { return Yuv{128, 128, 128}; });
        PipelineRunner runner(g);
        ASSERT_EQ(0, runner.pre(bright_pad, 90));
        const std::vector<uint8_t> tensor = runner.tensor();
        const uint8_t grey = tensor[0];
        EXPECT_GT(grey, 120);
        EXPECT_LT(grey, 140);
        EXPECT_EQ(tensor.end(),
                  std::find_if(tensor.begin(), tensor.end(), [&](uint8_t b) { return b != grey; }));
        ASSERT_EQ(0, runner.pre(dark_pad, 90));
        EXPECT_TRUE(tensor == runner.tensor());
    }
}

struct ColourCase {
    const char* name;
    int r;
    int g;
    int b;
};

// libyuv's RGB24: blue, green, red in memory.
TEST(FuncPreProcessInput, TensorBytesAreBlueGreenRed) {
    constexpr int kTolerance = 4;
    const ColourCase colours[] = {{"red", 255, 0, 0}, {"green", 0, 255, 0}, {"blue", 0, 0, 255}};
    const FrameGeometry g{1920, 1080, 1920, 1088};
    PipelineRunner runner(g);
    for (const ColourCase& c : colours) {
        SCOPED_TRACE(c.name);
        Frame frame(g, kImageNV12);
        const Yuv yuv = yuvFromRgb(c.r, c.g, c.b);
        frame.paint([&](int, int) { return yuv; });
        ASSERT_EQ(0, runner.pre(frame, 0));
        int wrong = 0;
        for (int y = 0; y < kNetHeight; ++y) {
            for (int x = 0; x < kNetWidth; ++x) {
                const Bgr p = runner.tensorAt(x, y);
                wrong += std::abs(p.b - c.b) > kTolerance || std::abs(p.g - c.g) > kTolerance ||
                         std::abs(p.r - c.r) > kTolerance;
            }
        }
        const Bgr first = runner.tensorAt(0, 0);
        EXPECT_EQ(0, wrong) << "first pixel b " << first.b << " g " << first.g << " r " << first.r;
    }
}

// A format other than NV21/NV12 is not converted: the picture already in the work buffer is
// what the network sees, and the call still succeeds.
TEST(FuncPreProcessInput, UnknownImageTypeUsesTheWorkBufferAsItStands) {
    const FrameGeometry g{640, 480, 640, 480};
    Frame green(g, kImageNV21);
    green.paint([](int, int) { return yuvFromRgb(0, 255, 0); });
    PipelineRunner runner(g);

    const Yuv red = yuvFromRgb(255, 0, 0);
    const size_t luma = static_cast<size_t>(g.stride) * g.scan;
    std::vector<uint8_t>& work = runner.tmpI420();
    std::fill(work.begin(), work.begin() + luma, red.y);
    std::fill(work.begin() + luma, work.begin() + luma * 5 / 4, red.u);
    std::fill(work.begin() + luma * 5 / 4, work.end(), red.v);

    bodysegment::Settings settings = green.settings(0);
    settings.image_type = 7;
    testsupport::LogCapture log;
    ASSERT_EQ(0, runner.pre(green.data(), settings));
    EXPECT_EQ(0u, log.errorCount());
    const Bgr centre = runner.tensorAt(kNetWidth / 2, kNetHeight / 2);
    EXPECT_LT(centre.b, 8);
    EXPECT_LT(centre.g, 8);
    EXPECT_GT(centre.r, 247);

    settings.image_type = kImageNV21;
    ASSERT_EQ(0, runner.pre(green.data(), settings));
    EXPECT_GT(runner.tensorAt(kNetWidth / 2, kNetHeight / 2).g, 247);
}

TEST(FuncPreProcessInput, LogsTheNetworkAndFrameGeometry) {
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

TEST(FuncPreProcessInput, NullFrameTensorOrSettingsIsRefused) {
    const FrameGeometry g{640, 480, 640, 480};
    Frame frame(g, kImageNV21);
    const bodysegment::Settings settings = frame.settings(0);
    std::vector<uint8_t> tensor(static_cast<size_t>(kNetWidth) * kNetHeight * 3, 0xA5);
    std::vector<uint8_t> work(static_cast<size_t>(g.stride) * g.scan * 3 / 2);
    std::vector<uint8_t> scaled(static_cast<size_t>(kNetWidth) * kNetHeight * 3 / 2);
    std::vector<uint8_t> rotated(scaled.size());

    struct NullCase {
        const char* name;
        const uint8_t* src;
        uint8_t* dst;
        const bodysegment::Settings* settings;
    };
    const NullCase cases[] = {
        {"src", nullptr, tensor.data(), &settings},
        {"dst_rgb", frame.data(), nullptr, &settings},
        {"settings", frame.data(), tensor.data(), nullptr},
    };
    for (const NullCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LogCapture log;
        EXPECT_EQ(-1, bodysegment::pre_process_bodysegment(c.src, c.dst, work.data(), scaled.data(),
                                                           rotated.data(), c.settings));
        EXPECT_EQ(1u, log.lines().size());
        EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "pre_process_bodysegment",
                               "send nullptr to pre_proces_bodysegment"));
        EXPECT_EQ(tensor.end(),
                  std::find_if(tensor.begin(), tensor.end(), [](uint8_t b) { return b != 0xA5; }));
    }
}

// The result is the sum of the libyuv results: a zero width fails both the conversion and the
// scaling, and only the scaling when the conversion is skipped.
TEST(FuncPreProcessInput, FailingLibyuvStagesAreSummedAndReportedOnce) {
    const FrameGeometry g{640, 480, 640, 480};
    Frame frame(g, kImageNV21);
    PipelineRunner runner(g);
    struct FailCase {
        int image_type;
        int result;
    };
    for (const FailCase c : {FailCase{kImageNV21, -2}, FailCase{7, -1}}) {
        SCOPED_TRACE("image_type " + std::to_string(c.image_type));
        bodysegment::Settings settings = frame.settings(0);
        settings.width = 0;
        settings.image_type = c.image_type;
        testsupport::LogCapture log;
        EXPECT_EQ(c.result, runner.pre(frame.data(), settings));
        EXPECT_EQ(1u, log.errorCount());
        EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "pre_process_bodysegment",
                               "pre_proces_bodysegment failed"));
    }
}

}  // namespace
}  // namespace functest
