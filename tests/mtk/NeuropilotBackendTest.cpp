// BodySegNeuropilot through the real dlopen path into the NeuroPilot stand-in: every failing vendor
// step on both build paths, the size check, the options for each acceleration mode, the choice of
// build path, the type getters, and Release/Init repeated.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "BackendFixture.h"
#include "BodySegNeuropilot.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::BodySegNeuropilot;

// The vendor functions that Init calls, in the order it calls them (for the file path the
// interpreter comes from createAdv, for the buffer path from createAdvWithBuffer).
std::vector<std::string> buildOrder(BuildPath path) {
    return {"ANeuroPilotTFLiteOptions_create",
            "ANeuroPilotTFLiteOptions_setAccelerationMode",
            "ANeuroPilotTFLiteOptions_setAcceleratorName",
            "ANeuroPilotTFLiteOptions_setUseIon",
            "ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck",
            "ANeuroPilotTFLiteOptions_setCacheDir",
            "ANeuroPilotTFLiteOptions_setPreference",
            "ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32",
            path == BuildPath::kFile ? "ANeuroPilotTFLite_createAdv"
                                     : "ANeuroPilotTFLite_createAdvWithBuffer",
            "ANeuroPilotTFLite_getTensorByteSize"};
}

const std::vector<std::string> kInferenceOrder = {
    "ANeuroPilotTFLite_setInputTensorData", "ANeuroPilotTFLite_invoke",
    "ANeuroPilotTFLite_getOutputTensorData", "ANeuroPilotTFLite_getTensorType"};

// Counts of the functions after position `failed` in `order`: all must be 0 once a step failed.
std::vector<int> countsAfter(const std::vector<std::string>& order, const std::string& failed) {
    const auto at = std::find(order.begin(), order.end(), failed);
    std::vector<int> counts;
    for (auto it = at + 1; it < order.end(); ++it)
        counts.push_back(tfliteStandin().callCount(*it));
    return counts;
}

// ---------------------------------------------------------------------------------------------
// One failing vendor function per row: Init returns 0 after exactly one ERROR line naming the step.

struct BuildFailure {
    BuildPath path;
    const char* symbol;
    int accelerationMode;  // 1 and 2 reach the steps that only those modes take
    const char* function;  // "" for the build path's own name
    const char* message;
};

void PrintTo(const BuildFailure& row, std::ostream* os) {
    *os << pathName(row.path) << " path, " << row.symbol << " fails";
}

std::vector<BuildFailure> buildFailures() {
    std::vector<BuildFailure> rows;
    for (BuildPath path : {BuildPath::kFile, BuildPath::kBuffer}) {
        rows.push_back({path, "ANeuroPilotTFLiteOptions_create", 0, "",
                        "ANeuralNetworksTFLiteOptions_create failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setAccelerationMode", 0, "",
                        "ANeuralNetworksTFLiteOptions_setAccelerationMode failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setAcceleratorName", 1, "",
                        "ANeuralNetworksTFLiteOptions_setAcceleratorName failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setUseIon", 2, "",
                        "ANeuralNetworksTFLiteOptions_setUseIon failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck", 0, "",
                        "ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setCacheDir", 0, "",
                        "ANeuralNetworksTFLiteOptions_setCacheDir failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setPreference", 0, "",
                        "ANeuralNetworksTFLiteOptions_setPreference failed"});
        rows.push_back({path, "ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32", 0, "",
                        "ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32 failed"});
        rows.push_back({path, "ANeuroPilotTFLite_getTensorByteSize", 0, "InitModelBuffers",
                        "ANeuroPilotTFLiteWrapper_getTensorByteSize failed"});
    }
    rows.push_back({BuildPath::kFile, "ANeuroPilotTFLite_createAdv", 0, "",
                    "ANeuroPilotTFLiteWrapper_makeAdvTFLite failed"});
    rows.push_back({BuildPath::kBuffer, "ANeuroPilotTFLite_createAdvWithBuffer", 0, "",
                    "ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer failed"});
    return rows;
}

class NeuropilotBuildFailureTest : public BackendTest,
                                   public testing::WithParamInterface<BuildFailure> {};

TEST_P(NeuropilotBuildFailureTest, InitFailsWithOneErrorNamingTheStep) {
    const BuildFailure& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    cfg.acc_mode = row.accelerationMode;
    tfliteStandin().failCall(row.symbol, 4);
    BodySegNeuropilot backend(cfg);
    capture_.clear();

    EXPECT_EQ(backend.Init(), 0);

    const std::string function =
        *row.function != '\0' ? row.function : std::string("InitModelWith") + pathName(row.path);
    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, function, row.message));
    EXPECT_EQ(tfliteStandin().callCount(row.symbol), 1);
    const std::vector<int> later = countsAfter(buildOrder(row.path), row.symbol);
    EXPECT_EQ(later, std::vector<int>(later.size(), 0)) << "a step after the failing one ran";
    EXPECT_EQ(registeredCount(), 0u) << "the staging buffer exists although Init failed";

    // Whatever the failed Init built is freed by Release.
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(EveryStep, NeuropilotBuildFailureTest, testing::ValuesIn(buildFailures()),
                         [](const testing::TestParamInfo<BuildFailure>& info) {
                             std::string symbol = info.param.symbol;
                             symbol = symbol.substr(symbol.find('_') + 1);
                             return std::string(pathName(info.param.path)) + "_" + symbol;
                         });

// ---------------------------------------------------------------------------------------------
// One failing vendor function per row during Inference.

struct InferenceFailure {
    const char* symbol;
    const char* message;
};

void PrintTo(const InferenceFailure& row, std::ostream* os) {
    *os << row.symbol << " fails";
}

class NeuropilotInferenceFailureTest : public BackendTest,
                                       public testing::WithParamInterface<InferenceFailure> {};

TEST_P(NeuropilotInferenceFailureTest, InferenceFailsWithOneErrorAndLeavesTheOutput) {
    const InferenceFailure& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    tfliteStandin().failCall(row.symbol, 4);
    capture_.clear();
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, "ModelInference", row.message));
    EXPECT_EQ(tfliteStandin().callCount(row.symbol), 1);
    const std::vector<int> later = countsAfter(kInferenceOrder, row.symbol);
    EXPECT_EQ(later, std::vector<int>(later.size(), 0)) << "a step after the failing one ran";
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));

    // A failed frame leaves the engine usable.
    tfliteStandin().failCall(row.symbol, 0);
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, NeuropilotInferenceFailureTest,
    testing::Values(InferenceFailure{"ANeuroPilotTFLite_setInputTensorData",
                                     "ANeuroPilotTFLiteWrapper_setInputTensorData failed"},
                    InferenceFailure{"ANeuroPilotTFLite_invoke",
                                     "ANeuroPilotTFLiteWrapper_invoke failed"},
                    InferenceFailure{"ANeuroPilotTFLite_getOutputTensorData",
                                     "ANeuroPilotTFLiteWrapper_getOutputTensorData failed"},
                    InferenceFailure{"ANeuroPilotTFLite_getTensorType",
                                     "ANeuroPilotTFLiteWrapper_getTensorType failed"}),
    [](const testing::TestParamInfo<InferenceFailure>& info) {
        const std::string symbol = info.param.symbol;
        return symbol.substr(symbol.find('_') + 1);
    });

// ---------------------------------------------------------------------------------------------
// An input that is not exactly the tensor's size is refused before anything reaches the runtime.

class NeuropilotInputSizeTest : public BackendTest, public testing::WithParamInterface<int> {};

TEST_P(NeuropilotInputSizeTest, RefusedWithTheSizesAndNoRun) {
    const unsigned int size = kInputBytes + GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> input(kInputBytes + 1, 1);
    std::vector<uint8_t> output(kOutputElements, kUntouched);
    capture_.clear();

    EXPECT_EQ(backend.Inference(input.data(), size, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, "ModelInference",
                          "Input buffer size(" + std::to_string(size) + ") != Input tensor size(" +
                              std::to_string(kInputBytes) + ")"));
    EXPECT_EQ(callCounts(tfliteStandin(), kInferenceOrder), std::vector<int>(4, 0));
    EXPECT_FALSE(tfliteStandin().hasRecord("runs"));
    EXPECT_EQ(output, std::vector<uint8_t>(kOutputElements, kUntouched));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(OffByOne, NeuropilotInputSizeTest, testing::Values(-1, 1),
                         [](const testing::TestParamInfo<int>& info) {
                             return info.param < 0 ? std::string("OneByteLess")
                                                   : std::string("OneByteMore");
                         });

// ---------------------------------------------------------------------------------------------
// The options each acceleration mode sets.

struct AccelerationCase {
    const char* label;
    int mode;
    int preference;
    int allowFp16;
    BuildPath path;
    bool setsName;  // mode 1 only
    bool setsIon;   // mode 2 only
};

void PrintTo(const AccelerationCase& row, std::ostream* os) {
    *os << row.label;
}

class NeuropilotOptionsTest : public BackendTest,
                              public testing::WithParamInterface<AccelerationCase> {};

TEST_P(NeuropilotOptionsTest, SetsWhatTheModeAsksFor) {
    const AccelerationCase& row = GetParam();
    const std::string cacheDir = freshCacheDir(row.label);
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    cfg.acc_mode = row.mode;
    cfg.acc_name = "mtk-vpu";
    cfg.exe_mode = row.preference;
    cfg.allow_fp16 = row.allowFp16;
    cfg.cache_dir = cacheDir.c_str();
    BodySegNeuropilot backend(cfg);

    ASSERT_EQ(backend.Init(), 1);

    const testsupport::StandinClient& shim = tfliteStandin();
    EXPECT_EQ(shim.recordedInt("acceleration_mode"), row.mode);
    EXPECT_EQ(shim.callCount("ANeuroPilotTFLiteOptions_setAcceleratorName"), row.setsName ? 1 : 0);
    if (row.setsName) {
        EXPECT_EQ(shim.recordedText("accelerator_name"), "mtk-vpu");
    }
    EXPECT_EQ(shim.callCount("ANeuroPilotTFLiteOptions_setUseIon"), row.setsIon ? 1 : 0);
    if (row.setsIon) {
        EXPECT_EQ(shim.recordedInt("use_ion"), 1);
    }
    EXPECT_EQ(shim.recordedInt("no_supported_operation_check"), 1);
    EXPECT_EQ(shim.recordedText("cache_dir"), cacheDir);
    struct stat info {};
    EXPECT_EQ(stat(cacheDir.c_str(), &info), 0) << "the cache directory was not made";
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(shim.recordedInt("preference"), row.preference);
    EXPECT_EQ(shim.recordedInt("allow_fp16"), row.allowFp16 != 0 ? 1 : 0);

    const std::string function = std::string("InitModelWith") + pathName(row.path);
    const KavoLine nnapi{ANDROID_LOG_INFO, kNeuropilotFile, function, "use NNAPI"};
    const KavoLine delegate{ANDROID_LOG_INFO, kNeuropilotFile, function, "use neuron delegate"};
    EXPECT_TRUE(row.setsName ? loggedOnce(capture_, nnapi) : neverLogged(capture_, nnapi));
    EXPECT_TRUE(row.setsIon ? loggedOnce(capture_, delegate) : neverLogged(capture_, delegate));
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    Modes, NeuropilotOptionsTest,
    testing::Values(AccelerationCase{"Cpu", 0, -1, 0, BuildPath::kFile, false, false},
                    AccelerationCase{"Nnapi", 1, 0, 1, BuildPath::kBuffer, true, false},
                    AccelerationCase{"NeuronDelegate", 2, 2, 0, BuildPath::kFile, false, true},
                    AccelerationCase{"UnknownModeAsCpu", 3, 1, 7, BuildPath::kBuffer, false,
                                     false}),
    [](const testing::TestParamInfo<AccelerationCase>& info) { return info.param.label; });

// ---------------------------------------------------------------------------------------------
// The buffer path needs both the model bytes and their size; anything less takes the file.

struct PathChoice {
    const char* label;
    bool bufferSet;
    uint32_t size;
    BuildPath expected;
};

void PrintTo(const PathChoice& row, std::ostream* os) {
    *os << row.label;
}

class NeuropilotPathChoiceTest : public BackendTest,
                                 public testing::WithParamInterface<PathChoice> {};

TEST_P(NeuropilotPathChoiceTest, LoadsFromTheChosenSource) {
    const PathChoice& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    cfg.model_buffer = row.bufferSet ? modelBufferBytes().data() : nullptr;
    cfg.model_size = row.size;
    BodySegNeuropilot backend(cfg);

    ASSERT_EQ(backend.Init(), 1);

    const testsupport::StandinClient& shim = tfliteStandin();
    const bool file = row.expected == BuildPath::kFile;
    EXPECT_EQ(shim.callCount("ANeuroPilotTFLite_createAdv"), file ? 1 : 0);
    EXPECT_EQ(shim.callCount("ANeuroPilotTFLite_createAdvWithBuffer"), file ? 0 : 1);
    if (file) {
        EXPECT_EQ(shim.recordedText("model_path"), modelFilePath());
        EXPECT_EQ(shim.recordedBytes("model_bytes"), modelFileBytes());
    } else {
        EXPECT_FALSE(shim.hasRecord("model_path"));
        const std::vector<char>& bytes = modelBufferBytes();
        EXPECT_EQ(shim.recordedBytes("model_bytes"),
                  std::vector<uint8_t>(bytes.begin(), bytes.end()));
    }
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    BufferAndSize, NeuropilotPathChoiceTest,
    testing::Values(PathChoice{"BufferAndSize", true, 40, BuildPath::kBuffer},
                    PathChoice{"BufferWithSizeZero", true, 0, BuildPath::kFile},
                    PathChoice{"SizeWithoutBuffer", false, 40, BuildPath::kFile},
                    PathChoice{"Neither", false, 0, BuildPath::kFile}),
    [](const testing::TestParamInfo<PathChoice>& info) { return info.param.label; });

// ---------------------------------------------------------------------------------------------
// The type getters ask the interpreter and pass on only the types the frame path knows.

struct TypeCase {
    const char* label;
    uint32_t inputType;
    uint32_t outputType;
    int expectedInput;   // 1 float32 or 2 uint8, else 0
    int expectedOutput;  // 1 to 3, else 0
};

void PrintTo(const TypeCase& row, std::ostream* os) {
    *os << row.label;
}

class NeuropilotTypeTest : public BackendTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(NeuropilotTypeTest, ReportsTheModelsTypes) {
    const TypeCase& row = GetParam();
    scriptTensor(0, kInputBytes, row.inputType);
    scriptTensor(1, kOutputBytes, row.outputType);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);

    EXPECT_EQ(backend.GetInputDataType(), row.expectedInput);
    EXPECT_EQ(backend.GetOutputDataType(), row.expectedOutput);
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    TensorTypes, NeuropilotTypeTest,
    testing::Values(TypeCase{"Float32", 1, 1, 1, 1}, TypeCase{"Uint8", 2, 2, 2, 2},
                    TypeCase{"Int32", 3, 3, 0, 3}, TypeCase{"None", 0, 0, 0, 0},
                    TypeCase{"Int8", 9, 9, 0, 0}, TypeCase{"Int64Output", 2, 4, 2, 0}),
    [](const testing::TestParamInfo<TypeCase>& info) { return info.param.label; });

using NeuropilotBackendTest = BackendTest;

TEST_F(NeuropilotBackendTest, TypesAreNoneWithoutAnInterpreter) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);

    EXPECT_EQ(backend.GetInputDataType(), 0);
    EXPECT_EQ(backend.GetOutputDataType(), 0);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_getTensorType"), 0);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

// ---------------------------------------------------------------------------------------------
// A working frame: the input reaches the model, the output comes back narrowed.

TEST_F(NeuropilotBackendTest, InferenceCopiesInRunsAndNarrowsOut) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    // Output element i becomes input byte 3 * i + 1, so the result tells that the input arrived.
    tfliteStandin().setOutputEcho(3, 1);
    std::vector<uint8_t> output(kOutputElements + 1, kUntouched);

    ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);

    for (uint32_t i = 0; i < kOutputElements; ++i)
        EXPECT_EQ(output[i], input_[3 * i + 1]) << i;
    EXPECT_EQ(output[kOutputElements], kUntouched);
    EXPECT_EQ(tfliteStandin().recordedInt("input_bytes"), kInputBytes);
    EXPECT_EQ(tfliteStandin().recordedInt("output_bytes"), kOutputBytes);
    EXPECT_EQ(tfliteStandin().recordedInt("runs"), 1);
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

// The INFO lines trace the lifecycle; hosts read them in the field.
TEST_F(NeuropilotBackendTest, LifecycleInfoLines) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    auto backend = std::make_unique<BodySegNeuropilot>(cfg);
    ASSERT_EQ(backend->Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
    backend->Release();
    backend.reset();

    EXPECT_EQ(infoTrace(capture_, kNeuropilotFile),
              (std::vector<std::string>{"BodySegNeuropilot() Construct", "Init() Init",
                                        "Inference() Inference", "ModelInference() Copy input",
                                        "ModelInference() Invoke", "ModelInference() Copy output",
                                        "Release() Release", "~BodySegNeuropilot() Deconstruct"}));
}

TEST_F(NeuropilotBackendTest, InitAllocatesOneTrackedStagingBufferOfTheOutputSize) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);

    ASSERT_EQ(registeredCount(), 1u);
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kOutputBytes);
    {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        const kavo::AlgoMemInfo& record = kavo::AlgorithmMemory::sMemMap.begin()->second;
        EXPECT_EQ(record.size, kOutputBytes);
        EXPECT_EQ(kavo::LogPrintf::baseName(record.file.c_str()), std::string(kNeuropilotFile));
    }
    backend.Release();
    EXPECT_EQ(registeredCount(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Null pointers and a frame before Init are refused with one error, never a crash.

TEST_F(NeuropilotBackendTest, NullInputOrOutputIsRefused) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    capture_.clear();
    EXPECT_EQ(backend.Inference(nullptr, kInputBytes, output.data()), 0);
    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, "ModelInference",
                          "NULL input or output pointer: input " +
                              algocoretest::pointerText(nullptr) + ", output " +
                              algocoretest::pointerText(output.data())));
    capture_.clear();
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, nullptr), 0);
    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, "ModelInference",
                          "NULL input or output pointer: input " +
                              algocoretest::pointerText(input_.data()) + ", output " +
                              algocoretest::pointerText(nullptr)));
    EXPECT_EQ(callCounts(tfliteStandin(), kInferenceOrder), std::vector<int>(4, 0));
    backend.Release();
}

TEST_F(NeuropilotBackendTest, InferenceBeforeInitHasNoOutputBuffer) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);
    std::vector<uint8_t> output(kOutputElements, kUntouched);

    // Before Init the tensor size is 0, so an empty input passes the size check.
    EXPECT_EQ(backend.Inference(input_.data(), 0, output.data()), 0);

    EXPECT_TRUE(onlyError(capture_, kNeuropilotFile, "ModelInference", "NULL output buffer"));
    EXPECT_EQ(callCounts(tfliteStandin(), kInferenceOrder), std::vector<int>(4, 0));
}

// ---------------------------------------------------------------------------------------------
// Release and Init repeated.

TEST_F(NeuropilotBackendTest, ReleaseBeforeInitIsHarmless) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);

    backend.Release();
    backend.Release();

    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_free"), 0);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLiteOptions_free"), 0);
    EXPECT_EQ(countOf(capture_, {ANDROID_LOG_INFO, kNeuropilotFile, "Release", "Release"}), 2u);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

TEST_F(NeuropilotBackendTest, SecondReleaseFreesNothingMore) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);

    backend.Release();
    EXPECT_EQ(registeredCount(), 0u);
    backend.Release();

    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_free"), 1);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLiteOptions_free"), 1);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

TEST_F(NeuropilotBackendTest, SecondInitRebuildsWithoutLeakingTheFirstEngine) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuropilot backend(cfg);
    const int64_t interpreters = tfliteStandin().recordedInt("live_interpreters");
    ASSERT_EQ(backend.Init(), 1);

    ASSERT_EQ(backend.Init(), 1);

    EXPECT_EQ(tfliteStandin().recordedInt("live_interpreters"), interpreters + 1);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_free"), 1);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLiteOptions_free"), 1);
    EXPECT_EQ(registeredCount(), 1u);
    std::vector<uint8_t> output(kOutputElements);
    EXPECT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    backend.Release();
}

// The backend copies what it needs when it is made; only the strings and bytes are borrowed.
TEST_F(NeuropilotBackendTest, ConfigurationRecordIsCopiedAtConstruction) {
    auto cfg = std::make_unique<mtk_ai_type::ModelCfg>(makeCfg(BuildPath::kBuffer));
    cfg->acc_mode = 1;
    cfg->exe_mode = 2;
    BodySegNeuropilot backend(*cfg);
    *cfg = makeCfg(BuildPath::kFile);
    cfg.reset();

    ASSERT_EQ(backend.Init(), 1);

    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_createAdvWithBuffer"), 1);
    EXPECT_EQ(tfliteStandin().recordedInt("acceleration_mode"), 1);
    EXPECT_EQ(tfliteStandin().recordedInt("preference"), 2);
    backend.Release();
}

}  // namespace
}  // namespace mtktest
