// Every way a handle or a frame can fail, seen from the host: the status, the one ERROR line that
// names the failing step, and that the host is never crashed and nothing is left behind.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include "CameraHost.h"
#include "ChildProcess.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "PluginPaths.h"

namespace e2e {
namespace {

constexpr int kFailure = 65535;
constexpr int kMemoryFreeError = 1040;
constexpr const char* kInit = "algoInitHandleV1";

class Failures : public ::testing::Test {
  protected:
    void SetUp() override {
        // Errors only, as on a phone: what the host sees are the ERROR lines.
        __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl", "1");
        plugin().api.setLogLevel(1);
    }

    // An init block whose model is the encrypted default, as the host stores it.
    std::unique_ptr<InitBlock> block(const std::string& configPath) {
        const std::vector<uint8_t> stored = encryptedModel(plainModel());
        return std::make_unique<InitBlock>(configPath, writeFile("model.enc", stored), stored);
    }

    testsupport::LogCapture log_;
};

struct InitFailure {
    const char* name;
    Runtime runtime;
    const char* config;       // "" for a well-formed one; text otherwise
    const char* failingCall;  // vendor function told to fail, or ""
    const char* message;
    bool leaksEngine;  // a failed engine Init leaves the engine to the host's release
};

// A configuration file with the given text.
std::string configWithText(const std::string& text) {
    static int counter = 0;
    return writeFile("bad-" + std::to_string(counter++) + ".json",
                     std::vector<uint8_t>(text.begin(), text.end()));
}

class InitFailures : public Failures, public ::testing::WithParamInterface<InitFailure> {};

// An engine whose Init failed is never handed out, so the release that follows finds it still
// registered: those cases run in a child process, which they leave with a leak.
TEST_P(InitFailures, FailWithOneLineAndReleaseFreesWhatWasMade) {
    const InitFailure& c = GetParam();
    const std::string verdict = testsupport::runInChild([&]() -> std::string {
        std::string problems;
        const testsupport::StandinClient& runtime = standin(c.runtime);
        if (*c.failingCall != '\0')
            runtime.failCall(c.failingCall, 4);
        const std::string config =
            *c.config == '\0' ? writeConfig(c.runtime, true) : configWithText(c.config);
        auto init = block(config);

        void* handle = reinterpret_cast<void*>(0x1);  // must stay as the host left it
        if (plugin().api.algoInitHandle(&handle, init->param()) != kFailure)
            problems += "init ok; ";
        if (handle != reinterpret_cast<void*>(0x1))
            problems += "handle written; ";
        const auto named = testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, kInit, c.message);
        if (!named)
            problems += named.message();

        log_.clear();
        const int released = plugin().api.releaseHandle(nullptr, nullptr);
        if (released != (c.leaksEngine ? kMemoryFreeError : 0)) {
            problems += "release gave " + std::to_string(released) + "; ";
        }
        if (c.leaksEngine && !testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "releaseHandle",
                                                      "SDK_MEMORY_FREE_ERR!")) {
            problems += "no SDK_MEMORY_FREE_ERR! line; ";
        }
        return problems;
    });
    EXPECT_EQ(verdict, "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, InitFailures,
    ::testing::Values(
        InitFailure{"ArrayRoot", Runtime::Neuropilot, "[1, 2, 3]", "", "parse_json failed", false},
        InitFailure{"DecrptionAsString", Runtime::Neuron,
                    R"({"Product": "P", "Platform": "MTK", "AISDK": "NeuronRuntime", "ParamGroup":
                        [{"Product": "P", "Platform": "MTK", "AISDK": "NeuronRuntime",
                          "Decrption": "true"}]})",
                    "", "parse_json failed", false},
        InitFailure{"NotJson", Runtime::Neuron, "\x01\x02garbage{{", "", "parse_json failed",
                    false},
        InitFailure{"NeuropilotInterpreter", Runtime::Neuropilot, "",
                    "ANeuroPilotTFLite_createAdvWithBuffer", "pBodySegmentEngine Init failed",
                    true},
        InitFailure{"NeuronCreate", Runtime::Neuron, "", "NeuronRuntime_create",
                    "pBodySegmentEngine Init failed", true},
        InitFailure{"NeuronQoS", Runtime::Neuron, "", "NeuronRuntime_setQoSOption",
                    "pBodySegmentEngine Init failed", true}),
    [](const ::testing::TestParamInfo<InitFailure>& info) { return info.param.name; });

TEST_F(Failures, MissingConfigurationFileFailsInit) {
    standin(Runtime::Neuropilot);
    auto init = block(testsupport::tempDir() + "/no-such.json");
    void* handle = nullptr;
    EXPECT_EQ(plugin().api.algoInitHandle(&handle, init->param()), kFailure);
    EXPECT_TRUE(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, kInit, "parse_json failed"));
    EXPECT_EQ(plugin().api.releaseHandle(nullptr, nullptr), 0);
}

TEST_F(Failures, ModelTooShortToDecryptFailsInitAndReleaseFreesTheBuffer) {
    standin(Runtime::Neuropilot);
    const std::vector<uint8_t> tooShort(2047, 0x11);
    auto init = std::make_unique<InitBlock>(writeConfig(Runtime::Neuropilot, true),
                                            writeFile("short.enc", tooShort), tooShort);
    void* handle = nullptr;
    EXPECT_EQ(plugin().api.algoInitHandle(&handle, init->param()), kFailure);
    EXPECT_TRUE(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, kInit, "sparse model failed"));
    EXPECT_EQ(plugin().api.releaseHandle(nullptr, nullptr), 0);
}

TEST_F(Failures, NoInitBlockIsRefusedWithoutACrash) {
    void* handle = nullptr;
    EXPECT_EQ(plugin().api.algoInitHandle(&handle, nullptr), kFailure);
    EXPECT_EQ(plugin().api.algoInitHandle(nullptr, nullptr), kFailure);
    EXPECT_EQ(log_.errorCount(), 4u) << "the version line and one refusal per call";
    EXPECT_EQ(plugin().api.releaseHandle(nullptr, nullptr), 0);
}

// The frame-level failures, on a live handle of the NeuroPilot runtime.
class FrameFailures : public Failures {
  protected:
    void SetUp() override {
        Failures::SetUp();
        runtime_ = &standin(Runtime::Neuropilot);
        init_ = block(writeConfig(Runtime::Neuropilot, true));
    }
    void TearDown() override {
        if (handle_ != nullptr) {
            EXPECT_EQ(plugin().api.releaseHandle(handle_, nullptr), 0);
        }
    }

    void initHandle() {
        ASSERT_EQ(plugin().api.algoInitHandle(&handle_, init_->param()), 0);
        log_.clear();
    }

    int sendFrame(MaskImage* out) {
        frame_.assign(64 * 48 * 3 / 2, 128);
        Image in{};
        in.orientation = 90;
        in.image_type = BODYSEG_IMAGE_NV21;
        in.width = in.stride = 64;
        in.height = in.scan = 48;
        in.data = frame_.data();
        InputImage wrapped{&in};
        return plugin().api.processImage(handle_, &wrapped, &out->image, nullptr, nullptr);
    }

    const testsupport::StandinClient* runtime_ = nullptr;
    std::unique_ptr<InitBlock> init_;
    void* handle_ = nullptr;
    std::vector<uint8_t> frame_;
};

TEST_F(FrameFailures, NullHandleIsRefused) {
    MaskImage out;
    EXPECT_EQ(sendFrame(&out), kFailure);
    EXPECT_TRUE(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "processImageV1",
                                        "algo handle is nullptr"));
    EXPECT_EQ(log_.errorCount(), 1u);
}

TEST_F(FrameFailures, FailedInferenceFailsTheFrameButStillDescribesTheMask) {
    initHandle();
    runtime_->failCall("ANeuroPilotTFLite_invoke", 4);
    MaskImage out;
    EXPECT_EQ(sendFrame(&out), kFailure);
    EXPECT_TRUE(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "processImageV1",
                                        "pBodySegmentEngine Inference failed"));
    EXPECT_TRUE(
        testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "processImageV1", "processImage failed"));
    EXPECT_EQ(out.image.result_width, 456);
    EXPECT_EQ(out.image.result_height, 342);
    EXPECT_EQ(out.image.size, 155952u);
}

TEST_F(FrameFailures, UnsupportedInputTypeSkipsInferenceAndKeepsThePreviousLabels) {
    initHandle();
    const std::vector<uint8_t> labelOne = {1, 0, 0, 0};
    runtime_->setOutputPattern(labelOne);
    MaskImage first;
    ASSERT_EQ(sendFrame(&first), 0);
    ASSERT_EQ(first.bytes[0], 2);

    // The same model now claims an int32 input, which the frame path cannot feed; a new handle
    // picks the script up.
    ASSERT_EQ(plugin().api.releaseHandle(handle_, nullptr), 0);
    handle_ = nullptr;
    runtime_->setTensor(0, 342 * 456 * 3, 3);
    runtime_->setOutputPattern({});
    initHandle();
    MaskImage second;
    EXPECT_EQ(sendFrame(&second), 0) << "an unsupported type is not a failure";
    EXPECT_TRUE(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "processImageV1",
                                        "Unsupported model data type"));
    EXPECT_EQ(runtime_->callCount("ANeuroPilotTFLite_invoke"), 1) << "no inference on the 2nd";
    EXPECT_EQ(second.image.size, 155952u);
}

TEST_F(FrameFailures, ImpossibleGeometryIsRefusedBeforeAnyPixelIsRead) {
    initHandle();
    MaskImage out;
    Image in{};
    in.image_type = BODYSEG_IMAGE_NV21;
    in.width = 640;
    in.height = 480;
    in.stride = 600;  // below the width
    in.scan = 480;
    in.data = reinterpret_cast<unsigned char*>(0x10);  // never dereferenced
    EXPECT_EQ(plugin().apiV1.processImage(handle_, &in, &out.image, nullptr, nullptr), kFailure);
    EXPECT_EQ(log_.errorCount(), 1u);
    EXPECT_EQ(log_.matching("bad fields: stride").size(), 1u);
}

TEST_F(Failures, SecondInitWithoutReleaseIsReportedAsALeakAtRelease) {
    const std::string verdict = testsupport::runInChild([&]() -> std::string {
        standin(Runtime::Neuron);
        auto init = block(writeConfig(Runtime::Neuron, true));
        void* first = nullptr;
        void* second = nullptr;
        if (plugin().api.algoInitHandle(&first, init->param()) != 0 ||
            plugin().api.algoInitHandle(&second, init->param()) != 0) {
            return "init failed";
        }
        log_.clear();
        // The process-wide state belongs to the last init; the first engine, factory and
        // decrypted model are still registered when the release checks.
        const int released = plugin().api.releaseHandle(second, nullptr);
        std::string problems;
        if (released != kMemoryFreeError)
            problems += "release gave " + std::to_string(released);
        const auto line = testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "releaseHandle",
                                                  "SDK_MEMORY_FREE_ERR!");
        if (!line)
            problems += line.message();
        return problems;
    });
    EXPECT_EQ(verdict, "");
}

}  // namespace
}  // namespace e2e
