// bodyseg-config-check: the report for a usable configuration, the plug-in's errors otherwise.
#include <gtest/gtest.h>

#include <fstream>

#include "ToolRunner.h"

namespace {

using toolstest::runTool;
using toolstest::tempPath;

const char* const kCheck = "bodyseg-config-check";

std::string writeConfig(const std::string& name, const std::string& platform) {
    const std::string path = tempPath(name);
    std::ofstream(path) << R"({"Module": "BodySegmentation", "Product": "P1", "Platform": ")" +
                               platform + R"(", "AISDK": "NeuronRuntime", "ParamGroup": [
      {"Product": "P1", "Platform": "MTK", "AISDK": "Neuropilot",
       "AccelerationMode": "NP_ACCELERATION_NEURON", "AcceleratorName": "mtk-neuron",
       "ExecutionPreference": "kSustainedSpeed", "Decrption": true},
      {"Product": "P1", "Platform": ")" +
                               platform + R"(", "AISDK": "NeuronRuntime",
       "DeviceKind": "kEnvOptHardware", "MDLACoreOption": "Auto",
       "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
       "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
       "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX", "Decrption": true}]})";
    return path;
}

TEST(ConfigCheckTool, PrintsTheSelectedGroupAndEveryValue) {
    const std::string path = writeConfig("good.json", "MTK");
    const auto run = runTool(kCheck, {path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "config: " + path +
                           "\n"
                           "selected group: ParamGroup[1] (Product \"P1\", Platform \"MTK\", AISDK "
                           "\"NeuronRuntime\")\n"
                           "GeneralCfg:\n"
                           "  decrption      = true\n"
                           "  ai_sdk_def     = 1 (Neuron Runtime)\n"
                           "  run_ai_model   = true\n"
                           "  use_hist_match = false\n"
                           "ModelCfg (Neuron Runtime fields):\n"
                           "  deviceKind     = 4\n"
                           "  MDLACoreOption = 0\n"
                           "  preference     = 0\n"
                           "  priority       = 2\n"
                           "  boostValue     = 100\n");
}

TEST(ConfigCheckTool, VerboseAlsoShowsInformationLines) {
    const auto run = runTool(kCheck, {"-v", writeConfig("verbose.json", "MTK")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("log: [INFO] [KAVO] [ParseParams.cpp] "), std::string::npos);
    EXPECT_NE(run.out.find("parse_json() Module: BodySegmentation\n"), std::string::npos);
}

TEST(ConfigCheckTool, PrintsTheParserErrorLinesAndFails) {
    const std::string path = writeConfig("bad.json", "mtk");
    const auto run = runTool(kCheck, {path});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    const std::string wrong = "parse_json() Platform is wrong, now is mtk\n";
    const std::string noGroup = "parse_json() parse_json fail to parse parameter\n";
    const size_t first = run.err.find(wrong);
    const size_t second = run.err.find(noGroup);
    ASSERT_NE(first, std::string::npos) << run.err;
    ASSERT_NE(second, std::string::npos) << run.err;
    EXPECT_LT(first, second);
    EXPECT_EQ(run.err.rfind("[ERROR] [KAVO] [ParseParams.cpp] ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find("bodyseg-config-check: " + path + " is not usable by the plug-in\n"),
              std::string::npos);

    const auto missing = runTool(kCheck, {tempPath("absent.json")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("parse_json() parse_json fail to open json\n"), std::string::npos);
}

TEST(ConfigCheckTool, UsageAndHelp) {
    const auto help = runTool(kCheck, {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: bodyseg-config-check [-v] <config.json>\n", 0), 0u);
    EXPECT_EQ(runTool(kCheck, {}).exitCode, 2);
    EXPECT_EQ(runTool(kCheck, {"a.json", "b.json"}).exitCode, 2);
}

}  // namespace
