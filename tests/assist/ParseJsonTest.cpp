// parse_json: which group is taken and which fields it fills, and the exact ERROR lines of each
// refusal, for well-formed files and malformed ones alike; nothing escapes it.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "ParseParams.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace {

// A root selecting product P1 on `platform` with runtime `aisdk`, and the given groups.
std::string config(const std::string& aisdk, const std::string& groups,
                   const std::string& platform = "MTK") {
    return R"({"Module": ["Body", 1], "Product": "P1", "Platform": ")" + platform +
           R"(", "AISDK": ")" + aisdk + R"(", "ParamGroup": [)" + groups + "]}";
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

// Every field of both records, filled beforehand with values no configuration produces (77,
// "untouched"), and the index of the group taken.
std::string parsed(uint32_t result, const mtk_ai_type::ModelCfg& m,
                   const mtk_ai_type::GeneralCfg& g, int index) {
    const auto n = [](int64_t v) { return std::to_string(v) + ","; };
    return n(result) + " np " + n(m.acc_mode) + n(m.exe_mode) + m.acc_name + " nr " +
           n(m.env_options.deviceKind) + n(m.env_options.MDLACoreOption) +
           n(m.qos_options.preference) + n(m.qos_options.priority) + n(m.qos_options.boostValue) +
           " gen " + n(g.ai_sdk_def) + n(g.decrption) + n(g.run_ai_model) + n(g.use_hist_match) +
           " #" + std::to_string(index);
}

TEST(ParseJson, GroupSelectionFieldsAndRefusals) {
    const std::string failed = "4294967295,";
    const std::string noGroup = "parse_json fail to parse parameter\n";
    const std::string readParameter = "parse_json fail to read parameter: ";
    const std::string parseJson = "parse_json fail to parse json: ";
    const std::string notOpened = "parse_json fail to open json\n";
    const std::string np = group("Neuropilot", kNeuropilotOptions);
    const std::string nr = group("NeuronRuntime", kNeuronOptions);
    const std::string switched = group("Neuropilot", kNeuropilotOptions + R"(, "Decrption": true,
        "RunAiModel": false, "UseHistMatch": true)");
    const std::string lowerCase = testsupport::configJson("Neuropilot", true, "mtk");
    const std::string tflite = config("TFLite", group("TFLite"));
    const std::string bare = R"({"ParamGroup": [{"Product": "", "AISDK": null}]})";
    const std::string arrayRoot = "[" + testsupport::configJson("NeuronRuntime") + "]";
    const std::string firstOfProduct = group("NeuronRuntime", R"(, "RunAiModel": false)", "P2") +
                                       "," + group("NeuronRuntime", R"(, "UseHistMatch": true)") +
                                       "," + group("NeuronRuntime", R"(, "UseHistMatch": false)");
    const std::string nested = std::string(100000, '[') + std::string(100000, ']');
    const std::string stringSwitch = group("NeuronRuntime", R"(, "Decrption": "true")");
    const struct {
        const char* name;
        std::string json;                      // "@path" parses that path instead, "@" a null path
        std::string outcome;                   // the result, then every field for accepted files
        std::vector<std::string> errors = {};  // an entry ending in ": " matches any line it begins
    } cases[] = {
        // Each runtime's group fills its own fields and the switches, defaults where absent.
        {"Neuron Runtime", config("NeuronRuntime", np + "," + nr),
         "0, np 77,77,untouched nr 2,0,0,2,101, gen 1,0,1,0, #1"},
        {"NeuroPilot", config("Neuropilot", switched + "," + nr),
         "0, np 1,-1,mtk-neuron nr 77,77,77,77,77, gen 0,1,0,1, #0"},
        {"only the first group of the root's product", config("NeuronRuntime", firstOfProduct),
         "0, np 77,77,untouched nr 4,1,1,1,100, gen 1,0,1,1, #1"},
        {"no matching group", config("Neuropilot", group("NeuronRuntime")), failed, {noGroup}},
        {"lower-case platform", lowerCase, failed, {"Platform is wrong, now is mtk", noGroup}},
        {"unknown runtime", tflite, failed, {"AISDK is wrong, now is TFLite", noGroup}},
        {"root without selectors", bare, failed, {"Platform is wrong, now is ", noGroup}},
        {"empty file", "", failed, {parseJson}},
        {"deeply nested arrays", nested, failed, {parseJson}},
        {"Decrption as a string", config("NeuronRuntime", stringSwitch), failed, {readParameter}},
        {"root an array", arrayRoot, failed, {readParameter}},
        {"no such file", "@" + testsupport::tempDir() + "/no-such.json", failed, {notOpened}},
        {"no path", "@", failed, {notOpened}},
    };
    // With INFO on, "Module" is logged; an array there must not change the result.
    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = c.json.rfind('@', 0) == 0
                                     ? c.json.substr(1)
                                     : testsupport::writeTempFile("config.json", c.json);
        mtk_ai_type::ModelCfg model{};
        model.acc_mode = model.exe_mode = 77;
        model.acc_name = "untouched";
        model.env_options = {77, 77, 77};
        model.qos_options.preference = model.qos_options.priority = model.qos_options.boostValue =
            77;
        mtk_ai_type::GeneralCfg general{false, 77, false, true};
        assist::SelectedParamGroup selected;
        testsupport::LogCapture log;
        const uint32_t result =
            assist::parse_json(c.json == "@" ? nullptr : path.c_str(), model, general, selected);
        const std::string outcome = parsed(result, model, general, selected.index);
        EXPECT_EQ(result == 0 ? outcome : outcome.substr(0, failed.size()), c.outcome);
        if (result != 0) {
            EXPECT_EQ(selected.index, -1);
        }
        std::vector<std::string> errors;
        for (const testsupport::LogLine& line : log.lines()) {
            if (line.priority != ANDROID_LOG_ERROR)
                continue;
            const testsupport::HeadedLine head = testsupport::parseHeadedLine(line);
            EXPECT_EQ(head.function, "parse_json") << line.text;
            EXPECT_EQ(head.file, "ParseParams.cpp") << line.text;
            const size_t n = errors.size();
            const bool prefix = n < c.errors.size() && c.errors[n].size() > 1 &&
                                c.errors[n].compare(c.errors[n].size() - 2, 2, ": ") == 0;
            errors.push_back(prefix ? head.message.substr(0, c.errors[n].size()) : head.message);
        }
        EXPECT_EQ(errors, c.errors);
    }
}

}  // namespace
