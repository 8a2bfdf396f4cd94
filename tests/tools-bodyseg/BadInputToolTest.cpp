// bodyseg on bad input: one clear message and a non-zero exit, never a crash. Command-line
// mistakes exit with 2, files and the plug-in's refusals with 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "PluginPaths.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

using bodysegtest::freshDir;
using bodysegtest::writeConfig;
using toolstest::tempPath;

std::string dirPath() {
    return tempPath("inputs");
}
std::string inputPath(const std::string& name) {
    return dirPath() + "/" + name;
}

// Inputs shared by every case, made once per test program.
class BadInput : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::filesystem::create_directories(dirPath());
        bodysegtest::writePngPhoto(inputPath("photo.png"), 20, 20);
        toolstest::writeBytes(inputPath("short.nv21"), std::vector<uint8_t>(100, 16));
        toolstest::writeBytes(inputPath("frame.nv21"), bodysegtest::rawFrame(64, 48));
        std::ofstream(inputPath("notes.txt")) << "not a photo";
        std::vector<uint8_t> png = toolstest::readBytes(inputPath("photo.png"));
        png.resize(40);
        toolstest::writeBytes(inputPath("cut.png"), png);
        bodysegtest::writeJpegPhoto(inputPath("whole.jpg"), 64, 64);
        std::vector<uint8_t> jpeg = toolstest::readBytes(inputPath("whole.jpg"));
        jpeg.resize(jpeg.size() / 2);
        toolstest::writeBytes(inputPath("truncated.jpg"), jpeg);
    }

    // Every run writes into an empty output directory, so that no case finds another's outputs.
    static toolstest::ToolRun run(const std::vector<std::string>& more,
                                  const std::string& config = writeConfig("config.json",
                                                                          "Neuropilot"),
                                  size_t modelBytes = 4096) {
        std::vector<std::string> args =
            bodysegtest::hostArgs(config, bodysegtest::writeModel("model.bin", modelBytes));
        args.insert(args.end(), {"--out", freshDir("out")});
        args.insert(args.end(), more.begin(), more.end());
        return toolstest::runTool("bodyseg", args);
    }
};

// "{in}" in a case's arguments and message stands for the directory of the shared inputs, so
// that listing the tests touches no disk.
struct ErrorCase {
    const char* name;
    std::string args;     // split at spaces
    std::string message;  // the whole of stderr, one line without its newline
    int exitCode;
};

std::string resolved(std::string text) {
    const std::string token = "{in}";
    for (size_t at = text.find(token); at != std::string::npos; at = text.find(token, at))
        text.replace(at, token.size(), dirPath());
    return text;
}

// Test names and failure messages show the case by its name, not its bytes.
void PrintTo(const ErrorCase& c, std::ostream* os) {
    *os << c.name;
}

class BadInputCases : public BadInput, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(BadInputCases, GetOneClearMessage) {
    const ErrorCase& bad = GetParam();
    std::vector<std::string> args;
    for (const std::string& word : bodysegtest::words(bad.args))
        args.push_back(resolved(word));
    const auto result = run(args);
    EXPECT_EQ(result.err, resolved(bad.message) + "\n");
    EXPECT_EQ(result.exitCode, bad.exitCode) << result.err;
}

INSTANTIATE_TEST_SUITE_P(
    Messages, BadInputCases,
    ::testing::Values(
        ErrorCase{"missing_file", "{in}/absent.png",
                  "bodyseg: cannot read {in}/absent.png: No such file or directory", 1},
        ErrorCase{"model_not_a_file", "--model {in} {in}/photo.png",
                  "bodyseg: cannot read {in}: not a regular file", 1},
        ErrorCase{"raw_shorter_than_its_geometry", "--size 64x48 {in}/short.nv21",
                  "bodyseg: {in}/short.nv21 has 100 bytes; NV21 64x48, stride 64, scan 48 needs "
                  "4608",
                  1},
        ErrorCase{"raw_without_size", "{in}/frame.nv21",
                  "bodyseg: raw dump {in}/frame.nv21 needs --size WxH", 1},
        ErrorCase{"stride_below_width", "--size 64x48 --stride 60 {in}/frame.nv21",
                  "bodyseg: --stride 60 is smaller than the width 64", 2},
        ErrorCase{"scan_below_height", "--size 64x48 --scan 40 {in}/frame.nv21",
                  "bodyseg: --scan 40 is smaller than the height 48", 2},
        ErrorCase{"odd_stride", "--size 64x48 --stride 65 {in}/frame.nv21",
                  "bodyseg: --stride 65: must be even (NV21/NV12 chroma covers pixel pairs)", 2},
        ErrorCase{"odd_size", "--size 63x48 {in}/frame.nv21",
                  "bodyseg: --size 63x48: width and height must be even and non-zero", 2},
        ErrorCase{"zero_size", "--size 64x0 {in}/frame.nv21",
                  "bodyseg: --size 64x0: width and height must be even and non-zero", 2},
        ErrorCase{"malformed_size", "--size 64by48 {in}/frame.nv21",
                  "bodyseg: --size '64by48': expected WxH, e.g. 1920x1080", 2},
        ErrorCase{"unknown_format", "--format yuyv {in}/photo.png",
                  "bodyseg: unknown format 'yuyv' (use nv21 or nv12)", 2},
        ErrorCase{"unknown_input_type", "{in}/notes.txt",
                  "bodyseg: unknown input type '.txt' of {in}/notes.txt (use .png, .jpg, .jpeg, "
                  ".nv21, .nv12 or .yuv)",
                  1},
        ErrorCase{"bad_orientation", "--orientation 45 {in}/photo.png",
                  "bodyseg: --orientation '45': use 0, 90, 180 or 270", 2},
        ErrorCase{"unknown_option", "--colour red {in}/photo.png",
                  "bodyseg: unknown option '--colour' (see bodyseg --help)", 2},
        ErrorCase{"property_value_too_long",
                  "--prop debug.bodyseg.test=" + std::string(92, 'x') + " {in}/photo.png",
                  "bodyseg: cannot set property debug.bodyseg.test: values hold at most 91 bytes "
                  "and a \"ro.\" property is set only once",
                  1}),
    bodysegtest::caseName<ErrorCase>);

TEST_F(BadInput, UndecodablePhotosAreSkippedWithTheirReason) {
    const auto result =
        run({inputPath("cut.png"), inputPath("truncated.jpg"), inputPath("photo.png")});
    EXPECT_EQ(result.exitCode, 1);
    // One line each, naming the file; the good photo is still written.
    EXPECT_EQ(result.err.rfind("bodyseg: cannot decode " + inputPath("cut.png") + ": ", 0), 0u)
        << result.err;
    EXPECT_NE(result.err.find("\nbodyseg: cannot decode " + inputPath("truncated.jpg") + ": "),
              std::string::npos)
        << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2) << result.err;
    EXPECT_NE(result.out.find("1 of 3 inputs written to " + tempPath("out") + "\n"),
              std::string::npos)
        << result.out;
}

TEST_F(BadInput, MissingLibrariesAreNamed) {
    const auto plugin = run({"--plugin", tempPath("absent.so"), inputPath("photo.png")});
    EXPECT_EQ(plugin.exitCode, 1);
    EXPECT_EQ(plugin.err.rfind("bodyseg: cannot load the plug-in: " + tempPath("absent.so"), 0), 0u)
        << plugin.err;

    const auto runtime = run({"--standin-dir", tempPath("nowhere"), inputPath("photo.png")});
    EXPECT_EQ(runtime.exitCode, 1);
    EXPECT_EQ(
        runtime.err.rfind(
            "bodyseg: cannot load the runtime: " + tempPath("nowhere") + "/libtflite_mtk.so", 0),
        0u)
        << runtime.err;
}

struct InitCase {
    const char* name;
    const char* aisdk;     // root "AISDK"; null: a file that is not JSON
    const char* platform;  // root and groups
    size_t modelBytes;
    std::string pluginSays;  // the step the plug-in names
};

void PrintTo(const InitCase& c, std::ostream* os) {
    *os << c.name;
}

std::string notJson() {
    const std::string path = tempPath("broken.json");
    std::ofstream(path) << "{\"Product\": ";
    return path;
}

class InitFailures : public BadInput, public ::testing::WithParamInterface<InitCase> {};

TEST_P(InitFailures, PrintTheStatusByNameAndThePluginsReason) {
    const InitCase init = GetParam();
    const std::string config =
        init.aisdk != nullptr ? writeConfig("init.json", init.aisdk, init.platform) : notJson();
    const auto result = run({inputPath("photo.png")}, config, init.modelBytes);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(
        result.err.rfind("bodyseg: algoInitHandle failed: SDK_FAILURE (65535)\n  [ERROR] ", 0), 0u)
        << result.err;
    EXPECT_NE(result.err.find(init.pluginSays), std::string::npos) << result.err;
    // The version line the plug-in logs on every init is no reason.
    EXPECT_EQ(result.err.find("body-detection_mtk-neuropilot6"), std::string::npos) << result.err;
    EXPECT_EQ(result.out, "");
}

INSTANTIATE_TEST_SUITE_P(ConfigurationAndModel, InitFailures,
                         ::testing::Values(InitCase{"wrong_platform", "Neuropilot", "mtk", 4096,
                                                    "parse_json() Platform is wrong, now is mtk\n"},
                                           InitCase{
                                               "no_group_for_the_runtime", "TensorRT", "MTK", 4096,
                                               "parse_json() parse_json fail to parse parameter\n"},
                                           InitCase{"not_json", nullptr, "MTK", 4096,
                                                    "parse_json() parse_json fail to parse json: "},
                                           InitCase{"model_too_short_to_decrypt", "Neuropilot",
                                                    "MTK", 1000, "sparse model failed"}),
                         bodysegtest::caseName<InitCase>);

TEST_F(BadInput, ARuntimeSwitchNeedsAJsonConfiguration) {
    const std::string config = notJson();
    const auto result = run({"--runtime", "neuron", inputPath("photo.png")}, config);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err.rfind("bodyseg: " + config + " is not JSON: ", 0), 0u) << result.err;
}

}  // namespace
