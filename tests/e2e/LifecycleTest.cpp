// A handle's life over and over: the working buffers are made once and reused, and a thousand
// cycles of init, frames and release leave nothing behind.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogExpect.h"

namespace e2e {
namespace {

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer keeps freed memory in quarantine, so resident memory says nothing there; the
// plain build measures it, the sanitized one checks every release and looks for leaks itself.
constexpr bool kResidentMemoryMeaningful = false;
constexpr int kCycles = 100;
#else
constexpr bool kResidentMemoryMeaningful = true;
constexpr int kCycles = 1000;
#endif
constexpr int kFramesPerCycle = 10;

long residentBytes() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

// The Neuron backend binds the network input in place, so the stand-in sees the address of the
// plug-in's own input buffer. The process-wide state belongs to the last init: the first engine,
// factory and decrypted model are still registered when its release checks, and are reported.
TEST(Lifecycle, SecondInitKeepsTheWorkingBuffersAndItsReleaseReportsTheFirstAsALeak) {
    const std::string verdict = testsupport::runInChild([] {
        testsupport::ChildChecks check;
        const testsupport::StandinClient& runtime = standin(Runtime::Neuron);
        auto init = encryptedBlock(writeConfig(Runtime::Neuron, true));
        MaskImage out;
        void* first = nullptr;
        void* second = nullptr;
        check.expectEq(plugin().api.algoInitHandle(&first, init->param()), 0, "first init");
        check.expectEq(sendSmallFrame(Table::AlgoAPIV1, first, BODYSEG_IMAGE_NV12, 270, &out), 0,
                       "first frame");
        const int64_t firstInput = runtime.recordedInt("input_address");
        check.expectEq(plugin().api.algoInitHandle(&second, init->param()), 0, "second init");
        check.expect(second != first, "the second init returned the first engine");
        check.expectEq(sendSmallFrame(Table::AlgoAPIV1, second, BODYSEG_IMAGE_NV12, 270, &out), 0,
                       "second frame");
        check.expectEq(runtime.recordedInt("input_address"), firstInput, "input buffer address");

        testsupport::LogCapture log;
        check.expectEq(plugin().api.releaseHandle(second, nullptr), kMemoryFreeError, "release");
        check.expect(testsupport::loggedOnce(log, ANDROID_LOG_ERROR, "releaseHandle",
                                             "SDK_MEMORY_FREE_ERR!"),
                     "release");
        return check.verdict();
    });
    EXPECT_EQ(verdict, "");
}

TEST(Lifecycle, ManyCyclesReleaseCleanlyAndResidentMemoryStaysFlat) {
    const testsupport::StandinClient& runtime = standin(Runtime::Neuropilot);
    runtime.setOutputPattern({1, 0, 0, 0, 0, 0, 0, 0});
    auto init = encryptedBlock(writeConfig(Runtime::Neuropilot, true));
    MaskImage out;
    constexpr int kWarmup = kCycles / 10;
    long residentAfterWarmup = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        if (cycle == kWarmup)
            residentAfterWarmup = residentBytes();
        void* handle = nullptr;
        ASSERT_EQ(plugin().api.algoInitHandle(&handle, init->param()), 0) << "cycle " << cycle;
        for (int frame = 0; frame < kFramesPerCycle; ++frame) {
            ASSERT_EQ(sendSmallFrame(Table::AlgoAPIV1, handle, BODYSEG_IMAGE_NV12, 270, &out), 0)
                << "cycle " << cycle << " frame " << frame;
        }
        ASSERT_EQ(plugin().api.releaseHandle(handle, nullptr), 0) << "cycle " << cycle;
    }
    EXPECT_EQ(runtime.recordedInt("live_interpreters"), 0);
    EXPECT_EQ(runtime.recordedInt("live_options"), 0);
    EXPECT_EQ(runtime.recordedInt("runs"), kCycles * kFramesPerCycle);
    if (kResidentMemoryMeaningful) {
        const long growth = residentBytes() - residentAfterWarmup;
        EXPECT_LT(growth, 2L << 20) << "resident memory grew by " << growth << " bytes";
    }
}

}  // namespace
}  // namespace e2e
