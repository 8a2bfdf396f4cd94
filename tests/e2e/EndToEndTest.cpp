// A camera host's whole conversation with the plug-in, for both runtimes, both ways of handing
// over the model, both tables, both pixel formats and all four sensor orientations: init, a frame
// with scripted labels (every field of the output Image and every mask byte), a frame whose labels
// echo the network input, release.
#include <gtest/gtest.h>
#include <libyuv.h>

#include <cstring>
#include <tuple>

#include "CameraHost.h"
#include "FrameBuilder.h"

namespace e2e {
namespace {

// Runtime, model handed over decrypted from a buffer (or as a file), table, format, orientation.
using Case = std::tuple<Runtime, bool, Table, int, int>;

constexpr int kMaskWidth = BODYSEG_MASK_WIDTH;  // the network's portrait picture is turned
constexpr int kMaskHeight = BODYSEG_MASK_HEIGHT;

// A 640 x 480 frame with padding on the right and at the bottom, as camera HALs deliver them.
constexpr functest::FrameGeometry kGeometry{640, 480, 704, 496};
constexpr int kBlockLevels[2][2] = {{40, 110}, {170, 230}};

functest::Frame grayBlocks(int imageType) {
    functest::Frame frame(kGeometry, imageType, 255, 0);
    frame.paint([](int x, int y) {
        const uint8_t level = kBlockLevels[y * 2 / kGeometry.height][x * 2 / kGeometry.width];
        return functest::Yuv{level, 128, 128};
    });
    return frame;
}

// The byte libyuv makes of a gray luma level with neutral chroma, the value every channel holds.
uint8_t rgbOfGray(uint8_t level) {
    uint8_t y[4] = {level, level, level, level};
    uint8_t u = 128;
    uint8_t v = 128;
    uint8_t rgb[12];
    libyuv::I420ToRGB24(y, 2, &u, 1, &v, 1, rgb, 6, 2, 2);
    return rgb[0];
}

// Network label of a portrait position (kMaskHeight columns, kMaskWidth rows): its quadrant, 0
// (top left, background) to 3.
int quadrantLabel(int px, int py) {
    return (py >= kMaskWidth / 2 ? 2 : 0) + (px >= kMaskHeight / 2 ? 1 : 0);
}

// The network output as int32 labels, one per portrait pixel, for the scripted stand-in.
std::vector<uint8_t> quadrantOutputInt32() {
    std::vector<uint8_t> bytes(BODYSEG_MASK_BYTES * 4);
    for (int py = 0; py < kMaskWidth; ++py) {
        for (int px = 0; px < kMaskHeight; ++px) {
            const int32_t label = quadrantLabel(px, py);
            std::memcpy(&bytes[4 * (py * kMaskHeight + px)], &label, sizeof(label));
        }
    }
    return bytes;
}

// The host's labels: background stays 0, network label k becomes k + 1.
uint8_t shifted(int label) {
    return static_cast<uint8_t>(label == 0 ? 0 : label + 1);
}

// What the host must receive, worked out from the scripted output alone: the portrait labels
// turned back into the frame's landscape orientation, then shifted. 90 and 180 were turned
// clockwise on the way in (the landscape left column became the top row), 0 and 270
// counter-clockwise.
std::vector<uint8_t> expectedQuadrantMask(int orientation) {
    const bool clockwise = orientation == 90 || orientation == 180;
    std::vector<uint8_t> mask(BODYSEG_MASK_BYTES);
    for (int y = 0; y < kMaskHeight; ++y) {
        for (int x = 0; x < kMaskWidth; ++x) {
            const int px = clockwise ? kMaskHeight - 1 - y : y;
            const int py = clockwise ? x : kMaskWidth - 1 - x;
            mask[y * kMaskWidth + x] = shifted(quadrantLabel(px, py));
        }
    }
    return mask;
}

class EndToEnd : public ::testing::TestWithParam<Case> {
  protected:
    Runtime runtime() const { return std::get<0>(GetParam()); }
    bool decrypt() const { return std::get<1>(GetParam()); }
    Table table() const { return std::get<2>(GetParam()); }
    int imageType() const { return std::get<3>(GetParam()); }
    int orientation() const { return std::get<4>(GetParam()); }
};

// Nothing after init stops the case early: a handle left unreleased would fail the cases after it.
TEST_P(EndToEnd, HostGetsTheLabelsTurnedBackAndShiftedAndTheFrameWhereItWas) {
    const testsupport::StandinClient& standin = e2e::standin(runtime());
    const std::vector<uint8_t> plain = plainModel();
    const std::vector<uint8_t> stored = decrypt() ? encryptedModel(plain) : plain;
    const std::string modelPath =
        writeFile(decrypt() ? "model.tflite.enc" : "model.tflite", stored);
    InitBlock block(writeConfig(runtime(), decrypt()), modelPath, stored);
    void* handle = nullptr;
    ASSERT_EQ(initHandle(table(), &handle, block.param()), 0);
    ASSERT_NE(handle, nullptr);
    // The runtime saw the plain model, from memory after decryption or from the file.
    EXPECT_EQ(standin.recordedBytes("model_bytes"), plain);
    EXPECT_EQ(standin.recordedText("model_path"), decrypt() ? "" : modelPath);
    EXPECT_EQ(standin.hasRecord("model_path"), !decrypt());

    const functest::Frame frame = grayBlocks(imageType());
    Image in = inputImage(frame.geometry(), imageType(), orientation(), frame.data());
    const Image inBefore = in;
    standin.setOutputPattern(quadrantOutputInt32());
    MaskImage out;
    EXPECT_EQ(processFrame(table(), handle, &in, &out.image), 0);
    const Image& o = out.image;
    EXPECT_EQ(std::make_tuple(o.result_width, o.result_height, o.size, o.width, o.height, o.stride,
                              o.scan, o.data),
              std::make_tuple(456, 342, 155952u, 456, 342, 456, 342, out.bytes.data()));
    EXPECT_EQ(0, std::memcmp(&in, &inBefore, sizeof(in))) << "the input Image must not change";
    const std::vector<uint8_t> mask(out.bytes.begin(), out.bytes.begin() + BODYSEG_MASK_BYTES);
    EXPECT_EQ(mask, expectedQuadrantMask(orientation()));
    EXPECT_TRUE(out.spareUntouched()) << "the plug-in wrote past the 155952 mask bytes";

    // With one channel of the network input echoed as the label, every mask pixel must show the
    // frame's own content at that place: the turns on the way in and out cancel.
    standin.setOutputEcho(3, 1);
    MaskImage echo;
    EXPECT_EQ(processFrame(table(), handle, &in, &echo.image), 0);
    constexpr int kMargin = 4;  // beside the block borders the shrunk frame mixes levels
    int wrong = 0;
    std::string first;
    for (int y = 0; y < kMaskHeight; ++y) {
        for (int x = 0; x < kMaskWidth; ++x) {
            if (std::abs(y - kMaskHeight / 2) < kMargin || std::abs(x - kMaskWidth / 2) < kMargin)
                continue;
            const int want =
                shifted(rgbOfGray(kBlockLevels[y * 2 / kMaskHeight][x * 2 / kMaskWidth]));
            const int got = echo.bytes[y * kMaskWidth + x];
            if (got != want && wrong++ == 0) {
                first = "at " + std::to_string(x) + "," + std::to_string(y) + ": " +
                        std::to_string(got) + ", want " + std::to_string(want);
            }
        }
    }
    EXPECT_EQ(wrong, 0) << first;
    EXPECT_TRUE(echo.spareUntouched());
    EXPECT_EQ(standin.recordedInt("runs"), 2);
    EXPECT_EQ(releaseHandle(table(), handle), 0);
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    return std::string(runtimeName(std::get<0>(info.param))) + "_" +
           (std::get<1>(info.param) ? "DecryptedBuffer" : "File") + "_" +
           tableName(std::get<2>(info.param)) + "_" +
           (std::get<3>(info.param) == BODYSEG_IMAGE_NV21 ? "NV21" : "NV12") + "_" +
           std::to_string(std::get<4>(info.param));
}

INSTANTIATE_TEST_SUITE_P(
    AllHostPaths, EndToEnd,
    ::testing::Combine(::testing::Values(Runtime::Neuropilot, Runtime::Neuron), ::testing::Bool(),
                       ::testing::Values(Table::AlgoAPI, Table::AlgoAPIV1),
                       ::testing::Values(BODYSEG_IMAGE_NV21, BODYSEG_IMAGE_NV12),
                       ::testing::Values(0, 90, 180, 270)),
    caseName);

}  // namespace
}  // namespace e2e
