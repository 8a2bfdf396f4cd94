// The prepared model on the sample photos through the built plug-in and the real CPU engine, on
// every architecture the plug-in is built for: x86-64, aarch64 and armhf give the same masks. The
// frames are made from the photos with the tests' own BT.601 arithmetic rather than libyuv's
// RGB-to-YUV rows, whose chroma rounding differs between x86 and ARM (LibyuvRgbToYuvTest), so
// that every architecture sends the same bytes.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CameraHost.h"
#include "FrameBuilder.h"
#include "ImageIo.h"
#include "MaskDigest.h"
#include "PluginPaths.h"

namespace portability {
namespace {

struct Sample {
    const char* photo;
    int orientation;
    const char* frame;
    const char* mask;
};

// Recorded with the model scripts/fetch-model.sh prepares; the same on every architecture.
constexpr const char* kModelDigest = "0x38afd7e2be6b4d04";
const Sample kSamples[] = {
    {"astronaut.png", 90, "0xc4d51a570cda9d79", "0x6e0d46c1e027371f"},
    {"astronaut.png", 0, "0xc4d51a570cda9d79", "0x349b2e00a816ecb7"},
    {"camera.png", 90, "0x97d932a5fd0aa931", "0xaad481fb208de09d"},
    {"camera.png", 180, "0x97d932a5fd0aa931", "0xaad481fb208de09d"},
    {"rocket.jpg", 270, "0xf7f6034505dbb50f", "0x2b653c856d760e2f"},
};

std::string cachePath(const std::string& relative) {
    return testsupport::sourceDir() + "/.cache/" + relative;
}

class RealModelMasks : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        if (!bodyseg::readFile(cachePath("models/bodyseg_342x456.tflite"), &model_, &error)) {
            GTEST_SKIP() << "no prepared model: run scripts/fetch-model.sh";
        }
        // The stand-in runs the real engine: no script mode, loaded as a host makes it available.
        ASSERT_NE(dlopen((testsupport::standinDir() + "/libtflite_mtk.so").c_str(),
                         RTLD_NOW | RTLD_GLOBAL),
                  nullptr)
            << dlerror();
    }

    // The photo as a padded NV21 frame at `orientation`, and the mask of that frame.
    void run(const Sample& sample, std::string* frameDigest, std::string* maskDigest) {
        bodyseg::RgbImage photo;
        std::string error;
        ASSERT_TRUE(
            bodyseg::readPhoto(cachePath(std::string("photos/") + sample.photo), &photo, &error))
            << error << " (run scripts/fetch-photos.sh)";
        const functest::FrameGeometry geometry{photo.width, photo.height,
                                               (photo.width + 1) / 2 * 2 + 32,
                                               (photo.height + 1) / 2 * 2 + 16};
        functest::Frame frame(geometry, functest::kImageNV21);
        frame.paint([&photo](int x, int y) {
            const uint8_t* rgb = photo.at(x, y);
            return functest::yuvFromRgb(rgb[0], rgb[1], rgb[2]);
        });
        const size_t frameSize = static_cast<size_t>(geometry.stride) * geometry.scan * 3 / 2;
        *frameDigest = digestOf(frame.data(), frameSize);

        e2e::InitBlock block(e2e::writeConfig(e2e::Runtime::Neuropilot, false),
                             e2e::writeFile("bodyseg.tflite", model_), model_);
        void* handle = nullptr;
        ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block.param()), 0);
        Image in =
            e2e::inputImage(geometry, functest::kImageNV21, sample.orientation, frame.data());
        e2e::MaskImage out;
        EXPECT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
        EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
        *maskDigest = digestOf(out.bytes.data(), BODYSEG_MASK_BYTES);
    }

    std::vector<uint8_t> model_;
};

TEST_F(RealModelMasks, AreTheSameOnEveryArchitecture) {
    ASSERT_EQ(digestOf(model_), kModelDigest)
        << "the prepared model is not the one the masks were recorded with";
    for (const Sample& sample : kSamples) {
        std::string frame;
        std::string mask;
        run(sample, &frame, &mask);
        std::printf("%s %3d frame %s mask %s\n", sample.photo, sample.orientation, frame.c_str(),
                    mask.c_str());
        EXPECT_EQ(frame, sample.frame) << sample.photo << " " << sample.orientation;
        EXPECT_EQ(mask, sample.mask)
            << sample.photo << " " << sample.orientation << " on " << kArchitecture;
    }
}

}  // namespace
}  // namespace portability
