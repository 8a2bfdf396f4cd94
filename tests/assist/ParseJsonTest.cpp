// parse_json: group selection and field filling, and the exact ERROR line of each failure, for
// well-formed files and malformed ones alike; nothing escapes it.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "AssistTestSupport.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "ParseParams.h"

namespace {

constexpr uint32_t kParseFailed = 0xFFFFFFFFu;
const char* const kUntouchedName = "untouched";

// A root selecting product `product` on MTK with runtime `aisdk`, and the given groups.
std::string config(const std::string& aisdk, const std::string& groups,
                   const std::string& product = "P1", const std::string& platform = "MTK") {
    return R"({"Module": "BodySegmentation", "Product": ")" + product + R"(", "Platform": ")" +
           platform + R"(", "AISDK": ")" + aisdk + R"(", "ParamGroup": [)" + groups + "]}";
}

// One group; `members` (each with a leading comma) follow its selectors.
std::string group(const std::string& aisdk, const std::string& members = "",
                  const std::string& product = "P1", const std::string& platform = "MTK") {
    return R"({"Product": ")" + product + R"(", "Platform": ")" + platform + R"(", "AISDK": ")" +
           aisdk + "\"" + members + "}";
}

// Options whose values all differ from the converters' defaults, so a field left unread shows.
const std::string kNeuropilotOptions = R"(, "AccelerationMode": "NP_ACCELERATION_NNAPI",
    "AcceleratorName": "mtk-neuron", "ExecutionPreference": "kUndefined")";
const std::string kNeuronOptions = R"(, "DeviceKind": "kEnvOptCModelDevice",
    "MDLACoreOption": "Auto", "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
    "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
    "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_PROFILED")";

struct Parsed {
    uint32_t result;
    mtk_ai_type::ModelCfg model;
    mtk_ai_type::GeneralCfg general;
    assist::SelectedParamGroup selected;
    std::vector<std::string> errors;  // the messages, or the whole line when its head is not
                                      // parse_json's in ParseParams.cpp
};

// One run on records pre-filled with values no configuration produces, so that what was written
// shows.
Parsed parseFile(const std::string& path) {
    testsupport::LogCapture log;
    Parsed parsed{0, {}, {false, 77, false, true}, {}, {}};
    parsed.model.acc_mode = parsed.model.exe_mode = 77;
    parsed.model.acc_name = kUntouchedName;
    parsed.model.env_options = {77, 77, 77};
    parsed.model.qos_options.preference = parsed.model.qos_options.priority = 77;
    parsed.model.qos_options.boostValue = 77;
    parsed.result = assist::parse_json(path.c_str(), parsed.model, parsed.general, parsed.selected);
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.priority != ANDROID_LOG_ERROR)
            continue;
        const testsupport::HeadedLine head = testsupport::parseHeadedLine(line);
        const bool ours = head.file == "ParseParams.cpp" && head.function == "parse_json";
        parsed.errors.push_back(ours ? head.message : line.text);
    }
    return parsed;
}

Parsed parseText(const std::string& json) {
    return parseFile(assisttest::writeTempFile("config.json", json));
}

// The fields each runtime's group fills, as numbers; 77 is what nobody wrote.
std::vector<int64_t> neuronFields(const mtk_ai_type::ModelCfg& m) {
    return {m.env_options.deviceKind, m.env_options.MDLACoreOption, m.env_options.reserved,
            m.qos_options.preference, m.qos_options.priority,       m.qos_options.boostValue};
}
std::vector<int64_t> neuropilotFields(const mtk_ai_type::ModelCfg& m) {
    const bool untouched = std::string(m.acc_name) == kUntouchedName;
    return {m.acc_mode, m.exe_mode, untouched ? 77 : 0};
}
std::vector<int64_t> generalFields(const mtk_ai_type::GeneralCfg& g) {
    return {g.ai_sdk_def, g.decrption, g.run_ai_model, g.use_hist_match};
}

TEST(ParseJson, NeuronRuntimeGroupFillsOnlyItsOwnFieldsAndTheDefaults) {
    const Parsed p =
        parseText(config("NeuronRuntime", group("Neuropilot", kNeuropilotOptions) + "," +
                                              group("NeuronRuntime", kNeuronOptions)));
    ASSERT_EQ(p.result, 0u) << testing::PrintToString(p.errors);
    EXPECT_TRUE(p.errors.empty());
    EXPECT_EQ(p.selected.index, 1);
    EXPECT_EQ(neuronFields(p.model), (std::vector<int64_t>{2, 0, 77, 0, 2, 101}));
    EXPECT_EQ(neuropilotFields(p.model), (std::vector<int64_t>{77, 77, 77}));
    EXPECT_EQ(generalFields(p.general), (std::vector<int64_t>{1, false, true, false}));
}

TEST(ParseJson, NeuropilotGroupFillsOnlyItsOwnFieldsAndTheSwitches) {
    const std::string switches =
        R"(, "Decrption": true, "RunAiModel": false, "UseHistMatch": true)";
    const Parsed p =
        parseText(config("Neuropilot", group("Neuropilot", kNeuropilotOptions + switches) + "," +
                                           group("NeuronRuntime", kNeuronOptions)));
    ASSERT_EQ(p.result, 0u) << testing::PrintToString(p.errors);
    EXPECT_EQ(p.selected.index, 0);
    EXPECT_STREQ(p.model.acc_name, "mtk-neuron");
    EXPECT_EQ(neuropilotFields(p.model), (std::vector<int64_t>{1, -1, 0}));
    EXPECT_EQ(neuronFields(p.model), (std::vector<int64_t>{77, 77, 77, 77, 77, 77}));
    EXPECT_EQ(generalFields(p.general), (std::vector<int64_t>{0, true, false, true}));
}

TEST(ParseJson, OnlyTheFirstGroupOfTheRootsProductIsUsed) {
    const Parsed p = parseText(
        config("NeuronRuntime", group("NeuronRuntime", R"(, "RunAiModel": false)", "P2") + "," +
                                    group("NeuronRuntime", R"(, "UseHistMatch": true)") + "," +
                                    group("NeuronRuntime", R"(, "UseHistMatch": false)")));
    ASSERT_EQ(p.result, 0u);
    EXPECT_EQ(p.selected.index, 1);
    EXPECT_EQ(p.selected.product, "P1");
    EXPECT_TRUE(p.general.run_ai_model);
    EXPECT_TRUE(p.general.use_hist_match);
}

// An expected line ending in ": " stands for any line it begins: the rest is jsoncpp's own text.
bool sameErrors(const std::vector<std::string>& errors, const std::vector<std::string>& expected) {
    if (errors.size() != expected.size())
        return false;
    for (size_t i = 0; i < errors.size(); ++i) {
        const std::string& e = expected[i];
        const bool prefix = e.size() >= 2 && e.compare(e.size() - 2, 2, ": ") == 0;
        if (prefix ? errors[i].rfind(e, 0) != 0 : errors[i] != e)
            return false;
    }
    return true;
}

// jsoncpp throws for wrong member types and for nesting beyond its limit; those too end as the one
// ERROR line of the step that was running.
TEST(ParseJson, FailuresReportTheirOwnMessages) {
    const std::string noGroup = "parse_json fail to parse parameter\n";
    const std::string readParameter = "parse_json fail to read parameter: ";
    const std::string parseJson = "parse_json fail to parse json: ";
    const struct {
        const char* name;
        std::string json;
        std::vector<std::string> expected;
    } cases[] = {
        {"empty ParamGroup", config("Neuropilot", ""), {noGroup}},
        {"no matching group", config("Neuropilot", group("NeuronRuntime")), {noGroup}},
        {"lower-case platform",
         config("Neuropilot", group("Neuropilot", "", "P1", "mtk"), "P1", "mtk"),
         {"Platform is wrong, now is mtk", noGroup}},
        {"unknown runtime",
         config("TFLite", group("TFLite")),
         {"AISDK is wrong, now is TFLite", noGroup}},
        {"root without selectors",
         R"({"ParamGroup": [{"Product": "", "AISDK": null}]})",
         {"Platform is wrong, now is ", noGroup}},
        {"JSON null", "null", {noGroup}},
        {"10 MB without a group",
         R"({"Module": ")" + std::string(10 * 1024 * 1024, 'm') + R"(", "Product": "P1"})",
         {noGroup}},
        {"not JSON",
         "{\"Product\": ",
         {"parse_json fail to parse json: * Line 1, Column 13\n"
          "  Syntax error: value, object or array expected.\n\n"}},
        {"empty file", "", {parseJson}},
        {"deeply nested arrays", std::string(100000, '[') + std::string(100000, ']'), {parseJson}},
        {"Decrption as a string",
         config("NeuronRuntime", group("NeuronRuntime", R"(, "Decrption": "true")")),
         {readParameter}},
        {"root an array",
         "[" + config("NeuronRuntime", group("NeuronRuntime")) + "]",
         {readParameter}},
        {"ParamGroup an object", R"({"ParamGroup": {"Product": "P1"}})", {readParameter}},
    };
    for (const auto& c : cases) {
        const Parsed p = parseText(c.json);
        EXPECT_EQ(p.result, kParseFailed) << c.name;
        EXPECT_TRUE(sameErrors(p.errors, c.expected)) << c.name << testing::PrintToString(p.errors);
        EXPECT_EQ(p.selected.index, -1) << c.name;
    }
}

TEST(ParseJson, UnopenablePathsFailToOpen) {
    for (const std::string& path : {testsupport::tempDir() + "/no-such.json", std::string()}) {
        EXPECT_EQ(parseFile(path).errors,
                  std::vector<std::string>{"parse_json fail to open json\n"});
    }
    mtk_ai_type::ModelCfg model{};
    mtk_ai_type::GeneralCfg general{};
    testsupport::LogCapture log;
    EXPECT_EQ(assist::parse_json(nullptr, model, general), kParseFailed);
    EXPECT_TRUE(testsupport::loggedOnce(log, ANDROID_LOG_ERROR, "parse_json",
                                        "parse_json fail to open json\n"));
}

// "Module" is free text that is only logged: whatever its type, the result does not depend on
// whether INFO is on.
TEST(ParseJson, ModuleIsLoggedAtInfoWhateverItsType) {
    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    const std::string text = config("NeuronRuntime", group("NeuronRuntime"));
    const size_t at = text.find("\"BodySegmentation\"");
    for (const auto& module : {std::make_pair("\"BodySegmentation\"", "BodySegmentation"),
                               std::make_pair("[\"Body\", 1]", "(not text)")}) {
        const std::string path = assisttest::writeTempFile(
            "module.json", std::string(text).replace(at, 18, module.first));
        mtk_ai_type::ModelCfg model{};
        mtk_ai_type::GeneralCfg general{};
        testsupport::LogCapture log;
        EXPECT_EQ(assist::parse_json(path.c_str(), model, general), 0u) << module.first;
        EXPECT_TRUE(testsupport::onlyLine(log, ANDROID_LOG_INFO, "parse_json",
                                           std::string("Module: ") + module.second));
    }
}

}  // namespace
