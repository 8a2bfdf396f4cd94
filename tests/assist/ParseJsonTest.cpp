// Group selection and field filling of parse_json, with the exact messages of each failure.
#include <android/log.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AssistTestSupport.h"
#include "LogCapture.h"
#include "ParseParams.h"

namespace {

using mtk_ai_type::GeneralCfg;
using mtk_ai_type::ModelCfg;

constexpr uint32_t kFailed = 0xFFFFFFFFu;
const char* const kUntouchedName = "untouched";

struct Parsed {
    uint32_t result;
    ModelCfg model;
    GeneralCfg general;
    assist::SelectedParamGroup selected;
    std::vector<testsupport::LogLine> errors;
};

// Records pre-filled with values no configuration produces, to see which fields were written.
ModelCfg untouchedModel() {
    ModelCfg cfg{};
    cfg.acc_mode = 77;
    cfg.acc_name = kUntouchedName;
    cfg.exe_mode = 77;
    cfg.env_options = {77, 77, 77};
    cfg.qos_options.preference = 77;
    cfg.qos_options.priority = 77;
    cfg.qos_options.boostValue = 77;
    return cfg;
}

Parsed parseFile(const std::string& path) {
    testsupport::LogCapture log;
    Parsed parsed{0, untouchedModel(), GeneralCfg{false, 77, false, true}, {}, {}};
    parsed.result = assist::parse_json(path.c_str(), parsed.model, parsed.general, parsed.selected);
    for (const auto& line : log.lines()) {
        if (line.priority == ANDROID_LOG_ERROR)
            parsed.errors.push_back(line);
    }
    return parsed;
}

Parsed parseText(const std::string& json) {
    static int counter = 0;
    return parseFile(
        assisttest::writeTempFile("parse-" + std::to_string(counter++) + ".json", json));
}

std::string root(const std::string& product, const std::string& platform, const std::string& aisdk,
                 const std::string& groups) {
    return R"({"Module": "BodySegmentation", "Product": ")" + product + R"(", "Platform": ")" +
           platform + R"(", "AISDK": ")" + aisdk + R"(", "ParamGroup": [)" + groups + "]}";
}

const std::string kNeuropilotGroup = R"({"Product": "P1", "Platform": "MTK", "AISDK": "Neuropilot",
    "AccelerationMode": "NP_ACCELERATION_NEURON", "AcceleratorName": "mtk-neuron",
    "ExecutionPreference": "kSustainedSpeed", "Decrption": true})";

std::string neuronGroup(const std::string& product, const std::string& extra) {
    return R"({"Product": ")" + product + R"(", "Platform": "MTK", "AISDK": "NeuronRuntime",
    "DeviceKind": "kEnvOptHardware", "MDLACoreOption": "Auto",
    "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
    "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
    "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX", "Decrption": true)" +
           extra + "}";
}

// The error lines' own messages, after the logger's fixed head.
std::vector<std::string> messages(const Parsed& parsed) {
    std::vector<std::string> out;
    for (const auto& line : parsed.errors) {
        const size_t end = line.text.find("() ");
        out.push_back(end == std::string::npos ? line.text : line.text.substr(end + 3));
    }
    return out;
}

void expectNeuropilotUntouched(const ModelCfg& model) {
    EXPECT_EQ(model.acc_mode, 77);
    EXPECT_EQ(model.acc_name, kUntouchedName);
    EXPECT_EQ(model.exe_mode, 77);
}

void expectNeuronUntouched(const ModelCfg& model) {
    EXPECT_EQ(model.env_options.deviceKind, 77u);
    EXPECT_EQ(model.env_options.MDLACoreOption, 77u);
    EXPECT_EQ(model.qos_options.preference, 77);
    EXPECT_EQ(model.qos_options.priority, 77);
    EXPECT_EQ(model.qos_options.boostValue, 77);
}

TEST(ParseJson, TwoGroupFileSwitchedToNeuronRuntimeTakesTheSecondGroup) {
    const Parsed p = parseText(
        root("P1", "MTK", "NeuronRuntime", kNeuropilotGroup + "," + neuronGroup("P1", "")));
    ASSERT_EQ(p.result, 0u) << ::testing::PrintToString(messages(p));
    EXPECT_TRUE(p.errors.empty());
    EXPECT_EQ(p.selected.index, 1);
    EXPECT_EQ(p.general.ai_sdk_def, 1);
    EXPECT_EQ(p.model.env_options.deviceKind, 4u);
    EXPECT_EQ(p.model.env_options.MDLACoreOption, 0u);
    EXPECT_EQ(p.model.env_options.reserved, 77u);
    EXPECT_EQ(p.model.qos_options.preference, 0);
    EXPECT_EQ(p.model.qos_options.priority, 2);
    EXPECT_EQ(p.model.qos_options.boostValue, 100);
    EXPECT_TRUE(p.general.decrption);
    EXPECT_TRUE(p.general.run_ai_model);
    EXPECT_FALSE(p.general.use_hist_match);
    expectNeuropilotUntouched(p.model);
}

TEST(ParseJson, NeuropilotGroupFillsOnlyItsOwnFields) {
    const Parsed p =
        parseText(root("P1", "MTK", "Neuropilot", kNeuropilotGroup + "," + neuronGroup("P1", "")));
    ASSERT_EQ(p.result, 0u) << ::testing::PrintToString(messages(p));
    EXPECT_EQ(p.selected.index, 0);
    EXPECT_EQ(p.model.acc_mode, 2);
    EXPECT_STREQ(p.model.acc_name, "mtk-neuron");
    EXPECT_EQ(p.model.exe_mode, 2);
    EXPECT_EQ(p.general.ai_sdk_def, 0);
    EXPECT_TRUE(p.general.decrption);
    EXPECT_TRUE(p.general.run_ai_model);
    EXPECT_FALSE(p.general.use_hist_match);
    expectNeuronUntouched(p.model);
}

TEST(ParseJson, OnlyTheFirstMatchingGroupIsUsed) {
    const Parsed p = parseText(root("P1", "MTK", "NeuronRuntime",
                                    neuronGroup("P1", R"(, "UseHistMatch": true)") + "," +
                                        neuronGroup("P1", R"(, "UseHistMatch": false)")));
    ASSERT_EQ(p.result, 0u);
    EXPECT_EQ(p.selected.index, 0);
    EXPECT_TRUE(p.general.use_hist_match);
}

TEST(ParseJson, GroupOfAnotherProductIsSkipped) {
    const Parsed p = parseText(root("P1", "MTK", "NeuronRuntime",
                                    neuronGroup("P2", R"(, "RunAiModel": false)") + "," +
                                        neuronGroup("P1", R"(, "UseHistMatch": true)")));
    ASSERT_EQ(p.result, 0u);
    EXPECT_EQ(p.selected.index, 1);
    EXPECT_EQ(p.selected.product, "P1");
    EXPECT_TRUE(p.general.run_ai_model);
    EXPECT_TRUE(p.general.use_hist_match);
}

TEST(ParseJson, SwitchesDefaultWhenAbsentAndAreReadWhenPresent) {
    const struct {
        std::string members;
        bool decrption, runAiModel, useHistMatch;
    } cases[] = {
        {"", false, true, false},
        {R"(, "Decrption": true, "RunAiModel": false, "UseHistMatch": true)", true, false, true},
        {R"(, "Decrption": false, "RunAiModel": true, "UseHistMatch": false)", false, true, false},
    };
    for (const auto& c : cases) {
        const Parsed p = parseText(root(
            "P", "MTK", "NeuronRuntime",
            R"({"Product": "P", "Platform": "MTK", "AISDK": "NeuronRuntime")" + c.members + "}"));
        ASSERT_EQ(p.result, 0u) << c.members;
        EXPECT_EQ(p.general.decrption, c.decrption) << c.members;
        EXPECT_EQ(p.general.run_ai_model, c.runAiModel) << c.members;
        EXPECT_EQ(p.general.use_hist_match, c.useHistMatch) << c.members;
    }
}

TEST(ParseJson, UnknownOptionWordsFallBackToTheirDefaults) {
    const Parsed p = parseText(root("P", "MTK", "NeuronRuntime", R"({"Product": "P",
        "Platform": "MTK", "AISDK": "NeuronRuntime", "DeviceKind": "gpu", "MDLACoreOption": "Tri",
        "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_POWER", "RuntimeAPIQoSPriority": "",
        "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_PROFILED"})"));
    ASSERT_EQ(p.result, 0u);
    EXPECT_EQ(p.model.env_options.deviceKind, 4u);
    EXPECT_EQ(p.model.env_options.MDLACoreOption, 1u);
    EXPECT_EQ(p.model.qos_options.preference, 1);
    EXPECT_EQ(p.model.qos_options.priority, 1);
    EXPECT_EQ(p.model.qos_options.boostValue, 101);

    const Parsed q = parseText(root("P", "MTK", "NeuronRuntime", R"({"Product": "P",
        "Platform": "MTK", "AISDK": "NeuronRuntime", "RuntimeAPIQoSPreference": "fast"})"));
    EXPECT_EQ(q.model.qos_options.preference, 1);
}

TEST(ParseJson, FailuresReportTheirOwnMessages) {
    const std::string lowerMtk = R"({"Product": "P", "Platform": "mtk", "AISDK": "Neuropilot"})";
    const std::string tflite = R"({"Product": "P", "Platform": "MTK", "AISDK": "TFLite"})";
    const struct {
        const char* name;
        std::string json;
        std::vector<std::string> expected;
    } cases[] = {
        {"empty ParamGroup",
         root("P", "MTK", "Neuropilot", ""),
         {"parse_json fail to parse parameter\n"}},
        {"missing ParamGroup",
         R"({"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot"})",
         {"parse_json fail to parse parameter\n"}},
        {"no matching group",
         root("P", "MTK", "Neuropilot", neuronGroup("P", "")),
         {"parse_json fail to parse parameter\n"}},
        {"lower-case platform",
         root("P", "mtk", "Neuropilot", lowerMtk),
         {"Platform is wrong, now is mtk", "parse_json fail to parse parameter\n"}},
        {"unknown runtime",
         root("P", "MTK", "TFLite", tflite),
         {"AISDK is wrong, now is TFLite", "parse_json fail to parse parameter\n"}},
        {"root without selectors",
         R"({"ParamGroup": [{"Product": "", "AISDK": null}]})",
         {"Platform is wrong, now is ", "parse_json fail to parse parameter\n"}},
        {"not JSON",
         "{\"Product\": ",
         {"parse_json fail to parse json: * Line 1, Column 13\n"
          "  Syntax error: value, object or array expected.\n\n"}},
    };
    for (const auto& c : cases) {
        const Parsed p = parseText(c.json);
        EXPECT_EQ(p.result, kFailed) << c.name;
        EXPECT_EQ(messages(p), c.expected) << c.name;
        EXPECT_EQ(p.selected.index, -1) << c.name;
    }
}

TEST(ParseJson, MissingFileCannotBeOpened) {
    for (const std::string& path : {testsupport::tempDir() + "/no-such.json", std::string()}) {
        const Parsed p = parseFile(path);
        EXPECT_EQ(p.result, kFailed);
        EXPECT_EQ(messages(p), std::vector<std::string>{"parse_json fail to open json\n"});
    }
    ModelCfg model{};
    GeneralCfg general{};
    testsupport::LogCapture log;
    EXPECT_EQ(assist::parse_json(nullptr, model, general), kFailed);
    EXPECT_EQ(log.matching("parse_json fail to open json\n").size(), 1u);
}

TEST(ParseJson, ErrorLineCarriesTheLoggerHead) {
    const Parsed p = parseText(root("P", "MTK", "Neuropilot", ""));
    ASSERT_EQ(p.errors.size(), 1u);
    EXPECT_EQ(p.errors[0].tag, "beauty-sdk-body-detect");
    EXPECT_EQ(p.errors[0].text.rfind("[ERROR] [KAVO] [ParseParams.cpp] ", 0), 0u)
        << p.errors[0].text;
}

TEST(ParseJson, ModuleIsLoggedAtInfo) {
    assisttest::ScopedLogLevel level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture log;
    ModelCfg model{};
    GeneralCfg general{};
    const std::string path = assisttest::writeTempFile(
        "module.json", root("P1", "MTK", "NeuronRuntime", neuronGroup("P1", "")));
    ASSERT_EQ(assist::parse_json(path.c_str(), model, general), 0u);
    const auto lines = log.matching("Module: ");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_INFO);
    EXPECT_NE(lines[0].text.find("parse_json() Module: BodySegmentation"), std::string::npos);
}

}  // namespace
