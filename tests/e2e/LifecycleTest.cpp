// A handle's life over and over: the working buffers are made once and reused, and a thousand
// cycles of init, frames and release leave nothing behind.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "CameraHost.h"
#include "ChildProcess.h"

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

class Lifecycle : public ::testing::Test {
  protected:
    std::unique_ptr<InitBlock> block(Runtime runtime) {
        const std::vector<uint8_t> stored = encryptedModel(plainModel());
        return std::make_unique<InitBlock>(writeConfig(runtime, true),
                                           writeFile("model.enc", stored), stored);
    }

    int sendFrame(void* handle, MaskImage* out) {
        Image in{};
        in.orientation = 270;
        in.image_type = BODYSEG_IMAGE_NV12;
        in.width = in.stride = 64;
        in.height = in.scan = 48;
        in.data = frame_.data();
        return plugin().apiV1.processImage(handle, &in, &out->image, nullptr, nullptr);
    }

    std::vector<uint8_t> frame_ = std::vector<uint8_t>(64 * 48 * 3 / 2, 90);
};

// The Neuron backend binds the network input in place, so the stand-in sees the address of the
// plug-in's own input buffer.
TEST_F(Lifecycle, SecondInitKeepsTheWorkingBuffers) {
    const std::string verdict = testsupport::runInChild([&]() -> std::string {
        const testsupport::StandinClient& runtime = standin(Runtime::Neuron);
        auto init = block(Runtime::Neuron);
        MaskImage out;
        void* first = nullptr;
        if (plugin().api.algoInitHandle(&first, init->param()) != 0)
            return "first init failed";
        if (sendFrame(first, &out) != 0)
            return "first frame failed";
        const int64_t firstInput = runtime.recordedInt("input_address");
        void* second = nullptr;
        if (plugin().api.algoInitHandle(&second, init->param()) != 0)
            return "second init failed";
        if (second == first)
            return "the second init returned the first engine";
        if (sendFrame(second, &out) != 0)
            return "second frame failed";
        const int64_t secondInput = runtime.recordedInt("input_address");
        return firstInput == secondInput ? "" : "the second handle got a new input buffer";
    });
    EXPECT_EQ(verdict, "");
}

TEST_F(Lifecycle, ManyCyclesReleaseCleanlyAndResidentMemoryStaysFlat) {
    const testsupport::StandinClient& runtime = standin(Runtime::Neuropilot);
    runtime.setOutputPattern({1, 0, 0, 0, 0, 0, 0, 0});
    auto init = block(Runtime::Neuropilot);
    MaskImage out;
    constexpr int kWarmup = kCycles / 10;
    long residentAfterWarmup = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        if (cycle == kWarmup)
            residentAfterWarmup = residentBytes();
        void* handle = nullptr;
        ASSERT_EQ(plugin().api.algoInitHandle(&handle, init->param()), 0) << "cycle " << cycle;
        for (int frame = 0; frame < kFramesPerCycle; ++frame) {
            ASSERT_EQ(sendFrame(handle, &out), 0) << "cycle " << cycle << " frame " << frame;
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
