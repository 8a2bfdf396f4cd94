// The conversion path of the plug-in, byte for byte, on every architecture it is built for: fixed
// frames through the built plug-in, with the scripted stand-in echoing one colour channel of the
// network input as the label, so that the masks carry every byte libyuv produced on the way in
// and the turn on the way out. The masks of x86-64, aarch64 and armhf must be identical.
#include <gtest/gtest.h>

#include <cstdio>

#include "CameraHost.h"
#include "FrameBuilder.h"
#include "MaskDigest.h"

namespace portability {
namespace {

// Every mask of the run below, in order, on every architecture.
constexpr const char* kExpectedDigest = "0x907c7e326e7cba75";

// A camera-sized frame with padding, and one with an odd width and height.
constexpr functest::FrameGeometry kGeometries[] = {{640, 480, 704, 496}, {999, 561, 1008, 562}};
const char* const kChannels[] = {"blue", "green", "red"};

TEST(ScriptedMasks, AreTheSameOnEveryArchitecture) {
    const testsupport::StandinClient& standin = e2e::standin(e2e::Runtime::Neuropilot);
    const std::vector<uint8_t> model = e2e::plainModel();
    e2e::InitBlock block(e2e::writeConfig(e2e::Runtime::Neuropilot, false),
                         e2e::writeFile("model.tflite", model), model);
    void* handle = nullptr;
    ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block.param()), 0);

    Digest all;
    for (const functest::FrameGeometry& geometry : kGeometries) {
        for (int imageType : {BODYSEG_IMAGE_NV21, BODYSEG_IMAGE_NV12}) {
            // Luma sweeps the whole byte range and chroma covers it in both directions, so that
            // clamping and rounding in the colour conversion are reached everywhere.
            functest::Frame frame(geometry, imageType, 0x5a, 0xa5);
            frame.paint([](int x, int y) {
                return functest::Yuv{static_cast<uint8_t>(x * 5 + y * 3),
                                     static_cast<uint8_t>(x * 2 + y),
                                     static_cast<uint8_t>(y * 3 - x)};
            });
            for (int orientation : {0, 90, 180, 270}) {
                Image in = e2e::inputImage(geometry, imageType, orientation, frame.data());
                for (uint32_t channel = 0; channel < 3; ++channel) {
                    standin.setOutputEcho(3, channel);
                    e2e::MaskImage out;
                    ASSERT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
                    all.add(out.bytes.data(), BODYSEG_MASK_BYTES);
                    std::printf("%s %dx%d %3d %-5s %s\n",
                                imageType == BODYSEG_IMAGE_NV21 ? "NV21" : "NV12", geometry.width,
                                geometry.height, orientation, kChannels[channel],
                                digestOf(out.bytes.data(), BODYSEG_MASK_BYTES).c_str());
                }
            }
        }
    }
    EXPECT_EQ(all.hex(), kExpectedDigest)
        << "the masks on " << kArchitecture << " differ from the recorded ones";
    EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
}

}  // namespace
}  // namespace portability
