// A camera session of many thousand frames on one handle, and many sessions one after another.
// The host mirrors the plug-in's tracked allocations into its own memory map, as a phone's memory
// service does, and watches that map between frames: what a frame allocates is gone when it
// returns, and a release leaves the map empty. The counts come from the environment so that
// scripts/soak.sh can run the long session under the sanitizers while the suite runs a short one.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

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

// Frame `index` of a session: three sizes with and without padding, every orientation, both
// formats, in `frame` (grown as needed).
Image frameAt(long index, std::vector<uint8_t>* frame) {
    constexpr functest::FrameGeometry kShapes[] = {
        {64, 48, 64, 48}, {640, 480, 704, 496}, {321, 241, 322, 242}};
    const functest::FrameGeometry& g = kShapes[index % 3];
    frame->resize(static_cast<size_t>(g.stride) * g.scan * 3 / 2, static_cast<uint8_t>(index));
    return e2e::inputImage(g, (index / 12) % 2 == 0 ? 5 : 6, 90 * ((index / 3) % 4), frame->data());
}

class Soak : public ::testing::Test {
  protected:
    void SetUp() override {
        e2e::setLogMask(1);
        // The host hands its memory map to the plug-in through the one C++ entry point it exports.
        void* library = dlopen(testsupport::pluginPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(library, nullptr) << dlerror();
        auto setInfo = reinterpret_cast<int (*)(kavo::APSMemMapInfo*)>(
            dlsym(library, "_ZN4kavo15APSAlgoMemTrace13setAPSMemInfoEPNS_13APSMemMapInfoE"));
        ASSERT_NE(setInfo, nullptr) << dlerror();
        kavo::APSMemMapInfo info = hostMap_.info();
        ASSERT_EQ(setInfo(&info), 0);
        dlclose(library);
    }
    void TearDown() override {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::printf("peak resident %ld KiB\n", usage.ru_maxrss);
    }

    hostaps::ApsMemMap hostMap_;
};

TEST_F(Soak, OneHandleTakesEveryFrameOfALongSessionAndAllocatesNothingThatStays) {
    const long frames = countFromEnvironment("BODYSEG_SOAK_FRAMES", 1000);
    e2e::standin(Runtime::Neuropilot);
    auto init = e2e::hostBlock(Runtime::Neuropilot, true);
    void* handle = nullptr;
    ASSERT_EQ(e2e::initHandle(Table::AlgoAPIV1, &handle, init->param()), 0);
    const uint32_t usingAfterInit = hostMap_.nativeUsingSize();
    const size_t recordsAfterInit = hostMap_.nativeRecordCount();
    ASSERT_GT(recordsAfterInit, 0u) << "the host map sees none of the plug-in's allocations";
    std::vector<uint8_t> frame;
    e2e::MaskImage out;
    long failed = 0;
    // The heap too, for what a frame allocates without registering it: a frame buffer that stays
    // behind grows it by a frame's size each time. (Sanitizer allocators report no figure here.)
    size_t heapAfterFirstFrames = 0;
    for (long i = 0; i < frames; ++i) {
        Image in = frameAt(i, &frame);
        failed += e2e::processFrame(Table::AlgoAPIV1, handle, &in, &out.image) != 0;
        if (i == 11)
            heapAfterFirstFrames = mallinfo2().uordblks;
        if (i % 1000 == 999 || i == frames - 1) {
            ASSERT_EQ(hostMap_.nativeUsingSize(), usingAfterInit) << "after frame " << i;
            ASSERT_EQ(hostMap_.nativeRecordCount(), recordsAfterInit) << "after frame " << i;
            ASSERT_LT(mallinfo2().uordblks, heapAfterFirstFrames + (size_t{1} << 20))
                << "heap bytes in use after frame " << i;
        }
    }
    EXPECT_EQ(failed, 0);
    EXPECT_TRUE(out.spareUntouched());
    EXPECT_EQ(e2e::releaseHandle(Table::AlgoAPIV1, handle), 0);
    EXPECT_EQ(hostMap_.nativeUsingSize(), 0u);
    EXPECT_EQ(hostMap_.nativeRecordCount(), 0u);
}

TEST_F(Soak, SessionsOneAfterAnotherLeaveNothingBehind) {
    const long cycles = countFromEnvironment("BODYSEG_SOAK_CYCLES", 100);
    std::vector<uint8_t> frame;
    e2e::MaskImage out;
    for (long cycle = 0; cycle < cycles; ++cycle) {
        // Both runtimes, both tables, both ways to hand over the model.
        const Runtime runtime = cycle % 2 == 0 ? Runtime::Neuropilot : Runtime::Neuron;
        const Table table = (cycle / 2) % 2 == 0 ? Table::AlgoAPI : Table::AlgoAPIV1;
        e2e::standin(runtime);
        auto init = e2e::hostBlock(runtime, (cycle / 4) % 2 == 0);
        void* handle = nullptr;
        ASSERT_EQ(e2e::initHandle(table, &handle, init->param()), 0) << "cycle " << cycle;
        Image in = frameAt(cycle, &frame);
        ASSERT_EQ(e2e::processFrame(table, handle, &in, &out.image), 0) << "cycle " << cycle;
        ASSERT_EQ(e2e::releaseHandle(table, handle), 0) << "cycle " << cycle;
        ASSERT_EQ(hostMap_.nativeRecordCount(), 0u) << "cycle " << cycle;
    }
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        const auto& standin = e2e::standin(runtime);
        EXPECT_EQ(standin.recordedInt("live_interpreters", 0) +
                      standin.recordedInt("live_options", 0) +
                      standin.recordedInt("live_runtimes", 0),
                  0);
    }
}

}  // namespace
