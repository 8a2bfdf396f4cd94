// The model packer and the configuration checker, run as an integrator runs them in the test's
// temporary directory: exit code, exact output and the bytes written.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "Decryption.h"
#include "PluginPaths.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

using Bytes = std::vector<uint8_t>;
using testsupport::encryptedModel;
using testsupport::writeTempFile;

// Runs `tool` on `line` (split at spaces) and expects its exit code, stdout and stderr, the
// plug-in's source line numbers masked as "#".
void expectRun(const std::string& tool, const std::string& line, int exitCode,
               const std::string& out, const std::string& err) {
    SCOPED_TRACE(tool + " " + line);
    std::filesystem::current_path(testsupport::tempDir());
    std::vector<std::string> args;
    std::istringstream words(line);
    for (std::string word; words >> word;)
        args.push_back(word);
    const auto result = toolstest::runTool(tool, args);
    const std::regex lineNumber("\\] [0-9]+  ");
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_EQ(std::regex_replace(result.out, lineNumber, "] #  "), out);
    EXPECT_EQ(std::regex_replace(result.err, lineNumber, "] #  "), err);
}

TEST(ModelPackTool, WritesWhatThePluginDecryptsOrRefusesWithOneMessage) {
    const std::string usage = toolstest::runTool("bodyseg-model-pack", {"--help"}).out;
    ASSERT_EQ(usage.rfind("usage: bodyseg-model-pack encrypt <plain.tflite> <out>\n", 0), 0u);
    // The packer's answer to `args`, then the bytes it wrote.
    const auto pack = [](const std::string& args, int exitCode, const std::string& err,
                         const Bytes& written = {}) {
        std::remove("out");
        expectRun("bodyseg-model-pack", args, exitCode, "", err);
        EXPECT_EQ(testsupport::readFileBytes("out"), written) << args;
    };
    for (const size_t size : {2048u, 2049u, 3000u, 300u * 1024u + 17u}) {
        const Bytes plain = testsupport::plainModel(size);
        const std::string name = std::to_string(size);
        writeTempFile(name + ".tflite", plain);
        writeTempFile(name + ".enc", encryptedModel(plain));
        pack("encrypt " + name + ".tflite out", 0, "", encryptedModel(plain));
        pack("decrypt " + name + ".enc out", 0, "", plain);
    }
    Bytes plain = testsupport::plainModel(2048);
    Bytes garbled(plain.size());
    assist::model_parse(plain.data(), static_cast<long>(plain.size()), garbled.data());
    writeTempFile("short.tflite", testsupport::plainModel(2047));
    const std::string tool = "bodyseg-model-pack: ";
    pack("decrypt short.tflite out", 1,
         tool + "short.tflite has 2047 bytes; a model must hold at least 2048 bytes\n");
    pack("encrypt absent.tflite out", 1,
         tool + "cannot read absent.tflite: No such file or directory\n");
    pack("encrypt 2048.tflite no/out", 1,
         tool + "cannot write no/out: No such file or directory\n");
    pack("decrypt 2048.tflite out", 0,
         tool +
             "warning: the result has no TFLite identifier \"TFL3\" at offset 4: 2048.tflite was "
             "not encrypted with this build's key, or is not a TFLite model\n",
         garbled);
    pack("encrypt 2048.enc out", 0,
         tool +
             "warning: 2048.enc has no TFLite identifier \"TFL3\" at offset 4 (already "
             "encrypted?); encrypting it anyway\n",
         encryptedModel(encryptedModel(plain)));
    for (const char* args : {"", "encrypt only-one", "sign 2048.tflite out"})
        pack(args, 2, usage);
}

TEST(ConfigCheckTool, PrintsTheParsedValuesOrThePluginsErrors) {
    writeTempFile("np.json", testsupport::configJson("Neuropilot"));
    writeTempFile("nr.json", testsupport::configJson("NeuronRuntime"));
    writeTempFile("mtk.json", testsupport::configJson("NeuronRuntime", false, "mtk"));
    const std::string general = "GeneralCfg:\n  decrption      = true\n  ai_sdk_def     = ";
    const std::string flags = "\n  run_ai_model   = true\n  use_hist_match = false\nModelCfg (";
    const std::string neuron =
        "config: nr.json\nselected group: ParamGroup[1] (Product \"P1\", Platform \"MTK\", AISDK "
        "\"NeuronRuntime\")\n" +
        general + "1 (Neuron Runtime)" + flags +
        "Neuron Runtime fields):\n  deviceKind     = 4\n  MDLACoreOption = 0\n  preference     = "
        "0\n  priority       = 2\n  boostValue     = 100\n";
    const std::string error = "[ERROR] [KAVO] [ParseParams.cpp] #  parse_json() ";
    const std::string unusable = " is not usable by the plug-in\n";
    const std::string check = "bodyseg-config-check";
    expectRun(check, "np.json", 0,
              "config: np.json\nselected group: ParamGroup[0] (Product \"P1\", Platform \"MTK\", "
              "AISDK \"Neuropilot\")\n" +
                  general + "0 (NeuroPilot)" + flags +
                  "NeuroPilot fields):\n  acc_mode       = 2\n  acc_name       = mtk-neuron\n  "
                  "exe_mode       = 2\n",
              "");
    expectRun(check, "nr.json", 0, neuron, "");
    expectRun(
        check, "-v nr.json", 0,
        "log: [INFO] [KAVO] [ParseParams.cpp] #  parse_json() Module: BodySegmentation\n" + neuron,
        "");
    expectRun(check, "mtk.json", 1, "",
              error + "Platform is wrong, now is mtk\n" + error +
                  "parse_json fail to parse parameter\n" + check + ": mtk.json" + unusable);
    expectRun(check, "absent.json", 1, "",
              error + "parse_json fail to open json\n" + check + ": absent.json" + unusable);
    const std::string usage = toolstest::runTool(check, {"--help"}).out;
    ASSERT_EQ(usage.rfind("usage: bodyseg-config-check [-v] <config.json>\n", 0), 0u);
    expectRun(check, "a.json b.json", 2, "", usage);
}

}  // namespace
