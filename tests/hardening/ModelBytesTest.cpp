// Model bytes a host could hand over from a damaged or wrong file: empty, cut short, random, or the
// shipped model with a single byte changed. Each init either works (and then a frame and a clean
// release follow) or fails with its documented line and status, and leaves behind nothing but
// what a failed init documents: the engine whose Init failed, which the host can never release.
// The real prepared model runs on the stand-ins' CPU engine, so every byte is read for real.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "PluginPaths.h"
#include "standin_control.h"

namespace {

using e2e::Runtime;

constexpr int kFailure = 65535;
constexpr int kMemoryFreeError = 1040;

#if defined(__SANITIZE_ADDRESS__)
// Every accepted mutant builds the whole engine, which the sanitizer slows down tenfold.
constexpr int kFlipsPerRuntime = 12;
#else
constexpr int kFlipsPerRuntime = 48;
#endif

enum class Outcome { Works, TooShortToDecrypt, EngineRefused, Crashed };
constexpr const char* kWorks = "W";
constexpr const char* kTooShort = "S";
constexpr const char* kEngineRefused = "R";
constexpr const char* kInit = "algoInitHandleV1";

class ModelBytes : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::ifstream file(testsupport::sourceDir() + "/.cache/models/bodyseg_342x456.tflite",
                           std::ios::binary);
        const std::vector<uint8_t> plain((std::istreambuf_iterator<char>(file)),
                                         std::istreambuf_iterator<char>());
        if (!plain.empty()) {
            stored_ = e2e::encryptedModel(plain);
        }
    }

    void SetUp() override {
        if (stored_.empty()) {
            GTEST_SKIP() << "no prepared model: run scripts/fetch-model.sh (scripts/test.sh does)";
        }
        // Errors only, as on a phone; the stand-ins run the real engine on one thread each.
        __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl", "1");
        e2e::plugin().api.setLogLevel(1);
        e2e::standin(Runtime::Neuropilot);
        e2e::standin(Runtime::Neuron);
        __system_property_set(STANDIN_MODE_PROPERTY, "engine");
        __system_property_set("vendor.standin.engine.threads", "1");
    }

    // One init with `bytes` as the stored model, in a child process: a refused engine stays
    // registered for good, which would spoil the next case's leak check.
    static std::string initWith(Runtime runtime, const std::vector<uint8_t>& bytes,
                                const std::string& what, Outcome* outcome) {
        const std::string verdict = testsupport::runInChild([&]() -> std::string {
            testsupport::ChildChecks check;
            testsupport::LogCapture log;
            e2e::InitBlock init(e2e::writeConfig(runtime, true),
                                e2e::writeFile("mutant.enc", bytes), bytes);
            void* handle = nullptr;
            const int status = e2e::initHandle(e2e::Table::AlgoAPI, &handle, init.param());
            if (status == 0) {
                check.expect(handle != nullptr, what + ": no handle");
                std::vector<uint8_t> frame(64 * 48 * 3 / 2, 128);
                Image in{};
                in.width = in.stride = 64;
                in.height = in.scan = 48;
                in.image_type = BODYSEG_IMAGE_NV21;
                in.data = frame.data();
                e2e::MaskImage out;
                check.expectEq(e2e::processFrame(e2e::Table::AlgoAPI, handle, &in, &out.image), 0,
                               what + ": frame");
                check.expectEq(e2e::releaseHandle(e2e::Table::AlgoAPI, handle), 0,
                               what + ": release");
                return kWorks + check.verdict();
            }
            check.expectEq(status, kFailure, what + ": init status");
            check.expect(handle == nullptr, what + ": handle written");
            const bool tooShort =
                testsupport::loggedOnce(log, ANDROID_LOG_ERROR, kInit, "sparse model failed");
            const bool refused = testsupport::loggedOnce(log, ANDROID_LOG_ERROR, kInit,
                                                         "pBodySegmentEngine Init failed");
            check.expect(tooShort != refused, what + ": not exactly one documented failure line");
            // What the refused engine made stays with it; everything else is freed.
            check.expectEq(e2e::releaseHandle(e2e::Table::AlgoAPI, nullptr),
                           refused ? kMemoryFreeError : 0, what + ": release");
            return (refused ? kEngineRefused : kTooShort) + check.verdict();
        });
        // The child's first character says how the init ended; anything else is a crash report.
        *outcome = Outcome::Crashed;
        if (!verdict.empty() && verdict[0] == kWorks[0]) {
            *outcome = Outcome::Works;
        } else if (!verdict.empty() && verdict[0] == kTooShort[0]) {
            *outcome = Outcome::TooShortToDecrypt;
        } else if (!verdict.empty() && verdict[0] == kEngineRefused[0]) {
            *outcome = Outcome::EngineRefused;
        } else {
            return verdict.empty() ? "no verdict" : verdict;
        }
        return verdict.substr(1);
    }

    static std::vector<uint8_t> stored_;
};

std::vector<uint8_t> ModelBytes::stored_;

TEST_F(ModelBytes, UntouchedModelWorksOnBothRuntimes) {
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        Outcome outcome;
        EXPECT_EQ(initWith(runtime, stored_, e2e::runtimeName(runtime), &outcome), "");
        EXPECT_EQ(outcome, Outcome::Works);
    }
}

TEST_F(ModelBytes, EmptyModelIsTooShortToDecrypt) {
    Outcome outcome;
    EXPECT_EQ(initWith(Runtime::Neuropilot, {}, "empty", &outcome), "");
    EXPECT_EQ(outcome, Outcome::TooShortToDecrypt);
}

// Below 2048 bytes the decryption refuses; above, the engine's verifier refuses what is cut off.
TEST_F(ModelBytes, CutAtEveryKibibyteIsRefused) {
    int refusedByEngine = 0;
    for (size_t length = 1024; length < stored_.size(); length += 1024) {
        const Runtime runtime = (length / 1024) % 2 == 0 ? Runtime::Neuropilot : Runtime::Neuron;
        const std::vector<uint8_t> cut(stored_.begin(), stored_.begin() + length);
        Outcome outcome;
        EXPECT_EQ(initWith(runtime, cut, "cut at " + std::to_string(length), &outcome), "");
        EXPECT_NE(outcome, Outcome::Works) << "cut at " << length;
        refusedByEngine += outcome == Outcome::EngineRefused;
    }
    EXPECT_EQ(refusedByEngine, static_cast<int>(stored_.size() / 1024) - 1);
}

TEST_F(ModelBytes, RandomBytesAreRefused) {
    std::mt19937 random(7);
    for (size_t size :
         {size_t{1}, size_t{2047}, size_t{2048}, size_t{4096}, size_t{65536}, stored_.size()}) {
        std::vector<uint8_t> bytes(size);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random());
        }
        Outcome outcome;
        EXPECT_EQ(initWith(Runtime::Neuron, bytes, std::to_string(size) + " random", &outcome), "");
        EXPECT_EQ(outcome, size < 2048 ? Outcome::TooShortToDecrypt : Outcome::EngineRefused)
            << size << " random bytes";
    }
}

// The model's tables sit in its first and last kilobytes, the weights in between: flips land in
// both, from a fixed seed so that every run tries the same positions.
TEST_F(ModelBytes, SingleFlippedBytesWorkOrFailCleanly) {
    std::mt19937 random(11);
    std::uniform_int_distribution<size_t> anywhere(0, stored_.size() - 1);
    std::uniform_int_distribution<size_t> head(0, 1023);
    int worked = 0;
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        for (int i = 0; i < kFlipsPerRuntime; ++i) {
            const size_t position = i % 3 == 0 ? head(random) : anywhere(random);
            std::vector<uint8_t> mutant = stored_;
            mutant[position] ^= static_cast<uint8_t>(1u << (random() % 8));
            Outcome outcome = Outcome::Crashed;
            EXPECT_EQ(initWith(runtime, mutant,
                               std::string(e2e::runtimeName(runtime)) + " flip at " +
                                   std::to_string(position),
                               &outcome),
                      "");
            worked += outcome == Outcome::Works;
        }
    }
    std::printf("%d of %d single-byte flips still gave a working engine\n", worked,
                2 * kFlipsPerRuntime);
}

}  // namespace
