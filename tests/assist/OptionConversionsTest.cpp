// Every option word and its runtime value, and what unknown words fold into.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "AssistTestSupport.h"
#include "LogCapture.h"
#include "OptionConversions.h"
#include "OptionVocabulary.h"

namespace {

using namespace assist;

struct Case {
    const char* option;
    std::function<int64_t(const std::string&)> convert;
    std::string word;
    int64_t expected;
};

std::vector<Case> cases() {
    using namespace NeuropilotParseParam;
    using namespace NeuronRuntimeParseParam;
    using namespace GeneralParseParam;
    const auto mode = [](const std::string& w) { return String2AccelerationMode(w); };
    const auto pref = [](const std::string& w) { return String2ExecutionPreference(w); };
    const auto kind = [](const std::string& w) { return String2DeviceKind(w); };
    const auto core = [](const std::string& w) { return String2MDLACoreOption(w); };
    const auto qos = [](const std::string& w) { return String2RuntimeAPIQoSPreference(w); };
    const auto prio = [](const std::string& w) { return String2RuntimeAPIQoSPriority(w); };
    const auto boost = [](const std::string& w) { return String2RuntimeAPIQoSBoostValue(w); };
    const auto sdk = [](const std::string& w) { return String2AISDKTD(w); };
    const auto decr = [](const std::string& w) { return String2Decrption(w); };
    return {
        {"acceleration mode", mode, "NP_ACCELERATION_CPU", 0},
        {"acceleration mode", mode, "NP_ACCELERATION_NNAPI", 1},
        {"acceleration mode", mode, "NP_ACCELERATION_NEURON", 2},
        {"acceleration mode", mode, "np_acceleration_nnapi", 2},
        {"acceleration mode", mode, "NP_ACCELERATION_CPU ", 2},
        {"acceleration mode", mode, "", 2},
        {"execution preference", pref, "kUndefined", -1},
        {"execution preference", pref, "kLowPower", 0},
        {"execution preference", pref, "kFastSingleAnswer", 1},
        {"execution preference", pref, "kSustainedSpeed", 2},
        {"execution preference", pref, "klowpower", 2},
        {"execution preference", pref, "", 2},
        {"device kind", kind, "kEnvOptNullDevice", 1},
        {"device kind", kind, "kEnvOptCModelDevice", 2},
        {"device kind", kind, "kEnvOptHardware", 4},
        {"device kind", kind, "", 4},
        {"MDLA core option", core, "Auto", 0},
        {"MDLA core option", core, "Single", 1},
        {"MDLA core option", core, "Dual", 2},
        {"MDLA core option", core, "auto", 1},
        {"MDLA core option", core, "", 1},
        {"QoS preference", qos, "NEURONRUNTIME_PREFER_PERFORMANCE", 0},
        {"QoS preference", qos, "NEURONRUNTIME_PREFER_POWER", 1},
        {"QoS preference", qos, "PERFORMANCE", 1},
        {"QoS preference", qos, "", 1},
        {"QoS priority", prio, "NEURONRUNTIME_PRIORITY_LOW", 0},
        {"QoS priority", prio, "NEURONRUNTIME_PRIORITY_MED", 1},
        {"QoS priority", prio, "NEURONRUNTIME_PRIORITY_HIGH", 2},
        {"QoS priority", prio, "NEURONRUNTIME_PRIORITY_HIHG", 1},
        {"QoS priority", prio, "", 1},
        {"QoS boost value", boost, "NEURONRUNTIME_BOOSTVALUE_PROFILED", 101},
        {"QoS boost value", boost, "NEURONRUNTIME_BOOSTVALUE_MAX", 100},
        {"QoS boost value", boost, "NEURONRUNTIME_BOOSTVALUE_MIN", 0},
        {"QoS boost value", boost, "NEURONRUNTIME_BOOSTVALUE_MINIMUM", 100},
        {"QoS boost value", boost, "", 100},
        {"AISDK", sdk, "Neuropilot", 0},
        {"AISDK", sdk, "NeuronRuntime", 1},
        {"AISDK", sdk, "neuronruntime", 0},
        {"AISDK", sdk, "", 0},
        {"Decrption", decr, "true", 1},
        {"Decrption", decr, "false", 0},
        {"Decrption", decr, "False", 1},
        {"Decrption", decr, "", 1},
    };
}

TEST(OptionConversions, EveryWordAndUnknownWordsGiveTheirValues) {
    for (const Case& c : cases()) {
        const std::string word = c.word;
        EXPECT_EQ(c.convert(word), c.expected) << c.option << " of \"" << c.word << "\"";
        EXPECT_EQ(word, c.word) << "the converter must not change its argument";
    }
}

TEST(OptionConversions, AcceleratorNamePointsIntoTheVocabulary) {
    const auto& names = mtk_ai_params::neuropilotOptions.acceleratorName;
    for (const std::string& name : names) {
        const std::string word = name;
        const char* result = NeuropilotParseParam::String2AcceleratorName(word);
        EXPECT_STREQ(result, name.c_str());
        EXPECT_EQ(result, name.c_str()) << "must be the table's own text";
        EXPECT_NE(result, word.c_str());
    }
    const std::string vpu = "mtk-vpu";
    const char* result = NeuropilotParseParam::String2AcceleratorName(vpu);
    EXPECT_STREQ(result, "mtk-vpu");
    EXPECT_NE(result, vpu.c_str());
    for (const std::string unknown : {"", "MTK-VPU", "gpu"}) {
        EXPECT_EQ(NeuropilotParseParam::String2AcceleratorName(unknown), names[0].c_str());
    }
}

TEST(OptionConversions, AcceleratorNameLogsTheEntryCountAtInfo) {
    assisttest::ScopedLogLevel level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture log;
    NeuropilotParseParam::String2AcceleratorName("mtk-mdla");
    const auto lines = log.matching("count: ");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_INFO);
    EXPECT_NE(lines[0].text.find("String2AcceleratorName() count: 4"), std::string::npos)
        << lines[0].text;
}

}  // namespace
