// What only BodySegNeuron does, through the real dlopen path into the Neuron Runtime stand-in: the
// environment and quality of service handed over whole, the caller's input bound in place with the
// configured attribute, and the fixed type 23.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "BackendFixture.h"
#include "BodySegNeuron.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::BodySegNeuron;

constexpr int kNeuronType = 23;

struct RuntimeOptionsCase {
    const char* label;
    BuildPath path;
    EnvOptions env;
    QoSOptions qos;
    int32_t attribute;  // -1: plain process memory, else an ION descriptor
};

QoSOptions qos(int32_t preference, int32_t priority, uint8_t boost, int32_t delayedPowerOff) {
    QoSOptions made{};
    made.preference = preference;
    made.priority = priority;
    made.boostValue = boost;
    made.delayedPowerOffTime = delayedPowerOff;
    return made;
}

class NeuronRuntimeOptionsTest : public BackendTest,
                                 public testing::WithParamInterface<RuntimeOptionsCase> {};

TEST_P(NeuronRuntimeOptionsTest, HandsTheRecordsOverAndBindsTheCallersInputInPlace) {
    const RuntimeOptionsCase& row = GetParam();
    mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
    cfg.env_options = row.env;
    cfg.qos_options = row.qos;
    cfg.buffer_attribute = row.attribute;
    BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    const testsupport::StandinClient& runtime = neuronStandin();
    // Byte for byte: the runtime gets the records themselves, reserved members included.
    EXPECT_EQ(runtime.recordedBytes("env_options"), bytesOf(std::vector<EnvOptions>{row.env}));
    EXPECT_EQ(runtime.recordedBytes("qos_options"), bytesOf(std::vector<QoSOptions>{row.qos}));

    // Both bindings carry the attribute and are renewed every frame.
    std::vector<uint8_t> output(kOutputElements);
    ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output.data()), 1);
    EXPECT_EQ(runtime.recordedInt("input_address"), reinterpret_cast<intptr_t>(input_.data()));
    EXPECT_EQ(runtime.recordedInt("input_attribute"), row.attribute);
    EXPECT_EQ(runtime.recordedInt("output_attribute"), row.attribute);
    std::vector<uint8_t> otherInput(input_.rbegin(), input_.rend());
    ASSERT_EQ(backend.Inference(otherInput.data(), kInputBytes, output.data()), 1);
    EXPECT_EQ(runtime.recordedInt("input_address"), reinterpret_cast<intptr_t>(otherInput.data()));
    EXPECT_EQ(runtime.callCount("NeuronRuntime_setSingleInput"), 2);
    EXPECT_EQ(runtime.callCount("NeuronRuntime_setSingleOutput"), 2);
    EXPECT_EQ(runtime.recordedInt("runs"), 2);
    EXPECT_TRUE(errorsAre(capture_, {}));
    backend.Release();
}

INSTANTIATE_TEST_SUITE_P(
    Configurations, NeuronRuntimeOptionsTest,
    testing::Values(
        RuntimeOptionsCase{
            "HardwareHighPriority", BuildPath::kFile, {4, 0, 0}, qos(0, 2, 100, -1), -1},
        RuntimeOptionsCase{
            "NullDeviceDualCoreIonFd9", BuildPath::kBuffer, {1, 2, 0}, qos(1, 0, 0, -1), 9},
        RuntimeOptionsCase{"CModelSingleCore", BuildPath::kFile, {2, 1, 0}, qos(1, 1, 101, -1), -1},
        RuntimeOptionsCase{
            "DelayedPowerOffAsGiven", BuildPath::kBuffer, {4, 1, 0}, qos(0, 1, 50, 2000), 0}),
    [](const testing::TestParamInfo<RuntimeOptionsCase>& info) { return info.param.label; });

using NeuronBackendTest = BackendTest;

TEST_F(NeuronBackendTest, ReportsType23WhateverTheNetworkHolds) {
    scriptTensor(0, kInputBytes, kTypeFloat32);
    scriptTensor(1, kOutputBytes, kTypeUint8);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    BodySegNeuron backend(cfg);
    const auto types = [&backend] {
        return std::make_pair(backend.GetInputDataType(), backend.GetOutputDataType());
    };
    const std::pair<int, int> type23(kNeuronType, kNeuronType);

    EXPECT_EQ(types(), type23) << "before Init";
    ASSERT_EQ(backend.Init(), 1);
    EXPECT_EQ(types(), type23) << "after Init";
    backend.Release();
    EXPECT_EQ(types(), type23) << "after Release";
    EXPECT_TRUE(errorsAre(capture_, {}));
}

}  // namespace
}  // namespace mtktest
