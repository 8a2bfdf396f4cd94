// The words the model configuration uses for runtime options. The order inside each array is the
// order in which the converters of OptionConversions.h compare, and the position of a word is
// what selects its runtime value, so entries are never reordered.
//
// One instance of each table exists for the whole library (OptionVocabulary.cpp); it is built
// at load and never modified, so any thread may read it.
#pragma once

#include <string>

namespace mtk_ai_params {

struct NeuropilotOptions {
    std::string accelerationMode[3];
    std::string acceleratorName[4];
    std::string executionPreference[4];
};

struct NeuronRuntimeOptions {
    std::string deviceKind[3];
    std::string MDLACoreOption[3];
    std::string runtimeAPIQoSPreference[2];
    std::string runtimeAPIQoSPriority[3];
    std::string runtimeAPIQoSBoostValue[3];
};

extern const NeuropilotOptions neuropilotOptions;
extern const NeuronRuntimeOptions neuronRuntimeOptions;
extern const std::string platformName[1];
extern const std::string aiSdkName[2];
extern const std::string boolWord[2];

}  // namespace mtk_ai_params
