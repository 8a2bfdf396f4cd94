// What only the Neuron Runtime loader does: each wrapper binds on its own first call, so one first
// called after the runtime appeared still binds, and an old runtime without loading from memory
// fails only the buffer path.
#include <android/log.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BodySegNeuron.h"
#include "LoaderChild.h"
#include "ModelMaterial.h"
#include "PluginPaths.h"
#include "StandinClient.h"
#include "mtk/neuron6/NeuronRuntimeInterface.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;

// What the stand-in returns for a null runtime or record: told apart from the unbound status 5.
constexpr int kStandinUnexpectedNull = 3;

TEST(NeuronLoaderProcessTest, WrapperFirstCalledAfterTheRuntimeAppearsBindsIt) {
    EXPECT_EQ(inFreshProcess([](ChildChecks& checks, LogCapture& log) {
                  checks.expectEq(WarpNeuronRuntime_create(nullptr, nullptr), kNeuronRuntimeUnbound,
                                  "create without the runtime");

                  StandinClient runtime(testsupport::standinDir(), kNeuronRuntimeLibrary);
                  checks.expect(runtime.loaded(), "loading the runtime");
                  log.clear();
                  QoSOptions qos{};
                  checks.expectEq(WarpNeuronRuntime_setQoSOption(nullptr, &qos),
                                  kStandinUnexpectedNull, "QoS reaches the runtime");
                  checks.expectEq(runtime.callCount("NeuronRuntime_setQoSOption"), 1,
                                  "QoS calls reaching the runtime");
                  checks.expect(loggedTimes(log, runtimeOpened(), 1), "library opened");
                  checks.expect(errorsAre(log, {}), "errors");

                  checks.expectEq(WarpNeuronRuntime_create(nullptr, nullptr), kNeuronRuntimeUnbound,
                                  "create stays unbound");
                  checks.expectEq(runtime.callCount("NeuronRuntime_create"), 0,
                                  "create calls reaching the runtime");
              }),
              "");
}

TEST(NeuronLoaderProcessTest, OldRuntimeFailsOnlyTheBufferPath) {
    EXPECT_EQ(inFreshProcess([](ChildChecks& checks, LogCapture& log) {
                  StandinClient old(testsupport::standinOldDir(), kNeuronRuntimeLibrary);
                  checks.expect(old.loaded(), "loading the old runtime");
                  old.setTensor(0, 24, 2);
                  old.setTensor(1, 32, 3);
                  log.clear();
                  const KavoLine bufferFailed{
                      ANDROID_LOG_ERROR, kNeuronFile, "InitModelWithBuffer",
                      "WarpNeuronRuntime_loadNetworkFromBuffer failed, error code 5"};

                  mtk_ai_type::ModelCfg bufferCfg = makeCfg(BuildPath::kBuffer);
                  bodysegment::BodySegNeuron fromBuffer(bufferCfg);
                  checks.expectEq(fromBuffer.Init(), 0, "buffer Init");
                  checks.expect(
                      errorsAre(log, {runtimeFunctionMissing("NeuronRuntime_loadNetworkFromBuffer"),
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
                  checks.expectEq(old.callCount("NeuronRuntime_loadNetworkFromFile"), 1,
                                  "file loads");
                  fromFile.Release();
                  checks.expectEq(old.recordedInt("live_runtimes"), 0, "runtimes at the end");
              }),
              "");
}

}  // namespace
}  // namespace mtktest
