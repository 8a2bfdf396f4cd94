// What both backends do the same way, through the real dlopen path into their stand-in runtimes:
// every failing vendor step on both build paths ends in its one ERROR line and status 0 with
// nothing after it run, refused frames never reach the runtime, the build path follows the
// configuration, the staging buffer is the only tracked memory and frames leave it alone, and
// Release/Init may be repeated.
#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "BackendFixture.h"
#include "BackendKind.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

constexpr int kInjectedStatus = 7;
constexpr BuildPath kBothPaths[] = {BuildPath::kFile, BuildPath::kBuffer};

// One vendor call made to fail, and the ERROR line that must be the only one.
struct FailingStep {
    const BackendKind* kind;
    BuildPath path;
    std::string symbol;
    std::string function;
    std::string message;
    int accelerationMode;  // 1 and 2 reach the NeuroPilot steps that only those modes take
};

std::string stepName(const testing::TestParamInfo<FailingStep>& info) {
    const std::string& symbol = info.param.symbol;
    return std::string(info.param.kind->label) + "_" + pathName(info.param.path) + "_" +
           symbol.substr(symbol.find('_') + 1);
}

void add(std::vector<FailingStep>& rows, const BackendKind& kind, BuildPath path,
         const std::string& symbol, const std::string& function, const std::string& message,
         int accelerationMode = 0) {
    rows.push_back({&kind, path, symbol, function, message, accelerationMode});
}

std::vector<FailingStep> initSteps() {
    const BackendKind& np = neuropilotKind();
    const BackendKind& nr = neuronKind();
    std::vector<FailingStep> rows;
    for (BuildPath path : kBothPaths) {
        const std::string init = std::string("InitModelWith") + pathName(path);
        // The options calls are named in the error after the NNAPI-era wrappers.
        const std::pair<const char*, int> options[] = {
            {"create", 0},        {"setAccelerationMode", 0},          {"setAcceleratorName", 1},
            {"setUseIon", 2},     {"setNoSupportedOperationCheck", 0}, {"setCacheDir", 0},
            {"setPreference", 0}, {"setAllowFp16PrecisionForFp32", 0}};
        for (const auto& step : options) {
            add(rows, np, path, std::string("ANeuroPilotTFLiteOptions_") + step.first, init,
                std::string("ANeuralNetworksTFLiteOptions_") + step.first + " failed", step.second);
        }
        add(rows, np, path, "ANeuroPilotTFLite_getTensorByteSize", "InitModelBuffers",
            "ANeuroPilotTFLiteWrapper_getTensorByteSize failed");
        add(rows, nr, path, "NeuronRuntime_getSingleInputSize", "InitModelBuffers",
            "WarpNeuronRuntime_getSingleInputSize failed");
        add(rows, nr, path, "NeuronRuntime_getSingleOutputSize", "InitModelBuffers",
            "WarpNeuronRuntime_getSingleOutputSize failed");
    }
    add(rows, np, BuildPath::kFile, "ANeuroPilotTFLite_createAdv", "InitModelWithFile",
        "ANeuroPilotTFLiteWrapper_makeAdvTFLite failed");
    add(rows, np, BuildPath::kBuffer, "ANeuroPilotTFLite_createAdvWithBuffer",
        "InitModelWithBuffer", "ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer failed");
    // The two Neuron paths word their errors differently; only some carry the runtime's status.
    const std::string code = std::to_string(kInjectedStatus);
    const BuildPath file = BuildPath::kFile;
    add(rows, nr, file, "NeuronRuntime_create", "InitModelWithFile",
        "WarpNeuronRuntime_create failed, error code = " + code);
    add(rows, nr, file, "NeuronRuntime_loadNetworkFromFile", "InitModelWithFile",
        "WarpNeuronRuntime_loadNetworkFromFile failed, error code = " + code);
    add(rows, nr, file, "NeuronRuntime_setQoSOption", "InitModelWithFile",
        "WarpNeuronRuntime_setQoSOption failed, error code = " + code);
    const BuildPath buffer = BuildPath::kBuffer;
    add(rows, nr, buffer, "NeuronRuntime_create", "InitModelWithBuffer",
        "WarpNeuronRuntime_create failed");
    add(rows, nr, buffer, "NeuronRuntime_loadNetworkFromBuffer", "InitModelWithBuffer",
        "WarpNeuronRuntime_loadNetworkFromBuffer failed, error code " + code);
    add(rows, nr, buffer, "NeuronRuntime_setQoSOption", "InitModelWithBuffer",
        "WarpNeuronRuntime_setQoSOption failed");
    return rows;
}

std::vector<FailingStep> frameSteps() {
    std::vector<FailingStep> rows;
    for (BuildPath path : kBothPaths) {
        for (const char* step :
             {"setInputTensorData", "invoke", "getOutputTensorData", "getTensorType"}) {
            add(rows, neuropilotKind(), path, std::string("ANeuroPilotTFLite_") + step,
                "ModelInference", std::string("ANeuroPilotTFLiteWrapper_") + step + " failed");
        }
        for (const char* step : {"setSingleInput", "setSingleOutput", "inference"}) {
            add(rows, neuronKind(), path, std::string("NeuronRuntime_") + step, "ModelInference",
                std::string("WarpNeuronRuntime_") + step + " failed");
        }
    }
    return rows;
}

class StepFailureTest : public BackendTest, public testing::WithParamInterface<FailingStep> {
  protected:
    // The step ran once and logged the only ERROR line, and no later step of `order` ran.
    void expectOnlyTheStepFailed(const std::vector<std::string>& order) {
        const FailingStep& row = GetParam();
        EXPECT_TRUE(onlyError(capture_, row.kind->file, row.function, row.message));
        EXPECT_EQ(row.kind->standin().callCount(row.symbol), 1);
        const auto at = std::find(order.begin(), order.end(), row.symbol);
        ASSERT_NE(at, order.end());
        const std::vector<std::string> later(at + 1, order.end());
        EXPECT_EQ(callCounts(row.kind->standin(), later), std::vector<int>(later.size(), 0))
            << "a step after the failing one ran";
    }
};

class InitStepFailureTest : public StepFailureTest {};
class FrameStepFailureTest : public StepFailureTest {};

TEST_P(InitStepFailureTest, InitReturns0AfterOneErrorNamingTheStep) {
    const FailingStep& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    cfg.acc_mode = row.accelerationMode;
    row.kind->standin().failCall(row.symbol, kInjectedStatus);
    const auto backend = row.kind->make(cfg);
    capture_.clear();

    EXPECT_EQ(backend->Init(), 0);

    expectOnlyTheStepFailed(row.kind->buildOrder(row.path));
    EXPECT_EQ(registeredCount(), 0u) << "the staging buffer exists although Init failed";
    // Whatever the failed Init built is freed by Release.
    backend->Release();
}

TEST_P(FrameStepFailureTest, InferenceReturns0AfterOneErrorAndLeavesTheOutput) {
    const FailingStep& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    const auto backend = row.kind->make(cfg);
    ASSERT_EQ(backend->Init(), 1);
    row.kind->standin().failCall(row.symbol, kInjectedStatus);
    capture_.clear();
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    EXPECT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 0);

    expectOnlyTheStepFailed(row.kind->frameSteps);
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));
    // A failed frame leaves the engine usable.
    row.kind->standin().failCall(row.symbol, 0);
    EXPECT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
    backend->Release();
}

INSTANTIATE_TEST_SUITE_P(EveryStep, InitStepFailureTest, testing::ValuesIn(initSteps()), stepName);
INSTANTIATE_TEST_SUITE_P(EveryStep, FrameStepFailureTest, testing::ValuesIn(frameSteps()),
                         stepName);

// ---------------------------------------------------------------------------------------------
// The buffer path needs both the model bytes and their size; anything less takes the file.

struct PathChoice {
    const char* label;
    bool bufferSet;
    uint32_t size;
    BuildPath expected;
};

class PathChoiceTest
    : public BackendTest,
      public testing::WithParamInterface<std::tuple<const BackendKind*, PathChoice>> {};

TEST_P(PathChoiceTest, LoadsFromTheChosenSource) {
    const BackendKind& kind = *std::get<0>(GetParam());
    const PathChoice& row = std::get<1>(GetParam());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    cfg.model_buffer = row.bufferSet ? modelBufferBytes().data() : nullptr;
    cfg.model_size = row.size;
    const auto backend = kind.make(cfg);

    ASSERT_EQ(backend->Init(), 1);

    const testsupport::StandinClient& runtime = kind.standin();
    const bool file = row.expected == BuildPath::kFile;
    EXPECT_EQ(runtime.callCount(kind.fileLoad), file ? 1 : 0);
    EXPECT_EQ(runtime.callCount(kind.bufferLoad), file ? 0 : 1);
    EXPECT_EQ(runtime.hasRecord("model_path"), file);
    if (file) {
        EXPECT_EQ(runtime.recordedText("model_path"), modelFilePath());
        EXPECT_EQ(runtime.recordedBytes("model_bytes"), modelFileBytes());
    } else {
        const std::vector<char>& bytes = modelBufferBytes();
        EXPECT_EQ(runtime.recordedBytes("model_bytes"),
                  std::vector<uint8_t>(bytes.begin(), bytes.end()));
    }
    backend->Release();
}

INSTANTIATE_TEST_SUITE_P(
    BufferAndSize, PathChoiceTest,
    testing::Combine(testing::ValuesIn(bothKinds()),
                     testing::Values(PathChoice{"BufferAndSize", true, 40, BuildPath::kBuffer},
                                     PathChoice{"BufferWithSizeZero", true, 0, BuildPath::kFile},
                                     PathChoice{"SizeWithoutBuffer", false, 40, BuildPath::kFile},
                                     PathChoice{"Neither", false, 0, BuildPath::kFile})),
    [](const auto& info) {
        return std::string(std::get<0>(info.param)->label) + "_" + std::get<1>(info.param).label;
    });

// ---------------------------------------------------------------------------------------------

class BackendContractTest : public BackendTest,
                            public testing::WithParamInterface<const BackendKind*> {
  protected:
    const BackendKind& kind() const { return *GetParam(); }
    const testsupport::StandinClient& runtime() const { return kind().standin(); }

    std::unique_ptr<bodysegment::ModelImpBase> made(BuildPath path) const {
        mtk_ai_type::ModelCfg cfg = makeCfg(path);
        return kind().make(cfg);
    }

    // How often each of the vendor's free calls ran.
    std::vector<int> frees() const { return callCounts(runtime(), kind().freeSteps); }
    std::vector<int> each(int count) const {
        return std::vector<int>(kind().freeSteps.size(), count);
    }
};

// Every record's size by address, and the total, internal and high-water counters.
using RegistryState = std::tuple<std::map<void*, uint32_t>, uint32_t, uint32_t, uint32_t>;

RegistryState registryState() {
    std::map<void*, uint32_t> records;
    {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        for (const auto& entry : kavo::AlgorithmMemory::sMemMap)
            records[entry.first] = entry.second.size;
    }
    return {records, kavo::AlgorithmMemory::getTotalMemSize(),
            kavo::AlgorithmMemory::getInternalMemSize(),
            kavo::AlgorithmMemory::getInternalMemMaxSize()};
}

// A frame copies the input in, runs and narrows the output; the INFO lines trace the lifecycle,
// and hosts read them in the field.
TEST_P(BackendContractTest, FrameCopiesInRunsAndNarrowsOutWithTheLifecycleTraced) {
    auto backend = made(BuildPath::kFile);
    ASSERT_EQ(backend->Init(), 1);
    // Output element i becomes input byte 3 * i + 1, so the result tells that the input arrived.
    runtime().setOutputEcho(3, 1);
    std::vector<uint8_t> output(kOutputElements + 1, kUntouched);

    ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
    backend->Release();
    backend.reset();

    for (uint32_t i = 0; i < kOutputElements; ++i)
        EXPECT_EQ(output[i], input_[3 * i + 1]) << i;
    EXPECT_EQ(output[kOutputElements], kUntouched);
    EXPECT_EQ(runtime().recordedInt("input_bytes"), kInputBytes);
    EXPECT_EQ(runtime().recordedInt("output_bytes"), kOutputBytes);
    EXPECT_EQ(runtime().recordedInt("runs"), 1);
    EXPECT_EQ(infoTrace(capture_, kind().file), kind().lifecycle);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

// Every buffer a frame needs is made by Init, so frames leave the registry as they found it.
TEST_P(BackendContractTest, StagingBufferIsTheOnlyTrackedMemoryAndFramesLeaveItAlone) {
    const auto backend = made(BuildPath::kBuffer);
    ASSERT_EQ(backend->Init(), 1);

    ASSERT_EQ(registeredCount(), 1u);
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kOutputBytes);
    {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        const kavo::AlgoMemInfo& record = kavo::AlgorithmMemory::sMemMap.begin()->second;
        EXPECT_EQ(record.size, kOutputBytes);
        EXPECT_EQ(kavo::LogPrintf::baseName(record.file.c_str()), std::string(kind().file));
    }
    const RegistryState afterInit = registryState();
    std::vector<uint8_t> output(kOutputElements);
    for (int frame = 0; frame < 3; ++frame) {
        ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
        EXPECT_TRUE(registryState() == afterInit) << "frame " << frame << " changed the registry";
    }
    backend->Release();
    EXPECT_EQ(registeredCount(), 0u);
}

// Null pointers, a wrong input size and a frame before Init get one error each, never a crash.
TEST_P(BackendContractTest, RefusedFramesNeverReachTheRuntime) {
    const auto backend = made(BuildPath::kFile);
    std::vector<uint8_t> input(kInputBytes + 1, 1);
    std::vector<uint8_t> output(kOutputElements, kUntouched);
    // Before Init the tensor size is 0, so an empty input passes the size check.
    EXPECT_EQ(backend->Inference(input.data(), 0, output.data()), 0);
    EXPECT_TRUE(onlyError(capture_, kind().file, "ModelInference", "NULL output buffer"));
    ASSERT_EQ(backend->Init(), 1);
    const auto sizeError = [](unsigned int size) {
        return "Input buffer size(" + std::to_string(size) + ") != Input tensor size(" +
               std::to_string(kInputBytes) + ")";
    };
    const auto nullError = [](const void* in, const void* out) {
        return "NULL input or output pointer: input " + testsupport::pointerText(in) +
               ", output " + testsupport::pointerText(out);
    };
    const struct {
        const uint8_t* input;
        unsigned int size;
        uint8_t* output;
        std::string error;
    } refused[] = {
        {input.data(), kInputBytes - 1, output.data(), sizeError(kInputBytes - 1)},
        {input.data(), kInputBytes + 1, output.data(), sizeError(kInputBytes + 1)},
        {nullptr, kInputBytes, output.data(), nullError(nullptr, output.data())},
        {input.data(), kInputBytes, nullptr, nullError(input.data(), nullptr)},
    };

    for (const auto& frame : refused) {
        capture_.clear();
        EXPECT_EQ(backend->Inference(frame.input, frame.size, frame.output), 0) << frame.error;
        EXPECT_TRUE(onlyError(capture_, kind().file, "ModelInference", frame.error));
    }

    EXPECT_EQ(callCounts(runtime(), kind().frameSteps),
              std::vector<int>(kind().frameSteps.size(), 0));
    EXPECT_FALSE(runtime().hasRecord("runs"));
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));
    backend->Release();
}

// Release is harmless before Init and when repeated; a second Init rebuilds without leaking.
TEST_P(BackendContractTest, ReleaseAndInitRepeatedFreeEachEngineOnce) {
    const auto backend = made(BuildPath::kFile);
    const int64_t engines = runtime().recordedInt(kind().liveEngines);
    backend->Release();
    backend->Release();
    EXPECT_EQ(frees(), each(0));
    EXPECT_TRUE(loggedTimes(capture_, {ANDROID_LOG_INFO, kind().file, "Release", "Release"}, 2));

    ASSERT_EQ(backend->Init(), 1);
    ASSERT_EQ(backend->Init(), 1);
    EXPECT_EQ(runtime().recordedInt(kind().liveEngines), engines + 1);
    EXPECT_EQ(frees(), each(1));
    EXPECT_EQ(registeredCount(), 1u);
    std::vector<uint8_t> output(kOutputElements);
    EXPECT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);

    backend->Release();
    EXPECT_EQ(frees(), each(2));
    EXPECT_EQ(registeredCount(), 0u);
    backend->Release();
    EXPECT_EQ(frees(), each(2));
    EXPECT_TRUE(errorsAre(capture_, {}));
}

// The backend copies what it needs when it is made; only the strings and bytes are borrowed.
TEST_P(BackendContractTest, ConfigurationRecordIsCopiedAtConstruction) {
    auto cfg = std::make_unique<mtk_ai_type::ModelCfg>(copiedCfg());
    const auto backend = kind().make(*cfg);
    *cfg = makeCfg(BuildPath::kFile);
    cfg.reset();

    ASSERT_EQ(backend->Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);

    EXPECT_EQ(runtime().callCount(kind().bufferLoad), 1);
    for (const auto& record : kind().copiedCfgRecords)
        EXPECT_EQ(runtime().recordedInt(record.first), record.second) << record.first;
    backend->Release();
}

INSTANTIATE_TEST_SUITE_P(BothRuntimes, BackendContractTest, testing::ValuesIn(bothKinds()),
                         [](const testing::TestParamInfo<const BackendKind*>& info) {
                             return info.param->label;
                         });

}  // namespace
}  // namespace mtktest
