// The Neuron Runtime loader on phones without the runtime, with an old runtime that cannot load
// networks from memory, and under concurrent first calls. Each wrapper binds once per process and
// never again, so every case runs in a fresh child process whose parent has bound nothing.
#include <android/log.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "BodySegNeuron.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "ConcurrentStart.h"
#include "LogCapture.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"
#include "PluginPaths.h"
#include "StandinClient.h"
#include "mtk/neuron6/NeuronRuntimeInterface.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;

constexpr const char* kRuntime = "libneuron_runtime.6.so";
// What the stand-in returns for a null runtime or record: told apart from the unbound status 5.
constexpr int kStandinUnexpectedNull = 3;

KavoLine libraryMissing() {
    return {ANDROID_LOG_ERROR, kNeuronInterfaceFile, "loadNeuronRuntimeLib",
            std::string("NeuronRuntime error: unable to open library: ") + kRuntime};
}

KavoLine libraryOpened() {
    return {ANDROID_LOG_INFO, kNeuronInterfaceFile, "loadNeuronRuntimeLib",
            std::string("NeuronRuntime : open library: ") + kRuntime};
}

KavoLine functionMissing(const std::string& symbol) {
    return {ANDROID_LOG_ERROR, kNeuronInterfaceFile, "loadNeuronRuntimeFunc",
            "Find function " + symbol + " failed"};
}

std::string verdict(const ChildChecks& checks, const LogCapture& log) {
    return checks.ok() ? "" : checks.verdict() + "log:" + dump(log);
}

// Every line of the children, INFO included.
algocoretest::LogLevelScope verboseLog() {
    return algocoretest::LogLevelScope(kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo);
}

struct RuntimeWrapper {
    const char* symbol;
    std::function<int()> call;
};

// Every wrapper, with arguments that an unbound wrapper never passes on.
const std::vector<RuntimeWrapper>& runtimeWrappers() {
    static const std::vector<RuntimeWrapper> wrappers = {
        {"NeuronRuntime_create", [] { return WarpNeuronRuntime_create(nullptr, nullptr); }},
        {"NeuronRuntime_setQoSOption",
         [] { return WarpNeuronRuntime_setQoSOption(nullptr, nullptr); }},
        {"NeuronRuntime_loadNetworkFromFile",
         [] { return WarpNeuronRuntime_loadNetworkFromFile(nullptr, nullptr); }},
        {"NeuronRuntime_loadNetworkFromBuffer",
         [] { return WarpNeuronRuntime_loadNetworkFromBuffer(nullptr, nullptr, 0); }},
        {"NeuronRuntime_getSingleInputSize",
         [] { return WarpNeuronRuntime_getSingleInputSize(nullptr, nullptr); }},
        {"NeuronRuntime_getSingleOutputSize",
         [] { return WarpNeuronRuntime_getSingleOutputSize(nullptr, nullptr); }},
        {"NeuronRuntime_setSingleInput",
         [] { return WarpNeuronRuntime_setSingleInput(nullptr, nullptr, 0, BufferAttribute{-1}); }},
        {"NeuronRuntime_setSingleOutput",
         [] {
             return WarpNeuronRuntime_setSingleOutput(nullptr, nullptr, 0, BufferAttribute{-1});
         }},
        {"NeuronRuntime_inference", [] { return WarpNeuronRuntime_inference(nullptr); }},
        {"NeuronRuntime_release", [] { return WarpNeuronRuntime_release(nullptr); }},
    };
    return wrappers;
}

// ---------------------------------------------------------------------------------------------

TEST(NeuronLoaderProcessTest, WithoutRuntimeEachWrapperLogsOnceAndFailsWith5) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  const auto level = verboseLog();
                  LogCapture log;
                  for (const RuntimeWrapper& wrapper : runtimeWrappers()) {
                      const std::string name = wrapper.symbol;
                      log.clear();
                      checks.expectEq(wrapper.call(), kNeuronRuntimeUnbound, "first call " + name);
                      // Each wrapper tries the library itself: the handle is still null.
                      checks.expect(errorsAre(log, {libraryMissing(), functionMissing(name)}),
                                    "first call " + name);
                      checks.expectEq(log.lines().size(), 2u, "lines of the first call " + name);
                      log.clear();
                      checks.expectEq(wrapper.call(), kNeuronRuntimeUnbound, "second call " + name);
                      checks.expect(log.lines().empty(), "second call " + name + " logged");
                  }

                  // The runtime turns up later: wrappers that failed to bind stay unbound.
                  StandinClient runtime(testsupport::standinDir(), kRuntime);
                  checks.expect(runtime.loaded(), "loading the runtime late");
                  log.clear();
                  for (const RuntimeWrapper& wrapper : runtimeWrappers()) {
                      const std::string name = wrapper.symbol;
                      checks.expectEq(wrapper.call(), kNeuronRuntimeUnbound, "late call " + name);
                      checks.expectEq(runtime.callCount(name), 0, "calls reaching " + name);
                  }
                  checks.expect(log.lines().empty(), "calls after loading logged");
                  return verdict(checks, log);
              }),
              "");
}

TEST(NeuronLoaderProcessTest, WrapperFirstCalledAfterTheRuntimeAppearsBindsIt) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  const auto level = verboseLog();
                  LogCapture log;
                  checks.expectEq(WarpNeuronRuntime_create(nullptr, nullptr), kNeuronRuntimeUnbound,
                                  "create without the runtime");

                  StandinClient runtime(testsupport::standinDir(), kRuntime);
                  checks.expect(runtime.loaded(), "loading the runtime");
                  log.clear();
                  QoSOptions qos{};
                  checks.expectEq(WarpNeuronRuntime_setQoSOption(nullptr, &qos),
                                  kStandinUnexpectedNull, "QoS reaches the runtime");
                  checks.expectEq(runtime.callCount("NeuronRuntime_setQoSOption"), 1,
                                  "QoS calls reaching the runtime");
                  checks.expect(loggedOnce(log, libraryOpened()), "library opened");
                  checks.expect(errorsAre(log, {}), "errors");

                  checks.expectEq(WarpNeuronRuntime_create(nullptr, nullptr), kNeuronRuntimeUnbound,
                                  "create stays unbound");
                  checks.expectEq(runtime.callCount("NeuronRuntime_create"), 0,
                                  "create calls reaching the runtime");
                  return verdict(checks, log);
              }),
              "");
}

// ---------------------------------------------------------------------------------------------

struct MissingRuntimeCase {
    BuildPath path;
    const char* message;
};

void PrintTo(const MissingRuntimeCase& row, std::ostream* os) {
    *os << pathName(row.path) << " path";
}

class NeuronBackendWithoutRuntimeTest : public testing::TestWithParam<MissingRuntimeCase> {};

TEST_P(NeuronBackendWithoutRuntimeTest, InitFailsAtCreateWithStatus5) {
    const MissingRuntimeCase row = GetParam();
    EXPECT_EQ(testsupport::runInChild([row] {
                  ChildChecks checks;
                  const auto level = verboseLog();
                  LogCapture log;
                  mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
                  bodysegment::BodySegNeuron backend(cfg);

                  checks.expectEq(backend.Init(), 0, "Init");

                  const std::string function = std::string("InitModelWith") + pathName(row.path);
                  checks.expect(
                      errorsAre(log, {libraryMissing(),
                                      functionMissing("NeuronRuntime_create"),
                                      {ANDROID_LOG_ERROR, kNeuronFile, function, row.message}}),
                      "errors");
                  backend.Release();
                  backend.Release();
                  return verdict(checks, log);
              }),
              "");
}

INSTANTIATE_TEST_SUITE_P(
    BothPaths, NeuronBackendWithoutRuntimeTest,
    testing::Values(MissingRuntimeCase{BuildPath::kFile,
                                       "WarpNeuronRuntime_create failed, error code = 5"},
                    MissingRuntimeCase{BuildPath::kBuffer, "WarpNeuronRuntime_create failed"}),
    [](const testing::TestParamInfo<MissingRuntimeCase>& info) {
        return pathName(info.param.path);
    });

// ---------------------------------------------------------------------------------------------

TEST(NeuronLoaderProcessTest, OldRuntimeFailsOnlyTheBufferPath) {
    EXPECT_EQ(
        testsupport::runInChild([] {
            ChildChecks checks;
            StandinClient old(testsupport::standinOldDir(), kRuntime);
            checks.expect(old.loaded(), "loading the old runtime");
            old.setTensor(0, 24, 2);
            old.setTensor(1, 32, 3);
            const auto level = verboseLog();
            LogCapture log;
            const KavoLine bufferFailed{
                ANDROID_LOG_ERROR, kNeuronFile, "InitModelWithBuffer",
                "WarpNeuronRuntime_loadNetworkFromBuffer failed, error code 5"};

            mtk_ai_type::ModelCfg bufferCfg = makeCfg(BuildPath::kBuffer);
            bodysegment::BodySegNeuron fromBuffer(bufferCfg);
            checks.expectEq(fromBuffer.Init(), 0, "buffer Init");
            checks.expect(errorsAre(log, {functionMissing("NeuronRuntime_loadNetworkFromBuffer"),
                                          bufferFailed}),
                          "errors of the first buffer Init");
            fromBuffer.Release();
            checks.expectEq(old.recordedInt("live_runtimes"), 0, "runtimes after Release");

            // The missing function is looked up only once.
            log.clear();
            bodysegment::BodySegNeuron again(bufferCfg);
            checks.expectEq(again.Init(), 0, "second buffer Init");
            checks.expect(errorsAre(log, {bufferFailed}), "errors of the second buffer Init");
            again.Release();

            log.clear();
            mtk_ai_type::ModelCfg fileCfg = makeCfg(BuildPath::kFile);
            bodysegment::BodySegNeuron fromFile(fileCfg);
            checks.expectEq(fromFile.Init(), 1, "file Init");
            std::vector<uint8_t> input(24, 5);
            std::vector<uint8_t> output(8);
            checks.expectEq(fromFile.Inference(input.data(), 24, output.data()), 1,
                            "file Inference");
            checks.expect(errorsAre(log, {}), "errors on the file path");
            checks.expectEq(old.callCount("NeuronRuntime_loadNetworkFromFile"), 1, "file loads");
            fromFile.Release();
            checks.expectEq(old.recordedInt("live_runtimes"), 0, "runtimes at the end");
            return verdict(checks, log);
        }),
        "");
}

// ---------------------------------------------------------------------------------------------

constexpr int kThreads = 8;

TEST(NeuronLoaderProcessTest, ConcurrentFirstCallsWithoutRuntimeBindOnce) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  const auto level = verboseLog();
                  LogCapture log;
                  std::vector<int> results(kThreads, -1);

                  runConcurrently(kThreads, [&results](int i) {
                      void* runtime = nullptr;
                      results[i] = WarpNeuronRuntime_create(nullptr, &runtime);
                  });

                  checks.expect(results == std::vector<int>(kThreads, kNeuronRuntimeUnbound),
                                "every thread fails with 5");
                  checks.expect(
                      errorsAre(log, {libraryMissing(), functionMissing("NeuronRuntime_create")}),
                      "errors");
                  return verdict(checks, log);
              }),
              "");
}

TEST(NeuronLoaderProcessTest, ConcurrentFirstCallsWithRuntimeBindOnce) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  StandinClient runtime(testsupport::standinDir(), kRuntime);
                  checks.expect(runtime.loaded(), "loading the runtime");
                  const auto level = verboseLog();
                  LogCapture log;
                  const EnvOptions env{4, 0, 0};
                  std::vector<int> results(kThreads, -1);
                  std::vector<void*> instances(kThreads, nullptr);

                  runConcurrently(kThreads, [&](int i) {
                      results[i] = WarpNeuronRuntime_create(&env, &instances[i]);
                  });

                  checks.expect(results == std::vector<int>(kThreads, 0), "every thread succeeds");
                  checks.expectEq(runtime.callCount("NeuronRuntime_create"), kThreads,
                                  "calls reaching the runtime");
                  checks.expect(loggedOnce(log, libraryOpened()), "library opened");
                  checks.expect(errorsAre(log, {}), "errors");
                  for (void* instance : instances)
                      WarpNeuronRuntime_release(instance);
                  checks.expectEq(runtime.recordedInt("live_runtimes"), 0, "runtimes at the end");
                  return verdict(checks, log);
              }),
              "");
}

}  // namespace
}  // namespace mtktest
