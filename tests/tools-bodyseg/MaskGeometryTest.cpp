// The tool's picture of the mask against the plug-in's own geometry, in-process: the stand-in
// labels the left half of the network's picture, and the tool must show that label on the part
// of the upright photo the network saw there. At 90 and 270 the network sees the upright photo,
// so that is the photo's left half; at 0 and 180 it sees the photo turned a quarter
// counter-clockwise, so the left half of its picture is the photo's top half.
#include <gtest/gtest.h>

#include <cstring>

#include "FrameCall.h"
#include "FrameSynthesis.h"
#include "MaskImages.h"
#include "PluginLog.h"
#include "PluginPaths.h"
#include "Session.h"
#include "StandinClient.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

constexpr int kNetWidth = 342;
constexpr int kNetHeight = 456;
constexpr int kPhotoWidth = 120;
constexpr int kPhotoHeight = 80;
// Nearest-pixel scaling moves the border by a pixel or two either way.
constexpr int kBorderSlack = 3;

bodyseg::Options hostOptions() {
    bodyseg::Options options;
    options.configPath = bodysegtest::writeConfig("geometry.json", "Neuropilot");
    options.modelPath = bodysegtest::writeModel("geometry.bin", 4096);
    options.pluginPath = testsupport::pluginPath();
    options.standinDir = testsupport::standinDir();
    options.cacheDir = toolstest::tempPath("cache");
    options.props = {{"vendor.standin.runtime.mode", "script"}};
    return options;
}

// One int32 label per network pixel, row by row: 1 on the left half of every row.
std::vector<uint8_t> leftHalfLabelled() {
    std::vector<int32_t> row(kNetWidth, 0);
    for (int x = 0; x < kNetWidth / 2; ++x)
        row[x] = 1;
    std::vector<uint8_t> bytes(row.size() * sizeof(int32_t));
    std::memcpy(bytes.data(), row.data(), bytes.size());
    return bytes;
}

class MaskGeometry : public ::testing::TestWithParam<int> {};

TEST_P(MaskGeometry, TheUprightMaskCoversWhatTheNetworkLabelled) {
    const int orientation = GetParam();
    bodyseg::captureAndroidLog(false);
    const testsupport::StandinClient standin(testsupport::standinDir(), "libtflite_mtk.so");
    standin.setOutputPattern(leftHalfLabelled());

    bodyseg::Session session;
    std::vector<std::string> setup;
    std::string error;
    ASSERT_TRUE(session.open(hostOptions(), &setup, &error)) << error;

    bodyseg::RgbImage photo;
    photo.width = kPhotoWidth;
    photo.height = kPhotoHeight;
    photo.pixels.assign(static_cast<size_t>(kPhotoWidth) * kPhotoHeight * 3, 200);
    bodyseg::Frame frame;
    ASSERT_TRUE(bodyseg::frameFromPhoto(photo, {bodyseg::PixelFormat::NV21, orientation, 0, 0},
                                        &frame, &error))
        << error;
    std::vector<uint8_t> mask(456 * 342);
    const bodyseg::FrameResult result = bodyseg::sendFrame(session, frame, mask.data());
    ASSERT_EQ(result.status, 0) << bodyseg::describeFailure(session, result);
    EXPECT_EQ(session.close(), 0);

    const std::vector<uint8_t> labels =
        bodyseg::uprightLabels(mask.data(), orientation, kPhotoWidth, kPhotoHeight);
    const bool leftHalf = orientation == 90 || orientation == 270;
    int wrong = 0;
    for (int y = 0; y < kPhotoHeight; ++y) {
        for (int x = 0; x < kPhotoWidth; ++x) {
            const int along = leftHalf ? x : y;
            const int half = (leftHalf ? kPhotoWidth : kPhotoHeight) / 2;
            if (std::abs(along - half) < kBorderSlack)
                continue;
            // Model label 1 reaches the host as 2.
            const uint8_t expected = along < half ? 2 : 0;
            wrong += labels[static_cast<size_t>(y) * kPhotoWidth + x] != expected;
        }
    }
    EXPECT_EQ(wrong, 0) << "orientation " << orientation;

    // Labelled pixels are tinted, the others are the photo's own.
    const bodyseg::RgbImage tinted = bodyseg::overlay(photo, labels);
    const int inside = leftHalf ? kPhotoHeight / 2 * kPhotoWidth + 10 : 10 * kPhotoWidth + 60;
    const int outside = leftHalf ? kPhotoHeight / 2 * kPhotoWidth + 110 : 70 * kPhotoWidth + 60;
    EXPECT_NE(std::memcmp(tinted.pixels.data() + inside * 3, photo.pixels.data() + inside * 3, 3),
              0);
    EXPECT_EQ(std::memcmp(tinted.pixels.data() + outside * 3, photo.pixels.data() + outside * 3, 3),
              0);
}

INSTANTIATE_TEST_SUITE_P(SensorOrientations, MaskGeometry, ::testing::Values(0, 90, 180, 270));

TEST(MaskImages, EveryLabelButBackgroundHasItsOwnColour) {
    const auto& palette = bodyseg::labelPalette();
    EXPECT_EQ(palette[0], (bodyseg::Rgb{0, 0, 0}));
    for (int a = 1; a <= 15; ++a) {
        for (int b = a + 1; b <= 15; ++b)
            EXPECT_NE(palette[a], palette[b]) << a << " " << b;
        EXPECT_NE(palette[a], palette[0]);
    }
}

}  // namespace
