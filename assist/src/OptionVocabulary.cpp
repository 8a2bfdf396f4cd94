#include "OptionVocabulary.h"

namespace mtk_ai_params {

const NeuropilotOptions neuropilotOptions = {
    {"NP_ACCELERATION_CPU", "NP_ACCELERATION_NNAPI", "NP_ACCELERATION_NEURON"},
    {"none", "mtk-neuron", "mtk-mdla", "mtk-vpu"},
    {"kUndefined", "kLowPower", "kFastSingleAnswer", "kSustainedSpeed"},
};

const NeuronRuntimeOptions neuronRuntimeOptions = {
    {"kEnvOptNullDevice", "kEnvOptCModelDevice", "kEnvOptHardware"},
    {"Auto", "Single", "Dual"},
    {"NEURONRUNTIME_PREFER_PERFORMANCE", "NEURONRUNTIME_PREFER_POWER"},
    {"NEURONRUNTIME_PRIORITY_LOW", "NEURONRUNTIME_PRIORITY_MED", "NEURONRUNTIME_PRIORITY_HIGH"},
    {"NEURONRUNTIME_BOOSTVALUE_PROFILED", "NEURONRUNTIME_BOOSTVALUE_MAX",
     "NEURONRUNTIME_BOOSTVALUE_MIN"},
};

const std::string platformName[1] = {"MTK"};
const std::string aiSdkName[2] = {"Neuropilot", "NeuronRuntime"};
const std::string boolWord[2] = {"true", "false"};

}  // namespace mtk_ai_params
