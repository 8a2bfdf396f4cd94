// bodyseg in run mode, run as a user runs it: the files it writes for photos and raw dumps, the
// frames it describes, the runtime it loads, the stage times it reports and its refusal to
// overwrite. The stand-in runtimes run in script mode, so every mask is background (label 0).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "PluginPaths.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

using bodysegtest::freshDir;
using bodysegtest::hostArgs;
using bodysegtest::pngHeader;
using bodysegtest::writeConfig;
using bodysegtest::writeModel;
using toolstest::readBytes;
using toolstest::runTool;

const int kMaskBytes = 456 * 342;

// The tool on the scripted stand-ins, with a configuration whose root "AISDK" is `aisdk`.
toolstest::ToolRun runScripted(const std::vector<std::string>& more,
                               const std::string& aisdk = "Neuropilot") {
    std::vector<std::string> args =
        hostArgs(writeConfig(aisdk + ".json", aisdk), writeModel("model.bin", 4096));
    args.insert(args.end(), more.begin(), more.end());
    return runTool("bodyseg", args);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void expectMask(const std::string& path) {
    const bodysegtest::PngHeader mask = pngHeader(path);
    EXPECT_EQ(mask.width, 456) << path;
    EXPECT_EQ(mask.height, 342) << path;
    EXPECT_EQ(mask.colourType, 3) << path << " is not a palette PNG";
}

void expectOverlay(const std::string& path, int width, int height) {
    const bodysegtest::PngHeader overlay = pngHeader(path);
    EXPECT_EQ(overlay.width, width) << path;
    EXPECT_EQ(overlay.height, height) << path;
}

// A fresh directory holding photo.png; run() sends it through the scripted host, `options` first,
// into <dir>/out.
struct PhotoDir {
    explicit PhotoDir(const std::string& name, int width = 20, int height = 20)
        : dir(freshDir(name)), photo(dir + "/photo.png"), out(dir + "/out") {
        bodysegtest::writePngPhoto(photo, width, height);
    }

    toolstest::ToolRun run(std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"--out", out, photo});
        return runScripted(options);
    }

    std::string dir;
    std::string photo;
    std::string out;
};

struct HostCase {
    const char* aisdk;    // the configuration's root "AISDK"
    const char* api;      // --api
    const char* library;  // the stand-in the tool loads for it
};

// Test names and failure messages show the case by its name, not its bytes.
void PrintTo(const HostCase& c, std::ostream* os) {
    *os << std::string(c.aisdk) + " " + c.api;
}

class PhotoRun : public ::testing::TestWithParam<HostCase> {};

TEST_P(PhotoRun, WritesAMaskAndAnOverlayForEveryPhoto) {
    const HostCase host = GetParam();
    const std::string dir = freshDir(std::string("photos-") + host.aisdk + "-" + host.api);
    bodysegtest::writePngPhoto(dir + "/wide.png", 64, 48);
    bodysegtest::writeJpegPhoto(dir + "/tall.jpg", 30, 50);
    bodysegtest::writePngPhoto(dir + "/odd.png", 33, 21);
    const std::string out = dir + "/out";
    const auto run = runScripted(
        {"--api", host.api, "--out", out, dir + "/wide.png", dir + "/tall.jpg", dir + "/odd.png"},
        host.aisdk);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");

    expectMask(out + "/wide_mask.png");
    expectMask(out + "/tall_mask.png");
    expectMask(out + "/odd_mask.png");
    // The overlay is the photo's own size and orientation, odd sides included.
    expectOverlay(out + "/wide_overlay.png", 64, 48);
    expectOverlay(out + "/tall_overlay.png", 30, 50);
    expectOverlay(out + "/odd_overlay.png", 33, 21);
    EXPECT_FALSE(std::filesystem::exists(out + "/wide_mask.bin"));

    EXPECT_TRUE(contains(run.out, "), table from " + std::string(host.api) + "\n")) << run.out;
    EXPECT_TRUE(contains(run.out, "runtime: " + std::string(host.aisdk) +
                                      " (as the configuration selects), loaded " +
                                      testsupport::standinDir() + "/" + host.library + "\n"))
        << run.out;
    EXPECT_TRUE(contains(run.out, "init: SDK_SUCCESS (0) in ")) << run.out;
    EXPECT_TRUE(contains(run.out, "    labels: 0 100.0%\n")) << run.out;
    EXPECT_TRUE(
        contains(run.out, "    wrote " + out + "/odd_mask.png, " + out + "/odd_overlay.png\n"))
        << run.out;
    EXPECT_TRUE(
        contains(run.out, "release: SDK_SUCCESS (0)\n3 of 3 inputs written to " + out + "\n"))
        << run.out;
}

INSTANTIATE_TEST_SUITE_P(
    RuntimesAndTables, PhotoRun,
    ::testing::Values(HostCase{"Neuropilot", "getAlgoAPI", "libtflite_mtk.so"},
                      HostCase{"Neuropilot", "get_algo_api", "libtflite_mtk.so"},
                      HostCase{"NeuronRuntime", "getAlgoAPI", "libneuron_runtime.6.so"},
                      HostCase{"NeuronRuntime", "get_algo_api", "libneuron_runtime.6.so"}),
    [](const ::testing::TestParamInfo<HostCase>& info) {
        return std::string(info.param.aisdk) + "_" + info.param.api;
    });

TEST(RunMode, TheRuntimeOptionSelectsTheOtherGroup) {
    const auto run = PhotoDir("runtime-switch").run({"--runtime", "neuron"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "runtime: NeuronRuntime (through a copy of the configuration: "))
        << run.out;
    EXPECT_TRUE(
        contains(run.out, "), loaded " + testsupport::standinDir() + "/libneuron_runtime.6.so\n"))
        << run.out;
}

struct GeometryCase {
    const char* name;
    const char* options;
    const char* frame;  // what the tool says it sent for a 64x48 photo
};

void PrintTo(const GeometryCase& c, std::ostream* os) {
    *os << c.name;
}

class PhotoFrames : public ::testing::TestWithParam<GeometryCase> {};

TEST_P(PhotoFrames, FollowOrientationFormatAndPadding) {
    const GeometryCase geometry = GetParam();
    const PhotoDir photo(std::string("geometry-") + geometry.name, 64, 48);
    const auto run = photo.run(bodysegtest::words(geometry.options));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "[1/1] " + photo.photo + ": " + geometry.frame + "\n"))
        << run.out;
    expectOverlay(photo.out + "/photo_overlay.png", 64, 48);
}

INSTANTIATE_TEST_SUITE_P(
    OrientationsAndPadding, PhotoFrames,
    ::testing::Values(
        GeometryCase{"default", "",
                     "photo 64x48 -> NV21 48x64, stride 48, scan 64, orientation 90"},
        GeometryCase{"upright", "--orientation 0",
                     "photo 64x48 -> NV21 64x48, stride 64, scan 48, orientation 0"},
        GeometryCase{"nv12_padded", "--orientation 180 --format nv12 --stride-pad 16 --scan-pad 4",
                     "photo 64x48 -> NV12 64x48, stride 80, scan 52, orientation 180"},
        GeometryCase{"inline_values", "--orientation=270 --stride-pad=8 --scan-pad=2",
                     "photo 64x48 -> NV21 48x64, stride 56, scan 66, orientation 270"}),
    bodysegtest::caseName<GeometryCase>);

struct RawCase {
    const char* file;
    const char* options;
    size_t extraBytes;
    const char* frame;
    int uprightWidth;
    int uprightHeight;
};

void PrintTo(const RawCase& c, std::ostream* os) {
    *os << c.file;
}

class RawDumps : public ::testing::TestWithParam<RawCase> {};

TEST_P(RawDumps, AreSentAsTheyAreAndOverlaidUpright) {
    const RawCase raw = GetParam();
    const std::string dir = freshDir(std::string("raw-") + raw.file);
    const std::string dump = dir + "/" + raw.file;
    std::vector<std::string> more = bodysegtest::words(raw.options);
    int stride = 64;
    int scan = 48;
    for (size_t i = 0; i + 1 < more.size(); ++i) {
        if (more[i] == "--stride")
            stride = std::stoi(more[i + 1]);
        if (more[i] == "--scan")
            scan = std::stoi(more[i + 1]);
    }
    std::vector<uint8_t> bytes = bodysegtest::rawFrame(stride, scan);
    bytes.resize(bytes.size() + raw.extraBytes, 0);
    toolstest::writeBytes(dump, bytes);

    more.insert(more.end(), {"--size", "64x48", "--raw-mask", "--out", dir + "/out", dump});
    const auto run = runScripted(more);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "[1/1] " + dump + ": " + raw.frame + "\n")) << run.out;
    const std::string stem = dir + "/out/" + std::filesystem::path(raw.file).stem().string();
    expectMask(stem + "_mask.png");
    expectOverlay(stem + "_overlay.png", raw.uprightWidth, raw.uprightHeight);
    // Script mode answers zeros: every label stays background.
    EXPECT_EQ(readBytes(stem + "_mask.bin"), std::vector<uint8_t>(kMaskBytes, 0));
    EXPECT_TRUE(contains(run.out, ", " + stem + "_mask.bin\n")) << run.out;
}

INSTANTIATE_TEST_SUITE_P(
    FormatsAndGeometry, RawDumps,
    ::testing::Values(
        RawCase{"padded.nv12", "--stride 80 --scan 52", 0,
                "raw NV12 64x48, stride 80, scan 52, orientation 90", 48, 64},
        RawCase{"plain.yuv", "--format nv12 --orientation 0", 0,
                "raw NV12 64x48, stride 64, scan 48, orientation 0", 64, 48},
        RawCase{"longer.nv21", "--orientation 270", 10,
                "raw NV21 64x48, stride 64, scan 48 (10 trailing bytes ignored), orientation 270",
                48, 64}),
    [](const ::testing::TestParamInfo<RawCase>& info) {
        std::string name = info.param.file;
        std::replace(name.begin(), name.end(), '.', '_');
        return name;
    });

TEST(RunMode, TakesDirectoriesSortedAndListFiles) {
    const std::string dir = freshDir("directory");
    bodysegtest::writePngPhoto(dir + "/b.png", 20, 20);
    bodysegtest::writeJpegPhoto(dir + "/a.jpg", 20, 20);
    std::ofstream(dir + "/notes.txt") << "not a photo";
    std::filesystem::create_directories(dir + "/nested");
    bodysegtest::writePngPhoto(dir + "/nested/c.png", 20, 20);

    const auto run = runScripted({"--out", dir + "/out", dir});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "[1/2] " + dir + "/a.jpg: ")) << run.out;
    EXPECT_TRUE(contains(run.out, "[2/2] " + dir + "/b.png: ")) << run.out;
    EXPECT_FALSE(std::filesystem::exists(dir + "/out/c_mask.png"));

    const std::string list = dir + "/inputs.txt";
    std::ofstream(list) << dir + "/nested/c.png\n\n" + dir + "/b.png  \n";
    const auto listed = runScripted({"--out", dir + "/listed", "--list", list});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_TRUE(contains(listed.out, "[1/2] " + dir + "/nested/c.png: ")) << listed.out;
    EXPECT_TRUE(contains(listed.out, "[2/2] " + dir + "/b.png: ")) << listed.out;
}

TEST(RunMode, OverwritesNothingWithoutForce) {
    const PhotoDir photo("overwrite");
    ASSERT_EQ(photo.run().exitCode, 0);

    std::ofstream(photo.out + "/photo_overlay.png") << "kept";
    const auto refused = photo.run();
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err,
              "bodyseg: " + photo.out + "/photo_mask.png exists (use --force to overwrite)\n");
    // Refused before the plug-in was loaded.
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(readBytes(photo.out + "/photo_overlay.png"),
              std::vector<uint8_t>({'k', 'e', 'p', 't'}));

    const auto overwritten = photo.run({"--force"});
    EXPECT_EQ(overwritten.exitCode, 0) << overwritten.err;
    expectOverlay(photo.out + "/photo_overlay.png", 20, 20);
}

TEST(RunMode, RefusesTwoInputsThatWouldWriteTheSameFiles) {
    const PhotoDir photo("same-name");
    bodysegtest::writeJpegPhoto(photo.dir + "/photo.jpg", 20, 20);
    const auto run = runScripted({"--out", photo.out, photo.dir});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "bodyseg: inputs " + photo.dir + "/photo.jpg and " + photo.photo +
                           " would both write " + photo.out + "/photo_mask.png\n");
}

struct StageCase {
    const char* name;
    const char* options;
    bool stagesLogged;
};

void PrintTo(const StageCase& c, std::ostream* os) {
    *os << c.name;
}

class StageReport : public ::testing::TestWithParam<StageCase> {};

TEST_P(StageReport, ComesFromThePluginsDebugLines) {
    const StageCase stage = GetParam();
    const auto run =
        PhotoDir(std::string("stages-") + stage.name).run(bodysegtest::words(stage.options));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::regex logged(
        "    stages: pre-processing [0-9]+ ms, inference [0-9]+ ms, post-processing [0-9]+ ms, "
        "label shift [0-9]+ ms; whole call [0-9]+\\.[0-9] ms\n");
    const std::regex missing(
        "    stages: not logged \\(the plug-in's log mask lacks DEBUG, 8\\); whole call "
        "[0-9]+\\.[0-9] ms\n");
    EXPECT_TRUE(std::regex_search(run.out, stage.stagesLogged ? logged : missing)) << run.out;
}

INSTANTIATE_TEST_SUITE_P(
    LogMask, StageReport,
    ::testing::Values(
        StageCase{"default", "", true},  // the tool's default mask 15 has DEBUG
        StageCase{"errors_only", "--log-level 1", false},
        // A non-zero property replaces the host's level at init, as on a phone.
        StageCase{"property_without_debug",
                  "--prop persist.camera.algo.aibeautybodydetect.loglvl=7", false},
        StageCase{"property_with_debug",
                  "--log-level 1 --prop persist.camera.algo.aibeautybodydetect.loglvl=9", true}),
    bodysegtest::caseName<StageCase>);

TEST(RunMode, VerboseEchoesThePluginsLog) {
    const auto run = PhotoDir("verbose").run({"-v"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(contains(run.err, "log D beauty-sdk-body-detect: [DEBUG] [KAVO] [")) << run.err;
    EXPECT_TRUE(contains(run.err, "  algoInitHandle() E\n")) << run.err;
    EXPECT_TRUE(contains(run.err, "  time_end() inference time = ")) << run.err;
}

TEST(RunMode, HelpAndUsage) {
    const auto help = runTool("bodyseg", {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: bodyseg [options] --config FILE --model FILE INPUT...\n", 0),
              0u);
    const auto none = runTool("bodyseg", {});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.err, "bodyseg: --config FILE is required (see bodyseg --help)\n");
}

}  // namespace
