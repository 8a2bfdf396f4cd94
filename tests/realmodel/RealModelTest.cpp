// The prepared person-segmentation model through the whole product: sample photos turned into the
// frames a sensor delivers, the built plug-in, each stand-in runtime running the model on the CPU
// engine, and the masks read back onto the upright photos.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "CameraHost.h"
#include "FrameSynthesis.h"
#include "ImageIo.h"
#include "MaskImages.h"
#include "PluginPaths.h"

namespace {

constexpr uint8_t kPerson = 2;  // model label 1 after the plug-in's label shift

std::string cachePath(const std::string& relative) {
    return testsupport::sourceDir() + "/.cache/" + relative;
}

// Where the overlays of every run are kept for a person to look at.
std::string overlayDir() {
    const std::string dir = testsupport::binaryDir() + "/../test-output";
    mkdir(dir.c_str(), 0755);
    return dir;
}

// A runtime running the real engine: no script property, the stand-in loaded as a host does.
void makeRuntimeAvailable(e2e::Runtime runtime) {
    const char* file =
        runtime == e2e::Runtime::Neuropilot ? "libtflite_mtk.so" : "libneuron_runtime.6.so";
    ASSERT_NE(dlopen((testsupport::standinDir() + "/" + file).c_str(), RTLD_NOW | RTLD_GLOBAL),
              nullptr)
        << dlerror();
}

class RealModel : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::string error;
        if (!bodyseg::readFile(cachePath("models/bodyseg_342x456.tflite"), &plain_, &error)) {
            plain_.clear();
        }
    }

    void SetUp() override {
        if (plain_.empty()) {
            GTEST_SKIP() << "no prepared model: run scripts/fetch-model.sh (scripts/test.sh does)";
        }
    }

    // The upright label map of `photo` sent at `orientation` through `runtime`.
    std::vector<uint8_t> uprightMask(e2e::Runtime runtime, const std::string& photoName,
                                     int orientation, bodyseg::RgbImage* shown = nullptr) {
        makeRuntimeAvailable(runtime);
        bodyseg::RgbImage photo;
        std::string error;
        EXPECT_TRUE(bodyseg::readPhoto(cachePath("photos/" + photoName), &photo, &error)) << error;
        photo = bodyseg::cropToEven(photo);
        bodyseg::FrameLayout layout;
        layout.orientation = orientation;
        bodyseg::Frame frame;
        EXPECT_TRUE(bodyseg::frameFromPhoto(photo, layout, &frame, &error)) << error;

        const std::vector<uint8_t> stored = e2e::encryptedModel(plain_);
        e2e::InitBlock init(e2e::writeConfig(runtime, true),
                            e2e::writeFile("bodyseg.tflite.enc", stored), stored);
        void* handle = nullptr;
        EXPECT_EQ(e2e::initHandle(e2e::Table::AlgoAPI, &handle, init.param()), 0);
        Image in{};
        in.orientation = orientation;
        in.image_type = BODYSEG_IMAGE_NV21;
        in.width = frame.width;
        in.height = frame.height;
        in.stride = frame.stride;
        in.scan = frame.scan;
        in.data = frame.bytes.data();
        e2e::MaskImage out;
        EXPECT_EQ(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0);
        EXPECT_EQ(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0);

        std::vector<uint8_t> labels =
            bodyseg::uprightLabels(out.bytes.data(), orientation, photo.width, photo.height);
        // Kept for a person to look at: the overlay in the photo's own orientation.
        const std::string overlay = overlayDir() + "/" + photoName + "_" +
                                    e2e::runtimeName(runtime) + "_" + std::to_string(orientation) +
                                    ".png";
        bodyseg::writePng(overlay, bodyseg::overlay(photo, labels), &error);
        if (shown != nullptr)
            *shown = photo;
        return labels;
    }

    static std::vector<uint8_t> plain_;
};

std::vector<uint8_t> RealModel::plain_;

double personShare(const std::vector<uint8_t>& labels) {
    size_t person = 0;
    for (uint8_t label : labels)
        person += label == kPerson;
    return static_cast<double>(person) / labels.size();
}

double intersectionOverUnion(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    size_t both = 0;
    size_t either = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        both += a[i] == kPerson && b[i] == kPerson;
        either += a[i] == kPerson || b[i] == kPerson;
    }
    return either == 0 ? 1.0 : static_cast<double>(both) / either;
}

// The share of person pixels in a square of side 2r + 1 around (x, y).
double personAround(const std::vector<uint8_t>& labels, int width, int x, int y, int r = 6) {
    int person = 0;
    int all = 0;
    for (int dy = -r; dy <= r; ++dy) {
        for (int dx = -r; dx <= r; ++dx) {
            person += labels[(y + dy) * width + (x + dx)] == kPerson;
            ++all;
        }
    }
    return static_cast<double>(person) / all;
}

TEST_F(RealModel, AstronautIsMarkedAndHerBackgroundIsNot) {
    bodyseg::RgbImage photo;
    const std::vector<uint8_t> labels =
        uprightMask(e2e::Runtime::Neuropilot, "astronaut.png", 90, &photo);
    ASSERT_EQ(photo.width, 512);
    struct Region {
        const char* name;
        int x;
        int y;
        bool person;
    };
    const Region regions[] = {
        {"face", 225, 120, true},       {"suit", 150, 390, true}, {"helmet", 380, 440, true},
        {"empty wall", 320, 60, false}, {"flag", 30, 120, false}, {"shuttle", 410, 160, false},
    };
    for (const Region& r : regions) {
        const double share = personAround(labels, photo.width, r.x, r.y);
        if (r.person) {
            EXPECT_GT(share, 0.95) << r.name;
        } else {
            EXPECT_LT(share, 0.05) << r.name;
        }
    }
}

TEST_F(RealModel, RocketHasNoPerson) {
    EXPECT_LT(personShare(uprightMask(e2e::Runtime::Neuropilot, "rocket.jpg", 90)), 0.01);
}

// The network sees the upright picture at 90 and 270 and a sideways one at 0 and 180; each pair
// sees the same picture, turned half round, and must agree once turned back.
TEST_F(RealModel, OppositeOrientationsAgree) {
    for (const char* photo : {"astronaut.png", "camera.png"}) {
        const auto at0 = uprightMask(e2e::Runtime::Neuropilot, photo, 0);
        const auto at90 = uprightMask(e2e::Runtime::Neuropilot, photo, 90);
        const auto at180 = uprightMask(e2e::Runtime::Neuropilot, photo, 180);
        const auto at270 = uprightMask(e2e::Runtime::Neuropilot, photo, 270);
        const double upright = intersectionOverUnion(at90, at270);
        const double sideways = intersectionOverUnion(at0, at180);
        std::printf("%s: IoU 90/270 %.4f, 0/180 %.4f, 90/0 %.4f\n", photo, upright, sideways,
                    intersectionOverUnion(at90, at0));
        EXPECT_GE(upright, 0.95) << photo;
        EXPECT_GE(sideways, 0.95) << photo;
        EXPECT_GT(personShare(at90), 0.2) << photo;
    }
}

TEST_F(RealModel, BothRuntimesGiveTheSameMask) {
    for (const char* photo : {"astronaut.png", "camera.png"}) {
        EXPECT_EQ(uprightMask(e2e::Runtime::Neuropilot, photo, 90),
                  uprightMask(e2e::Runtime::Neuron, photo, 90))
            << photo;
    }
}

}  // namespace
