// Every way a handle or a frame can fail, seen from the host: the status, the one ERROR line that
// names the failing step, and that the host is never crashed and nothing is left behind.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "PluginPaths.h"

namespace e2e {
namespace {

constexpr const char* kInit = "algoInitHandleV1";

class Failures : public ::testing::Test {
  protected:
    void SetUp() override {
        // Errors only, as on a phone: what the host sees are the ERROR lines.
        __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl", "1");
        plugin().api.setLogLevel(1);
    }

    testsupport::LogCapture log_;
};

struct InitFailure {
    const char* name;
    Runtime runtime;
    const char* config;  // nullptr for no file at all, "" for a well-formed one, text otherwise
    const char* failingCall;  // vendor function told to fail, or ""
    size_t modelBytes;        // of a stored model too short to decrypt; 0 for the default model
    const char* message;
    bool leaksEngine;  // a failed engine Init leaves the engine to the host's release
};

std::string configFor(const InitFailure& c) {
    static int counter = 0;
    if (c.config == nullptr)
        return testsupport::tempDir() + "/no-such.json";
    if (*c.config == '\0')
        return writeConfig(c.runtime, true);
    const std::string text = c.config;
    return writeFile("bad-" + std::to_string(counter++) + ".json",
                     std::vector<uint8_t>(text.begin(), text.end()));
}

class InitFailures : public Failures, public ::testing::WithParamInterface<InitFailure> {};

// An engine whose Init failed is never handed out, so the release that follows finds it still
// registered: every case runs in a child process, which those cases leave with a leak.
TEST_P(InitFailures, FailWithOneLineAndReleaseFreesWhatWasMade) {
    const InitFailure& c = GetParam();
    const std::string verdict = testsupport::runInChild([&] {
        testsupport::ChildChecks check;
        const testsupport::StandinClient& runtime = standin(c.runtime);
        if (*c.failingCall != '\0')
            runtime.failCall(c.failingCall, 4);
        const std::vector<uint8_t> stored = c.modelBytes == 0
                                                ? encryptedModel(plainModel())
                                                : std::vector<uint8_t>(c.modelBytes, 0x11);
        InitBlock init(configFor(c), writeFile("model.enc", stored), stored);

        void* handle = reinterpret_cast<void*>(0x1);  // must stay as the host left it
        check.expectEq(plugin().api.algoInitHandle(&handle, init.param()), kFailure, "init");
        check.expect(handle == reinterpret_cast<void*>(0x1), "handle written");
        check.expect(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, kInit, c.message), "init");

        log_.clear();
        check.expectEq(plugin().api.releaseHandle(nullptr, nullptr),
                       c.leaksEngine ? kMemoryFreeError : 0, "release");
        if (c.leaksEngine) {
            check.expect(testsupport::loggedOnce(log_, ANDROID_LOG_ERROR, "releaseHandle",
                                                 "SDK_MEMORY_FREE_ERR!"),
                         "release");
        }
        return check.verdict();
    });
    EXPECT_EQ(verdict, "");
}

// Why a configuration does not parse is parse_json's own business (tests/assist), and which
// vendor call failed the backend's (tests/mtk); here each step of init that can fail does once.
INSTANTIATE_TEST_SUITE_P(
    EveryStep, InitFailures,
    ::testing::Values(InitFailure{"MissingFile", Runtime::Neuropilot, nullptr, "", 0,
                                  "parse_json failed", false},
                      InitFailure{"NotJson", Runtime::Neuron, "\x01\x02garbage{{", "", 0,
                                  "parse_json failed", false},
                      // The decrypted buffer is freed by the release all the same.
                      InitFailure{"ModelTooShortToDecrypt", Runtime::Neuropilot, "", "", 2047,
                                  "sparse model failed", false},
                      InitFailure{"NeuropilotInterpreter", Runtime::Neuropilot, "",
                                  "ANeuroPilotTFLite_createAdvWithBuffer", 0,
                                  "pBodySegmentEngine Init failed", true},
                      InitFailure{"NeuronCreate", Runtime::Neuron, "", "NeuronRuntime_create", 0,
                                  "pBodySegmentEngine Init failed", true}),
    [](const ::testing::TestParamInfo<InitFailure>& info) { return info.param.name; });

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
        init_ = encryptedBlock(writeConfig(Runtime::Neuropilot, true));
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
        return sendSmallFrame(Table::AlgoAPI, handle_, BODYSEG_IMAGE_NV21, 90, out);
    }

    const testsupport::StandinClient* runtime_ = nullptr;
    std::unique_ptr<InitBlock> init_;
    void* handle_ = nullptr;
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
    runtime_->setOutputPattern({1, 0, 0, 0});
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

}  // namespace
}  // namespace e2e
