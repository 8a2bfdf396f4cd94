// The prepared person-segmentation model through the whole product: the sample photos as padded
// NV21 frames, the built plug-in, each stand-in runtime running the model on the CPU engine. The
// masks are the same on every architecture and through either runtime, plain or encrypted model,
// with 32-bit or (NeuroPilot's) byte labels.
// The frames are made with the tests' own BT.601 arithmetic: libyuv's RGB-to-YUV rows (the
// camera-host tool's photo frames) round chroma differently on x86 and on ARM. Skips without the
// model and the photos (scripts/fetch-model.sh, scripts/fetch-photos.sh).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "CameraHost.h"
#include "ImageIo.h"
#include "MaskDigest.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace portability {
namespace {

TEST(RealModel, MasksAreTheSameOnEveryArchitectureAndRuntime) {
    const std::string cache = testsupport::sourceDir() + "/.cache/";
    // The model both runtimes run (int32 labels) and NeuroPilot's byte-label form.
    const std::vector<uint8_t> wide =
        testsupport::readFileBytes(cache + "models/bodyseg_342x456.tflite");
    const std::vector<uint8_t> bytes =
        testsupport::readFileBytes(cache + "models/bodyseg_342x456_u8.tflite");
    if (wide.empty() || bytes.empty())
        GTEST_SKIP() << "no prepared models: run scripts/fetch-model.sh";
    ASSERT_EQ(digestOf(wide), "0x4c11427e8a1ff2e3")
        << "the prepared model is not the one the masks were recorded with";
    ASSERT_EQ(digestOf(bytes), "0x7e96584eed24597b")
        << "the byte-label model is not the one the masks were recorded with";
    // The runtimes run the real engine: no script mode, loaded as a host makes them available.
    for (const char* file : {"libtflite_mtk.so", "libneuron_runtime.6.so"})
        ASSERT_NE(dlopen((testsupport::standinDir() + "/" + file).c_str(), RTLD_NOW | RTLD_GLOBAL),
                  nullptr)
            << dlerror();
    // Photo, orientation, runtime, byte labels, encrypted model, mask digest.
    const std::tuple<const char*, int, e2e::Runtime, bool, bool, const char*> samples[] = {
        {"astronaut.png", 90, e2e::Runtime::Neuropilot, false, false, "0x6e0d46c1e027371f"},
        {"astronaut.png", 90, e2e::Runtime::Neuron, false, true, "0x6e0d46c1e027371f"},
        {"astronaut.png", 90, e2e::Runtime::Neuropilot, true, true, "0x6e0d46c1e027371f"},
        {"astronaut.png", 0, e2e::Runtime::Neuropilot, false, true, "0x349b2e00a816ecb7"},
        {"camera.png", 90, e2e::Runtime::Neuron, false, false, "0xaad481fb208de09d"},
        {"camera.png", 180, e2e::Runtime::Neuropilot, true, false, "0xaad481fb208de09d"},
        {"rocket.jpg", 270, e2e::Runtime::Neuropilot, false, false, "0x2b653c856d760e2f"},
        {"rocket.jpg", 270, e2e::Runtime::Neuropilot, true, false, "0x2b653c856d760e2f"},
    };
    for (const auto& [name, orientation, runtime, byteLabels, encrypted, digest] : samples) {
        SCOPED_TRACE(std::string(name) + " at " + std::to_string(orientation) + " through " +
                     e2e::runtimeName(runtime) + (byteLabels ? ", byte labels" : ""));
        const std::vector<uint8_t>& plain = byteLabels ? bytes : wide;
        bodyseg::RgbImage photo;
        std::string error;
        ASSERT_TRUE(bodyseg::readPhoto(cache + "photos/" + name, &photo, &error))
            << error << " (run scripts/fetch-photos.sh)";
        const functest::FrameGeometry geometry{photo.width, photo.height,
                                               (photo.width + 1) / 2 * 2 + 32,
                                               (photo.height + 1) / 2 * 2 + 16};
        functest::Frame frame(geometry, functest::kImageNV21);
        frame.paint([&photo](int x, int y) {
            const uint8_t* rgb = photo.at(x, y);
            return functest::yuvFromRgb(rgb[0], rgb[1], rgb[2]);
        });
        const auto block = e2e::hostBlock(runtime, encrypted,
                                          encrypted ? testsupport::encryptedModel(plain) : plain);
        void* handle = nullptr;
        ASSERT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, block->param()), 0);
        Image in = e2e::inputImage(geometry, functest::kImageNV21, orientation, frame.data());
        e2e::MaskImage out;
        EXPECT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
        EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);
        EXPECT_EQ(digestOf(out.mask()), digest);
    }
}

}  // namespace
}  // namespace portability
