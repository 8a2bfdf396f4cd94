// The same inputs give the same masks from the plug-in on x86-64, aarch64 and armhf (the model
// writer's files are held to one digest in the engine's tests).
#include <gtest/gtest.h>

#include "CameraHost.h"
#include "MaskDigest.h"

namespace portability {
namespace {

// Fixed frames through the built plug-in, with the scripted stand-in echoing one colour channel
// of the network input as the label, so that the masks carry every byte libyuv produced on the way
// in and the turn on the way out: a camera-sized frame with padding, and one with an odd width and
// height, in both chroma orders and every orientation.
TEST(Portability, ScriptedMasksAreTheSameOnEveryArchitecture) {
    const testsupport::StandinClient& standin = e2e::standin(e2e::Runtime::Neuropilot);
    const auto block = e2e::hostBlock(e2e::Runtime::Neuropilot, false);
    void* handle = nullptr;
    ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block->param()), 0);
    std::vector<uint8_t> all;
    for (const functest::FrameGeometry& geometry : {functest::FrameGeometry{640, 480, 704, 496},
                                                    functest::FrameGeometry{999, 561, 1008, 562}})
        for (int imageType : {BODYSEG_IMAGE_NV21, BODYSEG_IMAGE_NV12}) {
            // Luma sweeps the whole byte range and chroma covers it in both directions, so that
            // clamping and rounding in the colour conversion are reached everywhere.
            functest::Frame frame(geometry, imageType, 0x5a, 0xa5);
            frame.paint([](int x, int y) {
                return functest::Yuv{uint8_t(x * 5 + y * 3), uint8_t(x * 2 + y),
                                     uint8_t(y * 3 - x)};
            });
            for (int orientation : {0, 90, 180, 270})
                for (uint32_t channel = 0; channel < 3; ++channel) {
                    Image in = e2e::inputImage(geometry, imageType, orientation, frame.data());
                    standin.setOutputEcho(3, channel);
                    e2e::MaskImage out;
                    ASSERT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
                    all.insert(all.end(), out.bytes.begin(),
                               out.bytes.begin() + BODYSEG_MASK_BYTES);
                }
        }
    EXPECT_EQ(digestOf(all), "0x907c7e326e7cba75") << "the masks differ from the recorded ones";
    EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
}

}  // namespace
}  // namespace portability
