// Every mask byte a host receives, for both runtimes, both ways of handing over the model, both
// tables, NV21 and NV12, the four orientations and one outside them, padded and odd geometry,
// against a reference made of bare libyuv calls: the frame to I420, nearest-pixel shrinking to
// 456 x 342, the upright turn, blue-green-red bytes; the labels turned back and shifted.
#include <gtest/gtest.h>
#include <libyuv.h>

#include <cstring>
#include <random>
#include <tuple>

#include "CameraHost.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace e2e {
namespace {

constexpr int kNetW = 342;  // the network's portrait picture; the mask is it turned
constexpr int kNetH = 456;
constexpr int kPixels = kNetW * kNetH;

// 90 and 180 turn the landscape frame clockwise to make it upright, every other value
// counter-clockwise; the mask is turned back the other way.
bool clockwise(int orientation) {
    return orientation == 90 || orientation == 180;
}

struct Planes {
    std::vector<uint8_t> y, u, v;
    int w, cw;
    Planes(int width, int height)
        : y(static_cast<size_t>(width) * height),
          u(static_cast<size_t>((width + 1) / 2) * ((height + 1) / 2)),
          v(u.size()),
          w(width),
          cw((width + 1) / 2) {}
};

// The network input (342 x 456 x 3, blue green red) a frame must become.
std::vector<uint8_t> referenceTensor(const functest::Frame& frame, int imageType, int orientation) {
    const functest::FrameGeometry& g = frame.geometry();
    const uint8_t* chroma = frame.data() + static_cast<size_t>(g.stride) * g.scan;
    Planes full(g.width, g.height);
    if (imageType == functest::kImageNV21) {
        libyuv::NV21ToI420(frame.data(), g.stride, chroma, g.stride, full.y.data(), full.w,
                           full.u.data(), full.cw, full.v.data(), full.cw, g.width, g.height);
    } else {
        libyuv::NV12ToI420(frame.data(), g.stride, chroma, g.stride, full.y.data(), full.w,
                           full.u.data(), full.cw, full.v.data(), full.cw, g.width, g.height);
    }
    Planes scaled(kNetH, kNetW);
    libyuv::I420Scale(full.y.data(), full.w, full.u.data(), full.cw, full.v.data(), full.cw,
                      g.width, g.height, scaled.y.data(), scaled.w, scaled.u.data(), scaled.cw,
                      scaled.v.data(), scaled.cw, kNetH, kNetW, libyuv::kFilterNone);
    Planes upright(kNetW, kNetH);
    libyuv::I420Rotate(scaled.y.data(), scaled.w, scaled.u.data(), scaled.cw, scaled.v.data(),
                       scaled.cw, upright.y.data(), upright.w, upright.u.data(), upright.cw,
                       upright.v.data(), upright.cw, kNetH, kNetW,
                       clockwise(orientation) ? libyuv::kRotate90 : libyuv::kRotate270);
    std::vector<uint8_t> rgb(kPixels * 3);
    libyuv::I420ToRGB24(upright.y.data(), upright.w, upright.u.data(), upright.cw, upright.v.data(),
                        upright.cw, rgb.data(), kNetW * 3, kNetW, kNetH);
    return rgb;
}

// The host's mask of portrait `labels`: turned back, background 0 kept, label k made k + 1.
std::vector<uint8_t> referenceMask(const std::vector<uint8_t>& labels, int orientation) {
    std::vector<uint8_t> mask(kPixels);
    libyuv::RotatePlane(labels.data(), kNetW, mask.data(), kNetH, kNetW, kNetH,
                        clockwise(orientation) ? libyuv::kRotate270 : libyuv::kRotate90);
    for (uint8_t& m : mask)
        m = m == 0 ? 0 : static_cast<uint8_t>(m + 1);
    return mask;
}

functest::Frame paintedFrame(const functest::FrameGeometry& g, int imageType) {
    functest::Frame frame(g, imageType, 0x5A, 0xA5);  // padding that shows when it is read
    frame.paint([](int x, int y) {
        return functest::Yuv{static_cast<uint8_t>(x * 7 + y * 13 + (x * y >> 5)),
                             static_cast<uint8_t>(x * 3 + y * 5),
                             static_cast<uint8_t>((x * 11) ^ (y * 2))};
    });
    return frame;
}

constexpr functest::FrameGeometry kGeometries[] = {
    {640, 480, 704, 496},  // padded on the right and below, as camera HALs deliver frames
    {641, 481, 642, 482},  // odd picture
    {321, 239, 336, 240},  // smaller than the network: enlarged
};
constexpr int kOrientations[] = {0, 90, 180, 270, 45};

TEST(EndToEnd, EveryMaskByteMatchesTheLibyuvReferenceAcrossTheGeometryTable) {
    setLogMask(1);
    // Scripted labels: the low byte of each int32 output element.
    std::mt19937 random(5);
    std::vector<uint8_t> pattern(kPixels * 4);
    std::vector<uint8_t> patternLabels(kPixels);
    for (int i = 0; i < kPixels; ++i) {
        const uint32_t value = random();
        std::memcpy(&pattern[4 * i], &value, 4);
        patternLabels[i] = static_cast<uint8_t>(value);
    }
    const std::vector<uint8_t> plain = testsupport::plainModel();
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        for (bool decrypt : {true, false}) {
            const Table initTable = decrypt ? Table::AlgoAPI : Table::AlgoAPIV1;
            SCOPED_TRACE(std::string(runtimeName(runtime)) + (decrypt ? " decrypted" : " file"));
            const testsupport::StandinClient& standin = e2e::standin(runtime);
            auto block = hostBlock(runtime, decrypt);
            void* handle = nullptr;
            ASSERT_EQ(initHandle(initTable, &handle, block->param()), 0);
            // The runtime saw the plain model, from memory after decryption or from the file.
            EXPECT_EQ(standin.recordedBytes("model_bytes"), plain);
            EXPECT_EQ(standin.recordedText("model_path"),
                      decrypt ? "" : testsupport::tempDir() + "/model.tflite");
            int frames = 0;
            for (const functest::FrameGeometry& g : kGeometries) {
                for (int type : {functest::kImageNV21, functest::kImageNV12}) {
                    const functest::Frame frame = paintedFrame(g, type);
                    for (int orientation : kOrientations) {
                        const int channel = frames % 3;
                        const Table table = frames % 2 == 0 ? Table::AlgoAPI : Table::AlgoAPIV1;
                        SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) +
                                     (type == functest::kImageNV21 ? " NV21 " : " NV12 ") +
                                     std::to_string(orientation) + " " + tableName(table));
                        const std::vector<uint8_t> tensor =
                            referenceTensor(frame, type, orientation);
                        std::vector<uint8_t> echoed(kPixels);
                        for (int i = 0; i < kPixels; ++i)
                            echoed[i] = tensor[3 * i + channel];
                        Image in = inputImage(g, type, orientation, frame.data());
                        const Image inBefore = in;
                        const std::vector<uint8_t> bytesBefore = frame.bytes();
                        for (const bool echo : {false, true}) {
                            if (echo)
                                standin.setOutputEcho(3, channel);
                            else
                                standin.setOutputPattern(pattern);
                            MaskImage out;
                            EXPECT_EQ(processFrame(table, handle, &in, &out.image), 0);
                            const Image& o = out.image;
                            EXPECT_EQ(std::make_tuple(o.result_width, o.result_height, o.size,
                                                      o.width, o.height, o.stride, o.scan, o.data),
                                      std::make_tuple(456, 342, 155952u, 456, 342, 456, 342,
                                                      out.bytes.data()));
                            EXPECT_TRUE(out.mask() ==
                                        referenceMask(echo ? echoed : patternLabels, orientation))
                                << (echo ? "echo of channel " + std::to_string(channel)
                                         : "scripted labels");
                            EXPECT_TRUE(out.spareUntouched()) << "wrote past the mask";
                        }
                        EXPECT_EQ(0, std::memcmp(&in, &inBefore, sizeof(in)));
                        EXPECT_TRUE(frame.bytes() == bytesBefore) << "the frame was written";
                        ++frames;
                    }
                }
            }
            EXPECT_EQ(standin.recordedInt("runs"), 2 * frames);
            // -1: the runtime's own default buffers.
            EXPECT_EQ(standin.recordedInt("input_attribute", 0),
                      runtime == Runtime::Neuron ? -1 : 0);
            EXPECT_EQ(releaseHandle(initTable, handle), 0);
        }
    }
}

}  // namespace
}  // namespace e2e
