#include "BackendKind.h"

#include "BackendFixture.h"
#include "BodySegFty.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

template <typename Backend>
std::unique_ptr<bodysegment::ModelImpBase> makeBackend(mtk_ai_type::ModelCfg& cfg) {
    return std::make_unique<Backend>(cfg);
}

template <typename Factory>
bodysegment::ModelImpFtyBase* makeFactory() {
    return new Factory;
}

template <typename Backend>
bool isA(bodysegment::ModelImpBase* backend) {
    return dynamic_cast<Backend*>(backend) != nullptr;
}

}  // namespace

const BackendKind& neuropilotKind() {
    using bodysegment::BodySegNeuropilot;
    static const BackendKind kind{
        "Neuropilot",
        "BodySegNeuropilot",
        kNeuropilotFile,
        sizeof(BodySegNeuropilot),
        tfliteStandin,
        makeBackend<BodySegNeuropilot>,
        makeFactory<bodysegment::BodySegNeuropilotFty>,
        isA<BodySegNeuropilot>,
        {"ANeuroPilotTFLiteOptions_create", "ANeuroPilotTFLiteOptions_setAccelerationMode",
         "ANeuroPilotTFLiteOptions_setAcceleratorName", "ANeuroPilotTFLiteOptions_setUseIon",
         "ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck",
         "ANeuroPilotTFLiteOptions_setCacheDir", "ANeuroPilotTFLiteOptions_setPreference",
         "ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32"},
        "ANeuroPilotTFLite_createAdv",
        "ANeuroPilotTFLite_createAdvWithBuffer",
        {"ANeuroPilotTFLite_getTensorByteSize"},
        {"ANeuroPilotTFLite_setInputTensorData", "ANeuroPilotTFLite_invoke",
         "ANeuroPilotTFLite_getOutputTensorData", "ANeuroPilotTFLite_getTensorType"},
        {"ANeuroPilotTFLite_free", "ANeuroPilotTFLiteOptions_free"},
        "live_interpreters",
        {"BodySegNeuropilot() Construct", "Init() Init", "Inference() Inference",
         "ModelInference() Copy input", "ModelInference() Invoke", "ModelInference() Copy output",
         "Release() Release", "~BodySegNeuropilot() Deconstruct"},
        {{"acceleration_mode", 1}, {"preference", 2}},
    };
    return kind;
}

const BackendKind& neuronKind() {
    using bodysegment::BodySegNeuron;
    static const BackendKind kind{
        "Neuron",
        "BodySegNeuron",
        kNeuronFile,
        sizeof(BodySegNeuron),
        neuronStandin,
        makeBackend<BodySegNeuron>,
        makeFactory<bodysegment::BodySegNeuronFty>,
        isA<BodySegNeuron>,
        {"NeuronRuntime_create"},
        "NeuronRuntime_loadNetworkFromFile",
        "NeuronRuntime_loadNetworkFromBuffer",
        {"NeuronRuntime_setQoSOption", "NeuronRuntime_getSingleInputSize",
         "NeuronRuntime_getSingleOutputSize"},
        {"NeuronRuntime_setSingleInput", "NeuronRuntime_setSingleOutput",
         "NeuronRuntime_inference"},
        {"NeuronRuntime_release"},
        "live_runtimes",
        {"BodySegNeuron() Construct", "Init() Init", "Inference() Inference",
         "ModelInference() Set Input and Output", "ModelInference() Invoke", "Release() Release",
         "~BodySegNeuron() Deconstruct engine"},
        {{"device_kind", 2}, {"qos_boost_value", 77}, {"input_attribute", 12}},
    };
    return kind;
}

std::vector<const BackendKind*> bothKinds() {
    return {&neuropilotKind(), &neuronKind()};
}

std::vector<std::string> BackendKind::buildOrder(BuildPath path) const {
    std::vector<std::string> order = stepsBeforeLoad;
    order.push_back(path == BuildPath::kFile ? fileLoad : bufferLoad);
    order.insert(order.end(), stepsAfterLoad.begin(), stepsAfterLoad.end());
    return order;
}

mtk_ai_type::ModelCfg copiedCfg() {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    cfg.acc_mode = 1;
    cfg.exe_mode = 2;
    cfg.env_options = {2, 1, 0};
    cfg.qos_options.preference = 1;
    cfg.qos_options.priority = 2;
    cfg.qos_options.boostValue = 77;
    cfg.buffer_attribute = 12;
    return cfg;
}

}  // namespace mtktest
