// A camera session of many thousand frames on one handle, and many sessions one after another.
// The host mirrors the plug-in's tracked allocations into its own memory map, as a phone's memory
// service does, and watches that map between frames: what a frame allocates is gone when it
// returns, and a release leaves the map empty. The counts come from the environment so that
// scripts/soak.sh can run the long session under the sanitizers while the suite runs a short one.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/system_properties.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "ApsMemMap.h"
#include "CameraHost.h"
#include "PluginPaths.h"

namespace {

using e2e::Runtime;
using e2e::Table;

long countFromEnvironment(const char* name, long fallback) {
    const char* text = std::getenv(name);
    return text != nullptr && std::atol(text) > 0 ? std::atol(text) : fallback;
}

long peakResidentKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// The frames of a session: both formats, every orientation, three sizes, with and without padding.
struct FrameShape {
    int width, height, stride, scan;
};
constexpr FrameShape kShapes[] = {{64, 48, 64, 48}, {640, 480, 704, 496}, {321, 241, 322, 242}};
constexpr int kOrientations[] = {0, 90, 180, 270};

class Soak : public ::testing::Test {
  protected:
    void SetUp() override {
        __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl", "1");
        e2e::plugin().api.setLogLevel(1);
        // The host hands its memory map to the plug-in through the one C++ entry point it exports.
        void* library = dlopen(testsupport::pluginPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(library, nullptr) << dlerror();
        using SetInfo = int (*)(kavo::APSMemMapInfo*);
        auto setInfo = reinterpret_cast<SetInfo>(
            dlsym(library, "_ZN4kavo15APSAlgoMemTrace13setAPSMemInfoEPNS_13APSMemMapInfoE"));
        ASSERT_NE(setInfo, nullptr) << dlerror();
        kavo::APSMemMapInfo info = hostMap_.info();
        ASSERT_EQ(setInfo(&info), 0);
        dlclose(library);
    }

    std::unique_ptr<e2e::InitBlock> block(Runtime runtime, bool decrypt) {
        const std::vector<uint8_t> stored = e2e::encryptedModel(e2e::plainModel());
        return std::make_unique<e2e::InitBlock>(e2e::writeConfig(runtime, decrypt),
                                                e2e::writeFile("soak.enc", stored), stored);
    }

    // Frame `index` of a session, in the buffer `frame` (grown as needed).
    static Image frameAt(long index, std::vector<uint8_t>* frame) {
        const FrameShape& s = kShapes[index % 3];
        frame->resize(static_cast<size_t>(s.stride) * s.scan * 3 / 2, static_cast<uint8_t>(index));
        Image in{};
        in.width = s.width;
        in.height = s.height;
        in.stride = s.stride;
        in.scan = s.scan;
        in.orientation = kOrientations[(index / 3) % 4];
        in.image_type = (index / 12) % 2 == 0 ? BODYSEG_IMAGE_NV21 : BODYSEG_IMAGE_NV12;
        in.data = frame->data();
        return in;
    }

    hostaps::ApsMemMap hostMap_;
};

TEST_F(Soak, OneHandleTakesEveryFrameOfALongSessionAndAllocatesNothingThatStays) {
    const long frames = countFromEnvironment("BODYSEG_SOAK_FRAMES", 1000);
    e2e::standin(Runtime::Neuropilot);
    auto init = block(Runtime::Neuropilot, true);
    void* handle = nullptr;
    ASSERT_EQ(e2e::initHandle(Table::AlgoAPIV1, &handle, init->param()), 0);
    const uint32_t usingAfterInit = hostMap_.nativeUsingSize();
    const size_t recordsAfterInit = hostMap_.nativeRecordCount();
    ASSERT_GT(recordsAfterInit, 0u) << "the host map sees none of the plug-in's allocations";

    std::vector<uint8_t> frame;
    e2e::MaskImage out;
    long failed = 0;
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < frames; ++i) {
        Image in = frameAt(i, &frame);
        failed += e2e::processFrame(Table::AlgoAPIV1, handle, &in, &out.image) != 0;
        if (i % 1000 == 999 || i == frames - 1) {
            ASSERT_EQ(hostMap_.nativeUsingSize(), usingAfterInit) << "after frame " << i;
            ASSERT_EQ(hostMap_.nativeRecordCount(), recordsAfterInit) << "after frame " << i;
        }
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(failed, 0);
    EXPECT_TRUE(out.spareUntouched());
    EXPECT_EQ(e2e::releaseHandle(Table::AlgoAPIV1, handle), 0);
    EXPECT_EQ(hostMap_.nativeUsingSize(), 0u);
    EXPECT_EQ(hostMap_.nativeRecordCount(), 0u);
    std::printf("%ld frames on one handle in %.1f s (%.0f frames/s), peak resident %ld KiB\n",
                frames, seconds, frames / seconds, peakResidentKiB());
}

TEST_F(Soak, SessionsOneAfterAnotherLeaveNothingBehind) {
    const long cycles = countFromEnvironment("BODYSEG_SOAK_CYCLES", 100);
    std::vector<uint8_t> frame;
    e2e::MaskImage out;
    const auto start = std::chrono::steady_clock::now();
    for (long cycle = 0; cycle < cycles; ++cycle) {
        // Both runtimes, both ways to hand over the model, both tables.
        const Runtime runtime = cycle % 2 == 0 ? Runtime::Neuropilot : Runtime::Neuron;
        const Table table = (cycle / 2) % 2 == 0 ? Table::AlgoAPI : Table::AlgoAPIV1;
        e2e::standin(runtime);
        auto init = block(runtime, (cycle / 4) % 2 == 0);
        void* handle = nullptr;
        ASSERT_EQ(e2e::initHandle(table, &handle, init->param()), 0) << "cycle " << cycle;
        Image in = frameAt(cycle, &frame);
        ASSERT_EQ(e2e::processFrame(table, handle, &in, &out.image), 0) << "cycle " << cycle;
        ASSERT_EQ(e2e::releaseHandle(table, handle), 0) << "cycle " << cycle;
        ASSERT_EQ(hostMap_.nativeRecordCount(), 0u) << "cycle " << cycle;
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        const auto& standin = e2e::standin(runtime);
        EXPECT_EQ(standin.recordedInt("live_interpreters", 0), 0);
        EXPECT_EQ(standin.recordedInt("live_options", 0), 0);
        EXPECT_EQ(standin.recordedInt("live_runtimes", 0), 0);
    }
    std::printf("%ld init/frame/release cycles in %.1f s, peak resident %ld KiB\n", cycles, seconds,
                peakResidentKiB());
}

}  // namespace
