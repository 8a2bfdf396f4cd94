// The same inputs give the same bytes on x86-64, aarch64 and armhf: the plug-in's masks, and the
// model writer's files.
#include <gtest/gtest.h>

#include <cstdio>

#include "CameraHost.h"
#include "FrameBuilder.h"
#include "HostEngine.h"
#include "MaskDigest.h"
#include "ModelBuilder.h"
#include "TestInputs.h"

namespace portability {
namespace {

// Fixed frames through the built plug-in, with the scripted stand-in echoing one colour channel
// of the network input as the label, so that the masks carry every byte libyuv produced on the way
// in and the turn on the way out: a camera-sized frame with padding, and one with an odd width and
// height, in both chroma orders and every orientation.
TEST(Portability, ScriptedMasksAreTheSameOnEveryArchitecture) {
    const testsupport::StandinClient& standin = e2e::standin(e2e::Runtime::Neuropilot);
    const std::vector<uint8_t> model = testsupport::plainModel();
    e2e::InitBlock block(
        testsupport::writeTempFile("config.json", testsupport::configJson("Neuropilot", false)),
        testsupport::writeTempFile("model.tflite", model), model);
    void* handle = nullptr;
    ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block.param()), 0);
    std::vector<uint8_t> all;
    for (const functest::FrameGeometry& geometry : {functest::FrameGeometry{640, 480, 704, 496},
                                                    functest::FrameGeometry{999, 561, 1008, 562}})
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
                    all.insert(all.end(), out.bytes.begin(),
                               out.bytes.begin() + BODYSEG_MASK_BYTES);
                    std::printf("type %d %dx%d %3d channel %u %s\n", imageType, geometry.width,
                                geometry.height, orientation, channel,
                                digestOf(out.bytes.data(), BODYSEG_MASK_BYTES).c_str());
                }
            }
        }
    EXPECT_EQ(digestOf(all.data(), all.size()), "0x907c7e326e7cba75")
        << "the masks differ from the recorded ones";
    EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
}

// Compilers evaluate function arguments in a different order on x86 and ARM; the writer must not
// leave the order of the objects it writes to that. The model has every kind of object the writer
// nests: shapes and names, constants, quantization, builtin options, a custom operator with
// options, and more than one operator code.
TEST(Portability, ModelFilesAreTheSameOnEveryArchitecture) {
    using hostengine::ElementType;
    using hostengine::OpKind;
    hostengine::ModelBuilder b;
    hostengine::Quantization q;
    q.present = true;
    q.scale = 0.5f;
    q.zeroPoint = 3;
    const int x = b.addTensor("x", ElementType::Uint8, {1, 4, 4, 2}, q);
    const int xf = b.addTensor("x_float", ElementType::Float32, {1, 4, 4, 2});
    const int w = b.addFloatConstant("w", {2, 3, 3, 2}, std::vector<float>(36, 0.25f));
    const int bias = b.addFloatConstant("bias", {2}, {1.0f, -1.0f});
    const int conv = b.addTensor("conv", ElementType::Float32, {1, 4, 4, 2});
    const int up = b.addTensor("up", ElementType::Float32, {1, 8, 8, 2});
    const int flat = b.addTensor("flat", ElementType::Float32, {1, 128});
    hostengine::OpOptions stride2;
    stride2.strideH = stride2.strideW = 2;
    b.addOperator(OpKind::Dequantize, {x}, {xf});
    b.addOperator(OpKind::Conv2d, {xf, w, bias}, {conv});
    b.addOperator(OpKind::Convolution2DTransposeBias, {conv, w, bias}, {up}, stride2);
    b.addOperator(OpKind::Reshape, {up}, {flat});
    b.setInputs({x});
    b.setOutputs({flat});
    b.setDescription("layout check");
    const std::vector<uint8_t> model = b.finish();
    std::string error;
    EXPECT_NE(hostengine::Engine::fromBytes(model.data(), model.size(), {}, &error), nullptr)
        << error;
    EXPECT_EQ(digestOf(model.data(), model.size()), "0xaddbacba97e9b4a9")
        << "the model file differs from the recorded one";
}

}  // namespace
}  // namespace portability
