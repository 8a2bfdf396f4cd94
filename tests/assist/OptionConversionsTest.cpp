// Every option word and its runtime value, and what unknown words fold into.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "OptionConversions.h"
#include "OptionVocabulary.h"

namespace {

using namespace assist;
using Convert = int64_t (*)(const std::string&);

template <typename T, T (*F)(const std::string&)>
int64_t value(const std::string& word) {
    return static_cast<int64_t>(F(word));
}

// The accelerator name is the vocabulary's own text, valid for the library's life: its position.
int64_t acceleratorEntry(const std::string& word) {
    const char* name = NeuropilotParseParam::String2AcceleratorName(word);
    for (int i = 0; i < 4; ++i) {
        if (name == mtk_ai_params::neuropilotOptions.acceleratorName[i].c_str())
            return i;
    }
    return -1;
}

// Each converter's words in vocabulary order as "word=value", then near misses that give the
// default ("=v" is the empty word).
TEST(OptionConversions, EveryWordAndUnknownWordsGiveTheirValues) {
    using namespace NeuropilotParseParam;
    using namespace NeuronRuntimeParseParam;
    using namespace GeneralParseParam;
    const std::pair<Convert, const char*> converters[] = {
        {value<int32_t, String2AccelerationMode>,
         "NP_ACCELERATION_CPU=0 NP_ACCELERATION_NNAPI=1 NP_ACCELERATION_NEURON=2 "
         "np_acceleration_nnapi=2 =2"},
        {acceleratorEntry, "none=0 mtk-neuron=1 mtk-mdla=2 mtk-vpu=3 MTK-VPU=0 gpu=0 =0"},
        {value<int32_t, String2ExecutionPreference>,
         "kUndefined=-1 kLowPower=0 kFastSingleAnswer=1 kSustainedSpeed=2 klowpower=2 =2"},
        {value<uint32_t, String2DeviceKind>,
         "kEnvOptNullDevice=1 kEnvOptCModelDevice=2 kEnvOptHardware=4 kenvoptnulldevice=4"},
        {value<uint32_t, String2MDLACoreOption>, "Auto=0 Single=1 Dual=2 auto=1"},
        {value<int32_t, String2RuntimeAPIQoSPreference>,
         "NEURONRUNTIME_PREFER_PERFORMANCE=0 NEURONRUNTIME_PREFER_POWER=1 PERFORMANCE=1"},
        {value<uint32_t, String2RuntimeAPIQoSPriority>,
         "NEURONRUNTIME_PRIORITY_LOW=0 NEURONRUNTIME_PRIORITY_MED=1 NEURONRUNTIME_PRIORITY_HIGH=2 "
         "NEURONRUNTIME_PRIORITY_HIHG=1"},
        {value<uint32_t, String2RuntimeAPIQoSBoostValue>,
         "NEURONRUNTIME_BOOSTVALUE_PROFILED=101 NEURONRUNTIME_BOOSTVALUE_MAX=100 "
         "NEURONRUNTIME_BOOSTVALUE_MIN=0 NEURONRUNTIME_BOOSTVALUE_MINIMUM=100"},
        {value<uint32_t, String2AISDKTD>, "Neuropilot=0 NeuronRuntime=1 neuronruntime=0"},
        {value<uint32_t, String2Decrption>, "true=1 false=0 False=1"}};
    for (const auto& [convert, words] : converters) {
        std::istringstream in(words);
        for (std::string token; in >> token;) {
            const size_t eq = token.rfind('=');
            EXPECT_EQ(convert(token.substr(0, eq)), std::stoll(token.substr(eq + 1))) << token;
        }
    }
    // The accelerator lookup says at INFO how many names there are.
    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture log;
    String2AcceleratorName("mtk-mdla");
    EXPECT_TRUE(testsupport::onlyLine(log, ANDROID_LOG_INFO, "String2AcceleratorName", "count: 4"));
}

}  // namespace
