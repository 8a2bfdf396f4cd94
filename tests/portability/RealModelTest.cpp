// The prepared person-segmentation model through the whole product: the sample photos as padded
// NV21 frames, the built plug-in, each stand-in runtime running the model on the CPU engine. The
// masks are the same on every architecture and through either runtime, plain or encrypted model.
// The frames are made with the tests' own BT.601 arithmetic: libyuv's RGB-to-YUV rows (the
// camera-host tool's photo frames) round chroma differently on x86 and on ARM. Skips without the
// model and the photos (scripts/fetch-model.sh, scripts/fetch-photos.sh).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CameraHost.h"
#include "FrameBuilder.h"
#include "ImageIo.h"
#include "MaskDigest.h"
#include "MaskImages.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace portability {
namespace {

using e2e::Runtime;

constexpr uint8_t kPerson = 2;  // model label 1 after the plug-in's label shift

TEST(RealModel, MasksAreTheSameOnEveryArchitectureAndRuntime) {
    const std::string cache = testsupport::sourceDir() + "/.cache/";
    const std::vector<uint8_t> plain =
        testsupport::readFileBytes(cache + "models/bodyseg_342x456.tflite");
    if (plain.empty())
        GTEST_SKIP() << "no prepared model: run scripts/fetch-model.sh";
    ASSERT_EQ(digestOf(plain.data(), plain.size()), "0x38afd7e2be6b4d04")
        << "the prepared model is not the one the masks were recorded with";
    // The runtimes run the real engine: no script mode, loaded as a host makes them available.
    for (const char* file : {"libtflite_mtk.so", "libneuron_runtime.6.so"})
        ASSERT_NE(dlopen((testsupport::standinDir() + "/" + file).c_str(), RTLD_NOW | RTLD_GLOBAL),
                  nullptr)
            << dlerror();
    struct Sample {
        const char* photo;
        int orientation;
        Runtime runtime;
        bool encrypted;
        const char* mask;
    };
    const Sample samples[] = {
        {"astronaut.png", 90, Runtime::Neuropilot, false, "0x6e0d46c1e027371f"},
        {"astronaut.png", 90, Runtime::Neuron, true, "0x6e0d46c1e027371f"},
        {"astronaut.png", 0, Runtime::Neuropilot, true, "0x349b2e00a816ecb7"},
        {"camera.png", 90, Runtime::Neuron, false, "0xaad481fb208de09d"},
        {"camera.png", 180, Runtime::Neuropilot, false, "0xaad481fb208de09d"},
        {"rocket.jpg", 270, Runtime::Neuropilot, false, "0x2b653c856d760e2f"},
    };
    std::vector<uint8_t> astronaut;
    for (const Sample& s : samples) {
        SCOPED_TRACE(std::string(s.photo) + " at " + std::to_string(s.orientation) + " through " +
                     e2e::runtimeName(s.runtime));
        bodyseg::RgbImage photo;
        std::string error;
        ASSERT_TRUE(bodyseg::readPhoto(cache + "photos/" + s.photo, &photo, &error))
            << error << " (run scripts/fetch-photos.sh)";
        const functest::FrameGeometry geometry{photo.width, photo.height,
                                               (photo.width + 1) / 2 * 2 + 32,
                                               (photo.height + 1) / 2 * 2 + 16};
        functest::Frame frame(geometry, functest::kImageNV21);
        frame.paint([&photo](int x, int y) {
            const uint8_t* rgb = photo.at(x, y);
            return functest::yuvFromRgb(rgb[0], rgb[1], rgb[2]);
        });

        const std::vector<uint8_t> model = s.encrypted ? testsupport::encryptedModel(plain) : plain;
        const std::string config =
            testsupport::configJson(e2e::runtimeName(s.runtime), s.encrypted);
        e2e::InitBlock block(testsupport::writeTempFile("config.json", config),
                             testsupport::writeTempFile("bodyseg.tflite", model), model);
        void* handle = nullptr;
        ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block.param()), 0);
        Image in = e2e::inputImage(geometry, functest::kImageNV21, s.orientation, frame.data());
        e2e::MaskImage out;
        EXPECT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
        EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
        const std::vector<uint8_t> mask(out.bytes.begin(), out.bytes.begin() + BODYSEG_MASK_BYTES);
        std::printf("%s %3d mask %s\n", s.photo, s.orientation,
                    digestOf(mask.data(), mask.size()).c_str());
        EXPECT_EQ(digestOf(mask.data(), mask.size()), s.mask);
        if (&s == samples)
            astronaut = mask;
    }
    // What the recorded masks show: the astronaut's face is marked, the wall beside her is not
    // (the mask lies on the frame, which is the photo as it is).
    const std::vector<uint8_t> labels = bodyseg::uprightLabels(astronaut.data(), 0, 512, 512);
    EXPECT_EQ(labels.at(120 * 512 + 225), kPerson);
    EXPECT_NE(labels.at(60 * 512 + 320), kPerson);
}

}  // namespace
}  // namespace portability
