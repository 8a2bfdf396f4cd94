// BodySegNeuron through the real dlopen path into the Neuron Runtime stand-in: every failing
// runtime step on both build paths (whose messages differ on purpose), the size check, the
// environment and quality of service handed over, the in-place bindings, the fixed type 23, the
// choice of build path, and Release/Init repeated.
#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "BackendFixture.h"
#include "BodySegNeuron.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::BodySegNeuron;

constexpr int kNeuronType = 23;
constexpr int kInjectedStatus = 7;

std::vector<std::string> buildOrder(BuildPath path) {
    return {"NeuronRuntime_create",
            path == BuildPath::kFile ? "NeuronRuntime_loadNetworkFromFile"
                                     : "NeuronRuntime_loadNetworkFromBuffer",
            "NeuronRuntime_setQoSOption", "NeuronRuntime_getSingleInputSize",
            "NeuronRuntime_getSingleOutputSize"};
}

const std::vector<std::string> kInferenceOrder = {
    "NeuronRuntime_setSingleInput", "NeuronRuntime_setSingleOutput", "NeuronRuntime_inference"};

std::vector<int> countsAfter(const std::vector<std::string>& order, const std::string& failed) {
    const auto at = std::find(order.begin(), order.end(), failed);
    std::vector<int> counts;
    for (auto it = at + 1; it < order.end(); ++it)
        counts.push_back(neuronStandin().callCount(*it));
    return counts;
}

template <typename Record>
std::vector<uint8_t> bytesOf(const Record& record) {
    std::vector<uint8_t> bytes(sizeof(record));
    std::memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

// ---------------------------------------------------------------------------------------------

struct BuildFailure {
    BuildPath path;
    const char* symbol;
    const char* function;
    std::string message;
};

void PrintTo(const BuildFailure& row, std::ostream* os) {
    *os << pathName(row.path) << " path, " << row.symbol << " fails";
}

std::vector<BuildFailure> buildFailures() {
    const std::string status = std::to_string(kInjectedStatus);
    return {
        {BuildPath::kFile, "NeuronRuntime_create", "InitModelWithFile",
         "WarpNeuronRuntime_create failed, error code = " + status},
        {BuildPath::kFile, "NeuronRuntime_loadNetworkFromFile", "InitModelWithFile",
         "WarpNeuronRuntime_loadNetworkFromFile failed, error code = " + status},
        {BuildPath::kFile, "NeuronRuntime_setQoSOption", "InitModelWithFile",
         "WarpNeuronRuntime_setQoSOption failed, error code = " + status},
        {BuildPath::kFile, "NeuronRuntime_getSingleInputSize", "InitModelBuffers",
         "WarpNeuronRuntime_getSingleInputSize failed"},
        {BuildPath::kFile, "NeuronRuntime_getSingleOutputSize", "InitModelBuffers",
         "WarpNeuronRuntime_getSingleOutputSize failed"},
        {BuildPath::kBuffer, "NeuronRuntime_create", "InitModelWithBuffer",
         "WarpNeuronRuntime_create failed"},
        {BuildPath::kBuffer, "NeuronRuntime_loadNetworkFromBuffer", "InitModelWithBuffer",
         "WarpNeuronRuntime_loadNetworkFromBuffer failed, error code " + status},
        {BuildPath::kBuffer, "NeuronRuntime_setQoSOption", "InitModelWithBuffer",
         "WarpNeuronRuntime_setQoSOption failed"},
        {BuildPath::kBuffer, "NeuronRuntime_getSingleInputSize", "InitModelBuffers",
         "WarpNeuronRuntime_getSingleInputSize failed"},
        {BuildPath::kBuffer, "NeuronRuntime_getSingleOutputSize", "InitModelBuffers",
         "WarpNeuronRuntime_getSingleOutputSize failed"},
    };
}

class NeuronBuildFailureTest : public BackendTest,
                               public testing::WithParamInterface<BuildFailure> {};

TEST_P(NeuronBuildFailureTest, InitFailsWithOneErrorNamingTheStep) {
    const BuildFailure& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    neuronStandin().failCall(row.symbol, kInjectedStatus);
    BodySegNeuron backend(cfg);
    capture_.clear();

    EXPECT_EQ(backend.Init(), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuronFile, row.function, row.message));
    EXPECT_EQ(neuronStandin().callCount(row.symbol), 1);
    const std::vector<int> later = countsAfter(buildOrder(row.path), row.symbol);
    EXPECT_EQ(later, std::vector<int>(later.size(), 0)) << "a step after the failing one ran";
    EXPECT_EQ(registeredCount(), 0u) << "the staging buffer exists although Init failed";

    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(EveryStep, NeuronBuildFailureTest, testing::ValuesIn(buildFailures()),
                         [](const testing::TestParamInfo<BuildFailure>& info) {
                             std::string symbol = info.param.symbol;
                             symbol = symbol.substr(symbol.find('_') + 1);
                             return std::string(pathName(info.param.path)) + "_" + symbol;
                         });

// ---------------------------------------------------------------------------------------------

struct InferenceFailure {
    const char* symbol;
    const char* message;
};

void PrintTo(const InferenceFailure& row, std::ostream* os) {
    *os << row.symbol << " fails";
}

class NeuronInferenceFailureTest : public BackendTest,
                                   public testing::WithParamInterface<InferenceFailure> {};

TEST_P(NeuronInferenceFailureTest, InferenceFailsWithOneErrorAndLeavesTheOutput) {
    const InferenceFailure& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    neuronStandin().failCall(row.symbol, kInjectedStatus);
    capture_.clear();
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuronFile, "ModelInference", row.message));
    EXPECT_EQ(neuronStandin().callCount(row.symbol), 1);
    const std::vector<int> later = countsAfter(kInferenceOrder, row.symbol);
    EXPECT_EQ(later, std::vector<int>(later.size(), 0)) << "a step after the failing one ran";
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));

    neuronStandin().failCall(row.symbol, 0);
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, NeuronInferenceFailureTest,
    testing::Values(
        InferenceFailure{"NeuronRuntime_setSingleInput", "WarpNeuronRuntime_setSingleInput failed"},
        InferenceFailure{"NeuronRuntime_setSingleOutput",
                         "WarpNeuronRuntime_setSingleOutput failed"},
        InferenceFailure{"NeuronRuntime_inference", "WarpNeuronRuntime_inference failed"}),
    [](const testing::TestParamInfo<InferenceFailure>& info) {
        const std::string symbol = info.param.symbol;
        return symbol.substr(symbol.find('_') + 1);
    });

// ---------------------------------------------------------------------------------------------

class NeuronInputSizeTest : public BackendTest, public testing::WithParamInterface<int> {};

TEST_P(NeuronInputSizeTest, RefusedBeforeAnyBinding) {
    const unsigned int size = kInputBytes + GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> input(kInputBytes + 1, 1);
    std::vector<uint8_t> output(kOutputElements, kUntouched);
    capture_.clear();

    EXPECT_EQ(backend.Inference(input.data(), size, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuronFile, "ModelInference",
                          "Input buffer size(" + std::to_string(size) + ") != Input tensor size(" +
                              std::to_string(kInputBytes) + ")"));
    EXPECT_EQ(callCounts(neuronStandin(), kInferenceOrder), std::vector<int>(3, 0));
    EXPECT_FALSE(neuronStandin().hasRecord("runs"));
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(OffByOne, NeuronInputSizeTest, testing::Values(-1, 1),
                         [](const testing::TestParamInfo<int>& info) {
                             return info.param < 0 ? std::string("OneByteLess")
                                                   : std::string("OneByteMore");
                         });

// ---------------------------------------------------------------------------------------------
// The environment and quality-of-service records reach the runtime whole.

struct RuntimeOptionsCase {
    const char* label;
    BuildPath path;
    EnvOptions env;
    QoSOptions qos;
};

QoSOptions qos(int32_t preference, int32_t priority, uint8_t boost, int32_t delayedPowerOff) {
    QoSOptions made{};
    made.preference = preference;
    made.priority = priority;
    made.boostValue = boost;
    made.delayedPowerOffTime = delayedPowerOff;
    return made;
}

void PrintTo(const RuntimeOptionsCase& row, std::ostream* os) {
    *os << row.label;
}

class NeuronRuntimeOptionsTest : public BackendTest,
                                 public testing::WithParamInterface<RuntimeOptionsCase> {};

TEST_P(NeuronRuntimeOptionsTest, HandsEnvironmentAndQoSOver) {
    const RuntimeOptionsCase& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    cfg.env_options = row.env;
    cfg.qos_options = row.qos;
    BodySegNeuron backend(cfg);

    ASSERT_EQ(backend.Init(), 1);

    const testsupport::StandinClient& runtime = neuronStandin();
    EXPECT_EQ(runtime.recordedInt("device_kind"), row.env.deviceKind);
    EXPECT_EQ(runtime.recordedInt("mdla_core_option"), row.env.MDLACoreOption);
    EXPECT_EQ(runtime.recordedInt("qos_preference"), row.qos.preference);
    EXPECT_EQ(runtime.recordedInt("qos_priority"), row.qos.priority);
    EXPECT_EQ(runtime.recordedInt("qos_boost_value"), row.qos.boostValue);
    EXPECT_EQ(runtime.recordedInt("qos_delayed_power_off_time"), row.qos.delayedPowerOffTime);
    EXPECT_EQ(runtime.recordedBytes("env_options"), bytesOf(row.env));
    EXPECT_EQ(runtime.recordedBytes("qos_options"), bytesOf(row.qos));
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    Configurations, NeuronRuntimeOptionsTest,
    testing::Values(
        RuntimeOptionsCase{"HardwareHighPriority", BuildPath::kFile, {4, 0, 0}, qos(0, 2, 100, -1)},
        RuntimeOptionsCase{"NullDeviceDualCore", BuildPath::kBuffer, {1, 2, 0}, qos(1, 0, 0, -1)},
        RuntimeOptionsCase{"CModelSingleCore", BuildPath::kFile, {2, 1, 0}, qos(1, 1, 101, -1)},
        RuntimeOptionsCase{
            "DelayedPowerOffAsGiven", BuildPath::kBuffer, {4, 1, 0}, qos(0, 1, 50, 2000)}),
    [](const testing::TestParamInfo<RuntimeOptionsCase>& info) { return info.param.label; });

// ---------------------------------------------------------------------------------------------
// The caller's input is bound in place and both bindings carry the configured attribute; both
// bindings are renewed every frame.

class NeuronBindingTest : public BackendTest, public testing::WithParamInterface<int32_t> {};

TEST_P(NeuronBindingTest, BindsTheCallersInputInPlaceWithTheAttribute) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    cfg.buffer_attribute = GetParam();
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> otherInput(input_.rbegin(), input_.rend());
    std::vector<uint8_t> output(kOutputElements);

    ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    const testsupport::StandinClient& runtime = neuronStandin();
    EXPECT_EQ(runtime.recordedInt("input_address"), reinterpret_cast<intptr_t>(input_.data()));
    EXPECT_EQ(runtime.recordedInt("input_bytes"), kInputBytes);
    EXPECT_EQ(runtime.recordedInt("output_bytes"), kOutputBytes);
    EXPECT_EQ(runtime.recordedInt("input_attribute"), GetParam());
    EXPECT_EQ(runtime.recordedInt("output_attribute"), GetParam());

    ASSERT_EQ(backend.Inference(otherInput.data(), kInputBytes, output.data()), 1);
    EXPECT_EQ(runtime.recordedInt("input_address"), reinterpret_cast<intptr_t>(otherInput.data()));
    EXPECT_EQ(runtime.callCount("NeuronRuntime_setSingleInput"), 2);
    EXPECT_EQ(runtime.callCount("NeuronRuntime_setSingleOutput"), 2);
    EXPECT_EQ(runtime.recordedInt("runs"), 2);
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(Attributes, NeuronBindingTest, testing::Values(-1, 9),
                         [](const testing::TestParamInfo<int32_t>& info) {
                             return info.param < 0
                                        ? std::string("ProcessMemory")
                                        : std::string("IonFd") + std::to_string(info.param);
                         });

// ---------------------------------------------------------------------------------------------

struct PathChoice {
    const char* label;
    bool bufferSet;
    uint32_t size;
    BuildPath expected;
};

void PrintTo(const PathChoice& row, std::ostream* os) {
    *os << row.label;
}

class NeuronPathChoiceTest : public BackendTest, public testing::WithParamInterface<PathChoice> {};

TEST_P(NeuronPathChoiceTest, LoadsFromTheChosenSource) {
    const PathChoice& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    cfg.model_buffer = row.bufferSet ? modelBufferBytes().data() : nullptr;
    cfg.model_size = row.size;
    BodySegNeuron backend(cfg);

    ASSERT_EQ(backend.Init(), 1);

    const testsupport::StandinClient& runtime = neuronStandin();
    const bool file = row.expected == BuildPath::kFile;
    EXPECT_EQ(runtime.callCount("NeuronRuntime_loadNetworkFromFile"), file ? 1 : 0);
    EXPECT_EQ(runtime.callCount("NeuronRuntime_loadNetworkFromBuffer"), file ? 0 : 1);
    if (file) {
        EXPECT_EQ(runtime.recordedText("model_path"), modelFilePath());
        EXPECT_EQ(runtime.recordedBytes("model_bytes"), modelFileBytes());
    } else {
        EXPECT_FALSE(runtime.hasRecord("model_path"));
        const std::vector<char>& bytes = modelBufferBytes();
        EXPECT_EQ(runtime.recordedBytes("model_bytes"),
                  std::vector<uint8_t>(bytes.begin(), bytes.end()));
    }
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    BufferAndSize, NeuronPathChoiceTest,
    testing::Values(PathChoice{"BufferAndSize", true, 40, BuildPath::kBuffer},
                    PathChoice{"BufferWithSizeZero", true, 0, BuildPath::kFile},
                    PathChoice{"SizeWithoutBuffer", false, 40, BuildPath::kFile},
                    PathChoice{"Neither", false, 0, BuildPath::kFile}),
    [](const testing::TestParamInfo<PathChoice>& info) { return info.param.label; });

// ---------------------------------------------------------------------------------------------

using NeuronBackendTest = BackendTest;

TEST_F(NeuronBackendTest, ReportsType23WhateverTheNetworkHolds) {
    scriptTensor(0, kInputBytes, kTypeFloat32);
    scriptTensor(1, kOutputBytes, kTypeUint8);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);

    EXPECT_EQ(backend.GetInputDataType(), kNeuronType);
    EXPECT_EQ(backend.GetOutputDataType(), kNeuronType);
    ASSERT_EQ(backend.Init(), 1);
    EXPECT_EQ(backend.GetInputDataType(), kNeuronType);
    EXPECT_EQ(backend.GetOutputDataType(), kNeuronType);
    backend.Release();
    EXPECT_EQ(backend.GetInputDataType(), kNeuronType);
    EXPECT_EQ(backend.GetOutputDataType(), kNeuronType);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

TEST_F(NeuronBackendTest, InferenceRunsOnTheBoundInputAndNarrowsOut) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    neuronStandin().setOutputEcho(3, 2);
    std::vector<uint8_t> output(kOutputElements + 1, kUntouched);

    ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);

    for (uint32_t i = 0; i < kOutputElements; ++i)
        EXPECT_EQ(output[i], input_[3 * i + 2]) << i;
    EXPECT_EQ(output[kOutputElements], kUntouched);
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

// The INFO lines trace the lifecycle; hosts read them in the field.
TEST_F(NeuronBackendTest, LifecycleInfoLines) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    auto backend = std::make_unique<BodySegNeuron>(cfg);
    ASSERT_EQ(backend->Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
    backend->Release();
    backend.reset();

    EXPECT_EQ(infoTrace(capture_, kNeuronFile),
              (std::vector<std::string>{
                  "BodySegNeuron() Construct", "Init() Init", "Inference() Inference",
                  "ModelInference() Set Input and Output", "ModelInference() Invoke",
                  "Release() Release", "~BodySegNeuron() Deconstruct engine"}));
}

TEST_F(NeuronBackendTest, InitAllocatesOneTrackedStagingBufferOfTheOutputSize) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);

    ASSERT_EQ(registeredCount(), 1u);
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kOutputBytes);
    {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        const kavo::AlgoMemInfo& record = kavo::AlgorithmMemory::sMemMap.begin()->second;
        EXPECT_EQ(record.size, kOutputBytes);
        EXPECT_EQ(kavo::LogPrintf::baseName(record.file.c_str()), std::string(kNeuronFile));
    }
    backend.Release();
    EXPECT_EQ(registeredCount(), 0u);
}

TEST_F(NeuronBackendTest, NullInputOrOutputIsRefused) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    capture_.clear();
    EXPECT_EQ(backend.Inference(nullptr, kInputBytes, output.data()), 0);
    EXPECT_TRUE(onlyError(capture_, kNeuronFile, "ModelInference",
                          "NULL input or output pointer: input " +
                              algocoretest::pointerText(nullptr) + ", output " +
                              algocoretest::pointerText(output.data())));
    capture_.clear();
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, nullptr), 0);
    EXPECT_TRUE(onlyError(capture_, kNeuronFile, "ModelInference",
                          "NULL input or output pointer: input " +
                              algocoretest::pointerText(input_.data()) + ", output " +
                              algocoretest::pointerText(nullptr)));
    EXPECT_EQ(callCounts(neuronStandin(), kInferenceOrder), std::vector<int>(3, 0));
    backend.Release();
}

TEST_F(NeuronBackendTest, InferenceBeforeInitHasNoOutputBuffer) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    EXPECT_EQ(backend.Inference(input_.data(), 0, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuronFile, "ModelInference", "NULL output buffer"));
    EXPECT_EQ(callCounts(neuronStandin(), kInferenceOrder), std::vector<int>(3, 0));
}

TEST_F(NeuronBackendTest, ReleaseBeforeInitIsHarmless) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);

    backend.Release();
    backend.Release();

    EXPECT_EQ(neuronStandin().callCount("NeuronRuntime_release"), 0);
    EXPECT_EQ(countOf(capture_, {ANDROID_LOG_INFO, kNeuronFile, "Release", "Release"}), 2u);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

TEST_F(NeuronBackendTest, SecondReleaseFreesNothingMore) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);

    backend.Release();
    EXPECT_EQ(registeredCount(), 0u);
    backend.Release();

    EXPECT_EQ(neuronStandin().callCount("NeuronRuntime_release"), 1);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

TEST_F(NeuronBackendTest, SecondInitRebuildsWithoutLeakingTheFirstRuntime) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    const int64_t runtimes = neuronStandin().recordedInt("live_runtimes");
    ASSERT_EQ(backend.Init(), 1);

    ASSERT_EQ(backend.Init(), 1);

    EXPECT_EQ(neuronStandin().recordedInt("live_runtimes"), runtimes + 1);
    EXPECT_EQ(neuronStandin().callCount("NeuronRuntime_release"), 1);
    EXPECT_EQ(registeredCount(), 1u);
    std::vector<uint8_t> output(kOutputElements);
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    backend.Release();
}

TEST_F(NeuronBackendTest, ConfigurationRecordIsCopiedAtConstruction) {
    auto cfg = std::make_unique<mtk_ai_type::ModelCfg>(makeCfg(BuildPath::kBuffer));
    cfg->env_options = {2, 1, 0};
    cfg->qos_options = qos(1, 2, 77, -1);
    cfg->buffer_attribute = 12;
    BodySegNeuron backend(*cfg);
    *cfg = makeCfg(BuildPath::kFile);
    cfg.reset();

    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);

    const testsupport::StandinClient& runtime = neuronStandin();
    EXPECT_EQ(runtime.callCount("NeuronRuntime_loadNetworkFromBuffer"), 1);
    EXPECT_EQ(runtime.recordedInt("device_kind"), 2);
    EXPECT_EQ(runtime.recordedInt("qos_boost_value"), 77);
    EXPECT_EQ(runtime.recordedInt("input_attribute"), 12);
    backend.Release();
}

}  // namespace
}  // namespace mtktest
