// A camera host's whole conversation with the plug-in, for both runtimes, both ways of handing
// over the model, both tables, both pixel formats and all four sensor orientations: init, one
// frame, every field of the output Image and every mask byte, release.
#include <gtest/gtest.h>
#include <libyuv.h>

#include <cstring>
#include <tuple>

#include "CameraHost.h"
#include "ExpectedMasks.h"
#include "FrameBuilder.h"

namespace e2e {
namespace {

using Case = std::tuple<Runtime, ModelSource, Table, int, int>;

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

Image inputImage(const functest::Frame& frame, int imageType, int orientation) {
    Image in{};
    in.orientation = orientation;
    in.image_type = imageType;
    in.width = frame.geometry().width;
    in.height = frame.geometry().height;
    in.stride = frame.geometry().stride;
    in.scan = frame.geometry().scan;
    in.data = const_cast<uint8_t*>(frame.data());
    return in;
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

class EndToEnd : public ::testing::TestWithParam<Case> {
  protected:
    Runtime runtime() const { return std::get<0>(GetParam()); }
    ModelSource source() const { return std::get<1>(GetParam()); }
    Table table() const { return std::get<2>(GetParam()); }
    int imageType() const { return std::get<3>(GetParam()); }
    int orientation() const { return std::get<4>(GetParam()); }
    bool decrypt() const { return source() == ModelSource::DecryptedBuffer; }

    // Init through the table, with the model handed over as the case says.
    void* init(const testsupport::StandinClient& standin) {
        const std::vector<uint8_t> stored = decrypt() ? encryptedModel(plain_) : plain_;
        modelPath_ = writeFile(decrypt() ? "model.tflite.enc" : "model.tflite", stored);
        block_ = std::make_unique<InitBlock>(writeConfig(runtime(), decrypt()), modelPath_, stored);
        void* handle = nullptr;
        EXPECT_EQ(initHandle(table(), &handle, block_->param()), 0);
        EXPECT_NE(handle, nullptr);
        // The runtime saw the plain model, from memory after decryption or from the file.
        EXPECT_EQ(standin.recordedBytes("model_bytes"), plain_);
        EXPECT_EQ(standin.hasRecord("model_path"), !decrypt());
        if (!decrypt()) {
            EXPECT_EQ(standin.recordedText("model_path"), modelPath_);
        }
        return handle;
    }

    void expectMaskDescribed(const Image& out) {
        EXPECT_EQ(out.result_width, 456);
        EXPECT_EQ(out.result_height, 342);
        EXPECT_EQ(out.size, 155952u);
        EXPECT_EQ(out.width, 456);
        EXPECT_EQ(out.height, 342);
        EXPECT_EQ(out.stride, 456);
        EXPECT_EQ(out.scan, 342);
    }

    std::vector<uint8_t> plain_ = plainModel();
    std::string modelPath_;
    std::unique_ptr<InitBlock> block_;
};

TEST_P(EndToEnd, NetworkLabelsReachTheHostTurnedBackAndShifted) {
    const testsupport::StandinClient& standin = e2e::standin(runtime());
    standin.setOutputPattern(quadrantOutputInt32());
    void* handle = init(standin);
    ASSERT_NE(handle, nullptr);

    const functest::Frame frame = grayBlocks(imageType());
    Image in = inputImage(frame, imageType(), orientation());
    const Image inBefore = in;
    MaskImage out;
    ASSERT_EQ(processFrame(table(), handle, &in, &out.image), 0);

    expectMaskDescribed(out.image);
    EXPECT_EQ(out.image.data, out.bytes.data());
    EXPECT_EQ(0, std::memcmp(&in, &inBefore, sizeof(in))) << "the input Image must not change";
    const std::vector<uint8_t> expected = expectedQuadrantMask(orientation());
    const std::vector<uint8_t> mask(out.bytes.begin(), out.bytes.begin() + BODYSEG_MASK_BYTES);
    EXPECT_EQ(mask, expected);
    EXPECT_TRUE(out.spareUntouched()) << "the plug-in wrote past the 155952 mask bytes";
    EXPECT_EQ(standin.recordedInt("runs"), 1);
    EXPECT_EQ(releaseHandle(table(), handle), 0);
}

// With the stand-in echoing one channel of the network input as the label, every mask pixel
// must show the frame's own content at that place: the turn on the way in and the turn on the
// way out cancel, whatever the orientation.
TEST_P(EndToEnd, MaskShowsTheFrameWhereItWas) {
    const testsupport::StandinClient& standin = e2e::standin(runtime());
    standin.setOutputEcho(3, 1);
    void* handle = init(standin);
    ASSERT_NE(handle, nullptr);

    const functest::Frame frame = grayBlocks(imageType());
    Image in = inputImage(frame, imageType(), orientation());
    MaskImage out;
    ASSERT_EQ(processFrame(table(), handle, &in, &out.image), 0);

    constexpr int kMargin = 4;
    int checked = 0;
    for (int y = 0; y < kMaskHeight; ++y) {
        const int row = y * 2 / kMaskHeight;
        if (std::abs(y - kMaskHeight / 2) < kMargin)
            continue;
        for (int x = 0; x < kMaskWidth; ++x) {
            if (std::abs(x - kMaskWidth / 2) < kMargin)
                continue;
            const uint8_t want = shifted(rgbOfGray(kBlockLevels[row][x * 2 / kMaskWidth]));
            ASSERT_EQ(out.bytes[y * kMaskWidth + x], want) << "at " << x << "," << y;
            ++checked;
        }
    }
    EXPECT_GT(checked, kMaskWidth * kMaskHeight * 9 / 10);
    EXPECT_EQ(releaseHandle(table(), handle), 0);
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    return std::string(runtimeName(std::get<0>(info.param))) + "_" +
           sourceName(std::get<1>(info.param)) + "_" + tableName(std::get<2>(info.param)) + "_" +
           (std::get<3>(info.param) == BODYSEG_IMAGE_NV21 ? "NV21" : "NV12") + "_" +
           std::to_string(std::get<4>(info.param));
}

INSTANTIATE_TEST_SUITE_P(
    AllHostPaths, EndToEnd,
    ::testing::Combine(::testing::Values(Runtime::Neuropilot, Runtime::Neuron),
                       ::testing::Values(ModelSource::DecryptedBuffer, ModelSource::File),
                       ::testing::Values(Table::AlgoAPI, Table::AlgoAPIV1),
                       ::testing::Values(BODYSEG_IMAGE_NV21, BODYSEG_IMAGE_NV12),
                       ::testing::Values(0, 90, 180, 270)),
    caseName);

}  // namespace
}  // namespace e2e
