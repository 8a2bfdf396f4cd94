#include "OptionConversions.h"

#include <cstddef>
#include <iterator>

#include "LogPrintf.h"
#include "OptionVocabulary.h"

namespace assist {

namespace {

using mtk_ai_params::neuronRuntimeOptions;
using mtk_ai_params::neuropilotOptions;

// Compares `word` with the first N entries of `words`, in order; `values` holds their results.
// Entries past N are the ones whose value is the fallback anyway.
template <typename T, size_t N>
T valueOf(const std::string& word, const std::string* words, const T (&values)[N], T fallback) {
    for (size_t i = 0; i < N; ++i) {
        if (word == words[i])
            return values[i];
    }
    return fallback;
}

}  // namespace

namespace NeuropilotParseParam {

int32_t String2AccelerationMode(const std::string& word) {
    static constexpr int32_t kValues[] = {0, 1};
    return valueOf(word, neuropilotOptions.accelerationMode, kValues, 2);
}

const char* String2AcceleratorName(const std::string& word) {
    const std::string* names = neuropilotOptions.acceleratorName;
    const int count = static_cast<int>(std::size(neuropilotOptions.acceleratorName));
    KAVO_LOGI("count: %d", count);
    for (int i = 0; i < count; ++i) {
        if (word == names[i])
            return names[i].c_str();
    }
    return names[0].c_str();
}

int32_t String2ExecutionPreference(const std::string& word) {
    static constexpr int32_t kValues[] = {-1, 0, 1};
    return valueOf(word, neuropilotOptions.executionPreference, kValues, 2);
}

}  // namespace NeuropilotParseParam

namespace NeuronRuntimeParseParam {

uint32_t String2DeviceKind(const std::string& word) {
    static constexpr uint32_t kValues[] = {1, 2};
    return valueOf(word, neuronRuntimeOptions.deviceKind, kValues, 4u);
}

uint32_t String2MDLACoreOption(const std::string& word) {
    static constexpr uint32_t kValues[] = {0, 1, 2};
    return valueOf(word, neuronRuntimeOptions.MDLACoreOption, kValues, 1u);
}

int32_t String2RuntimeAPIQoSPreference(const std::string& word) {
    static constexpr int32_t kValues[] = {0};
    return valueOf(word, neuronRuntimeOptions.runtimeAPIQoSPreference, kValues, 1);
}

uint32_t String2RuntimeAPIQoSPriority(const std::string& word) {
    static constexpr uint32_t kValues[] = {0, 1, 2};
    return valueOf(word, neuronRuntimeOptions.runtimeAPIQoSPriority, kValues, 1u);
}

uint32_t String2RuntimeAPIQoSBoostValue(const std::string& word) {
    static constexpr uint32_t kValues[] = {101, 100, 0};
    return valueOf(word, neuronRuntimeOptions.runtimeAPIQoSBoostValue, kValues, 100u);
}

}  // namespace NeuronRuntimeParseParam

namespace GeneralParseParam {

uint32_t String2AISDKTD(const std::string& word) {
    static constexpr uint32_t kValues[] = {0, 1};
    return valueOf(word, mtk_ai_params::aiSdkName, kValues, 0u);
}

uint32_t String2Decrption(const std::string& word) {
    static constexpr uint32_t kValues[] = {1, 0};
    return valueOf(word, mtk_ai_params::boolWord, kValues, 1u);
}

}  // namespace GeneralParseParam

}  // namespace assist
