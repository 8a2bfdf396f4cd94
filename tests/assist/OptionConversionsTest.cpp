// Every option word and its runtime value, and what unknown words fold into.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>

#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "OptionConversions.h"
#include "OptionVocabulary.h"

namespace {

using namespace assist;

template <typename Convert>
void expectValues(Convert convert, std::initializer_list<std::pair<const char*, int64_t>> words) {
    for (const auto& word : words) {
        EXPECT_EQ(static_cast<int64_t>(convert(word.first)), word.second)
            << '"' << word.first << '"';
    }
}

// Each converter's words in vocabulary order, then near misses that give the default.
TEST(OptionConversions, EveryWordAndUnknownWordsGiveTheirValues) {
    using namespace NeuropilotParseParam;
    using namespace NeuronRuntimeParseParam;
    using namespace GeneralParseParam;
    expectValues(String2AccelerationMode, {{"NP_ACCELERATION_CPU", 0},
                                           {"NP_ACCELERATION_NNAPI", 1},
                                           {"NP_ACCELERATION_NEURON", 2},
                                           {"np_acceleration_nnapi", 2},
                                           {"NP_ACCELERATION_CPU ", 2}});
    expectValues(String2ExecutionPreference, {{"kUndefined", -1},
                                              {"kLowPower", 0},
                                              {"kFastSingleAnswer", 1},
                                              {"kSustainedSpeed", 2},
                                              {"klowpower", 2},
                                              {"", 2}});
    expectValues(String2DeviceKind, {{"kEnvOptNullDevice", 1},
                                     {"kEnvOptCModelDevice", 2},
                                     {"kEnvOptHardware", 4},
                                     {"kenvoptnulldevice", 4}});
    expectValues(String2MDLACoreOption, {{"Auto", 0}, {"Single", 1}, {"Dual", 2}, {"auto", 1}});
    expectValues(String2RuntimeAPIQoSPreference, {{"NEURONRUNTIME_PREFER_PERFORMANCE", 0},
                                                  {"NEURONRUNTIME_PREFER_POWER", 1},
                                                  {"PERFORMANCE", 1}});
    expectValues(String2RuntimeAPIQoSPriority, {{"NEURONRUNTIME_PRIORITY_LOW", 0},
                                                {"NEURONRUNTIME_PRIORITY_MED", 1},
                                                {"NEURONRUNTIME_PRIORITY_HIGH", 2},
                                                {"NEURONRUNTIME_PRIORITY_HIHG", 1}});
    expectValues(String2RuntimeAPIQoSBoostValue, {{"NEURONRUNTIME_BOOSTVALUE_PROFILED", 101},
                                                  {"NEURONRUNTIME_BOOSTVALUE_MAX", 100},
                                                  {"NEURONRUNTIME_BOOSTVALUE_MIN", 0},
                                                  {"NEURONRUNTIME_BOOSTVALUE_MINIMUM", 100}});
    expectValues(String2AISDKTD, {{"Neuropilot", 0}, {"NeuronRuntime", 1}, {"neuronruntime", 0}});
    expectValues(String2Decrption, {{"true", 1}, {"false", 0}, {"False", 1}});
}

// The name handed to the runtime is the table's own text, valid for the library's life, and its
// lookup says at INFO how many names there are.
TEST(OptionConversions, AcceleratorNamePointsIntoTheVocabulary) {
    const auto& names = mtk_ai_params::neuropilotOptions.acceleratorName;
    const char* const words[] = {"none", "mtk-neuron", "mtk-mdla", "mtk-vpu", "", "MTK-VPU", "gpu"};
    for (size_t i = 0; i < std::size(words); ++i) {
        const std::string word = words[i];
        const size_t entry = i < std::size(names) ? i : 0;
        EXPECT_EQ(NeuropilotParseParam::String2AcceleratorName(word), names[entry].c_str()) << word;
        EXPECT_EQ(names[entry], i == entry ? word : "none");
    }

    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture log;
    NeuropilotParseParam::String2AcceleratorName("mtk-mdla");
    EXPECT_TRUE(
        testsupport::onlyLine(log, ANDROID_LOG_INFO, "String2AcceleratorName", "count: 4"));
}

}  // namespace
