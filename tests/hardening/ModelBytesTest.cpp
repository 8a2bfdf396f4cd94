// Model bytes a host could hand over from a damaged or wrong file: empty, cut short, random, or the
// shipped model with a single bit changed. Each init either works (and then a frame and a clean
// release follow) or fails with exactly one of its documented lines and its status, and leaves
// behind nothing but what a failed init documents: the engine whose Init failed, which the host
// can never release. The real prepared model runs on the stand-ins' CPU engine.
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogExpect.h"
#include "PluginPaths.h"
#include "TestInputs.h"
#include "standin_control.h"

namespace {

using e2e::Runtime;
using e2e::Table;

#if defined(__SANITIZE_ADDRESS__)
constexpr int kFlipsPerRuntime = 12;  // every accepted mutant builds the whole engine: slow there
#else
constexpr int kFlipsPerRuntime = 48;
#endif

// How an init ended: the first letter of the child's verdict.
constexpr char kWorks = 'W';
constexpr char kTooShort = 'S';  // "sparse model failed": fewer than 2048 bytes to decrypt
constexpr char kRefused = 'R';   // "pBodySegmentEngine Init failed": the runtime refused
constexpr char kAny = '?';

// In a child process: a refused engine stays registered for good.
std::string initWith(Runtime runtime, const std::vector<uint8_t>& bytes) {
    return testsupport::runInChild([&]() -> std::string {
        testsupport::ChildChecks check;
        testsupport::LogCapture log;
        auto init = e2e::hostBlock(runtime, true, bytes);
        void* handle = nullptr;
        e2e::MaskImage out;
        if (e2e::initHandle(Table::AlgoAPI, &handle, init->param()) == 0) {
            check.expectEq(e2e::sendSmallFrame(Table::AlgoAPI, handle, 5, 0, &out), 0, "frame");
            check.expectEq(e2e::releaseHandle(Table::AlgoAPI, handle), 0, "release");
            return kWorks + check.verdict();
        }
        const bool tooShort = testsupport::loggedOnce(log, ANDROID_LOG_ERROR, "algoInitHandleV1",
                                                      "sparse model failed");
        const bool refused = testsupport::loggedOnce(log, ANDROID_LOG_ERROR, "algoInitHandleV1",
                                                     "pBodySegmentEngine Init failed");
        check.expect(tooShort != refused && handle == nullptr, "not one documented failure");
        check.expectEq(e2e::releaseHandle(Table::AlgoAPI, nullptr),
                       refused ? e2e::kMemoryFreeError : 0, "release");
        return (refused ? kRefused : kTooShort) + check.verdict();
    });
}

TEST(ModelBytes, DamagedModelsWorkOrFailWithTheirDocumentedLineAndLeaveNothingElse) {
    const std::vector<uint8_t> plain = testsupport::readFileBytes(
        testsupport::sourceDir() + "/.cache/models/bodyseg_342x456.tflite");
    if (plain.empty())
        GTEST_SKIP() << "no prepared model: run scripts/fetch-model.sh (scripts/test.sh does)";
    const std::vector<uint8_t> stored = testsupport::encryptedModel(plain);
    e2e::setLogMask(1);
    e2e::standin(Runtime::Neuropilot);
    e2e::standin(Runtime::Neuron);
    // The real engine, on one thread each.
    __system_property_set(STANDIN_MODE_PROPERTY, "engine");
    __system_property_set(STANDIN_THREADS_PROPERTY, "1");
    int flipsWorked = 0;
    const auto expect = [&](const std::string& what, Runtime runtime,
                            const std::vector<uint8_t>& bytes, char want) {
        const std::string verdict = initWith(runtime, bytes);
        const char got = verdict.empty() ? 'x' : verdict[0];
        EXPECT_TRUE(std::string("WSR").find(got) != std::string::npos && verdict.size() == 1)
            << what << ": " << verdict;
        EXPECT_TRUE(want == kAny || got == want) << what << ": " << got << ", want " << want;
        flipsWorked += want == kAny && got == kWorks;
    };
    expect("untouched", Runtime::Neuropilot, stored, kWorks);
    expect("untouched", Runtime::Neuron, stored, kWorks);
    expect("empty", Runtime::Neuropilot, {}, kTooShort);
    // Below 2048 bytes the decryption refuses; above, the engine's verifier refuses what is cut
    // off.
    for (size_t length = 1024; length < stored.size(); length += 1024) {
        expect("cut at " + std::to_string(length),
               (length / 1024) % 2 == 0 ? Runtime::Neuropilot : Runtime::Neuron,
               std::vector<uint8_t>(stored.begin(), stored.begin() + length),
               length < 2048 ? kTooShort : kRefused);
    }
    std::mt19937 random(7);
    for (size_t size :
         {size_t{1}, size_t{2047}, size_t{2048}, size_t{4096}, size_t{65536}, stored.size()}) {
        std::vector<uint8_t> bytes(size);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
        expect(std::to_string(size) + " random bytes", Runtime::Neuron, bytes,
               size < 2048 ? kTooShort : kRefused);
    }
    // The model's tables sit in its first and last kilobytes, the weights in between: flips land
    // in both, from a fixed seed so that every run tries the same positions.
    random.seed(11);
    std::uniform_int_distribution<size_t> anywhere(0, stored.size() - 1), head(0, 1023);
    for (Runtime runtime : {Runtime::Neuropilot, Runtime::Neuron}) {
        for (int i = 0; i < kFlipsPerRuntime; ++i) {
            const size_t position = i % 3 == 0 ? head(random) : anywhere(random);
            std::vector<uint8_t> mutant = stored;
            mutant[position] ^= static_cast<uint8_t>(1u << (random() % 8));
            expect("flip at " + std::to_string(position), runtime, mutant, kAny);
        }
    }
    std::printf("%d of %d single-bit flips still gave a working engine\n", flipsWorked,
                2 * kFlipsPerRuntime);
}

}  // namespace
