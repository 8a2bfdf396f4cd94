// What only BodySegNeuropilot does, through the real dlopen path into the NeuroPilot stand-in: the
// options each acceleration mode sets, and the type getters, which ask the interpreter.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "BackendFixture.h"
#include "BodySegNeuropilot.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::BodySegNeuropilot;

struct AccelerationCase {
    const char* label;
    int mode;
    int preference;
    int allowFp16;
    BuildPath path;
    bool setsName;  // mode 1 only
    bool setsIon;   // mode 2 only
};

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
    EXPECT_EQ(shim.recordedText("accelerator_name"), row.setsName ? "mtk-vpu" : "");
    EXPECT_EQ(shim.callCount("ANeuroPilotTFLiteOptions_setUseIon"), row.setsIon ? 1 : 0);
    EXPECT_EQ(shim.recordedInt("use_ion"), row.setsIon ? 1 : -1) << "-1: not recorded";
    EXPECT_EQ(shim.recordedInt("no_supported_operation_check"), 1);
    EXPECT_EQ(shim.recordedText("cache_dir"), cacheDir);
    struct stat info {};
    EXPECT_EQ(stat(cacheDir.c_str(), &info), 0) << "the cache directory was not made";
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(shim.recordedInt("preference"), row.preference);
    EXPECT_EQ(shim.recordedInt("allow_fp16"), row.allowFp16 != 0 ? 1 : 0);

    const std::string function = std::string("InitModelWith") + pathName(row.path);
    EXPECT_TRUE(loggedTimes(capture_, {ANDROID_LOG_INFO, kNeuropilotFile, function, "use NNAPI"},
                            row.setsName ? 1 : 0));
    EXPECT_TRUE(loggedTimes(capture_,
                            {ANDROID_LOG_INFO, kNeuropilotFile, function, "use neuron delegate"},
                            row.setsIon ? 1 : 0));
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
// The type getters pass on only the types the frame path knows, and without an interpreter none.

struct TypeCase {
    const char* label;
    uint32_t inputType;
    uint32_t outputType;
    int expectedInput;   // 1 float32 or 2 uint8, else 0
    int expectedOutput;  // 1 to 3, else 0
};

class NeuropilotTypeTest : public BackendTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(NeuropilotTypeTest, ReportsTheModelsTypes) {
    const TypeCase& row = GetParam();
    scriptTensor(0, kInputBytes, row.inputType);
    scriptTensor(1, kOutputBytes, row.outputType);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    BodySegNeuropilot backend(cfg);
    EXPECT_EQ(backend.GetInputDataType(), 0);
    EXPECT_EQ(backend.GetOutputDataType(), 0);
    EXPECT_EQ(tfliteStandin().callCount("ANeuroPilotTFLite_getTensorType"), 0);
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

}  // namespace
}  // namespace mtktest
