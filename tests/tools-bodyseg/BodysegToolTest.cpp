// bodyseg run as a user runs it, a subprocess on small generated inputs. The stand-in runtimes
// run in script mode, so every mask is background; times are masked as "#", and so are the
// plug-in's source line numbers in the error lines it passes on.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <regex>
#include <sstream>

#include "ImageIo.h"
#include "PluginPaths.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

namespace fs = std::filesystem;
using testsupport::tempDir;
using toolstest::readBytes;
using toolstest::runTool;
using namespace std::string_literals;

void writePng(const std::string& path, int width, int height) {
    bodyseg::RgbImage image{width, height, std::vector<uint8_t>(width * height * 3)};
    for (size_t i = 0; i < image.pixels.size(); ++i)
        image.pixels[i] = static_cast<uint8_t>(i * 7 / 3);
    std::string error;
    ASSERT_TRUE(bodyseg::writePng(path, image, &error)) << error;
}

std::string readText(const std::string& path) {
    const std::vector<uint8_t> bytes = readBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

// Width, height (both below 65536 here) and colour type (2 RGB, 3 palette) from a PNG's header.
std::array<int, 3> pngHeader(const std::string& path) {
    const std::vector<uint8_t> b = readBytes(path);
    return b.size() < 26 ? std::array<int, 3>{}
                         : std::array<int, 3>{b[18] << 8 | b[19], b[22] << 8 | b[23], b[25]};
}

// Times and the bench's two-decimal columns become "#"; percentages and IoUs stay exact.
std::string normalized(std::string text) {
    text = std::regex_replace(text, std::regex("[0-9]+(\\.[0-9]+)? ms"), "# ms");
    text = std::regex_replace(text, std::regex(" +[0-9]+\\.[0-9]{2}(?=[ \n])"), " #");
    text = std::regex_replace(text, std::regex("\\] [0-9]+  "), "] #  ");
    return std::regex_replace(text, std::regex("configuration: [^)]*"), "configuration: #");
}

// Runs every case in the directory of the inputs they share, made once: configurations, models,
// and inputs good and bad. "{host}" in `line` (split at spaces) becomes the configuration
// `config`, the model, script mode and a private cache.
std::vector<std::string> command(const std::string& line, const std::string& config = "np.json") {
    static const bool made = [] {
        for (const char* dir :
             {"batch/nested", "same", "bad-existing_outputs", "run-second_table_jpeg_forced"})
            fs::create_directories(tempDir() + "/in/" + dir);
        fs::current_path(tempDir() + "/in");
        const std::string frame(64 * 48 * 3 / 2, '\x10');
        // A grey 16x24 baseline JPEG as libjpeg writes it at quality 1 with optimized tables.
        const std::string jpeg =
            "\xff\xd8\xff\xdb\x00\x43\x00"s + std::string(64, '\xff') +
            "\xff\xc0\x00\x0b\x08\x00\x18\x00\x10\x01\x01\x11\x00\xff\xc4\x00\x15\x00\x01\x01"s +
            std::string(15, '\0') + "\x01\xff\xc4\x00\x14\x10\x01"s + std::string(16, '\0') +
            "\xff\xda\x00\x08\x01\x01\x00\x00\x3f\x00\x80\x03"s;
        const std::pair<const char*, std::string> files[] = {
            {"np.json", testsupport::configJson("Neuropilot")},
            {"nr.json", testsupport::configJson("NeuronRuntime")},
            {"mtk.json", testsupport::configJson("Neuropilot", true, "mtk")},
            {"broken.json", "{\"Product\": "},
            {"batch/notes.txt", "not a photo"},
            {"list.txt", "cut.png\nbatch/nested/c.png\n\ntruncated.jpg  \n"},
            {"bad-existing_outputs/b_overlay.png", "kept"},
            {"run-second_table_jpeg_forced/tall_overlay.png", "kept"},
            {"tall.jpg", jpeg + "\xff\xd9"},
            {"batch/a.jpg", jpeg + "\xff\xd9"},
            {"same/photo.jpg", jpeg + "\xff\xd9"},
            {"truncated.jpg", jpeg},
            {"frame.nv21", frame},
            {"partial.nv21", frame + "0123456789"},
            {"cut.y4m", "YUV4MPEG2 W64 H48"},
            {"short.y4m", "YUV4MPEG2 W64 H48\nFRAME\n" + frame.substr(9)},
        };
        for (const auto& [name, bytes] : files)
            testsupport::writeTempFile(std::string("in/") + name, bytes);
        testsupport::writeTempFile("in/model.bin", testsupport::plainModel(4096));
        testsupport::writeTempFile("in/short.bin", testsupport::plainModel(1000));
        writePng("wide.png", 64, 48);
        writePng("odd.png", 33, 21);
        for (const char* photo : {"same/photo.png", "batch/b.png", "batch/nested/c.png"})
            writePng(photo, 20, 20);
        const std::vector<uint8_t> png = readBytes("wide.png");
        toolstest::writeBytes("cut.png", {png.begin(), png.begin() + 40});
        return true;
    }();
    std::vector<std::string> args;
    std::istringstream words(line);
    for (std::string word; made && words >> word;) {
        if (word == "{host}")
            args.insert(args.end(), {"--config", config, "--model", "model.bin", "--prop",
                                     "vendor.standin.runtime.mode=script", "--cache-dir", "cache"});
        else
            args.push_back(word);
    }
    return args;
}

// What the tool prints up to init: the runtime it loaded, the table, the files.
std::string preamble(const std::string& runtime, bool switched, const std::string& api,
                     const std::string& config) {
    return "runtime: " + runtime +
           (switched ? " (through a copy of the configuration: #)"
                     : " (as the configuration selects)") +
           ", loaded " + testsupport::standinDir() +
           (runtime == "Neuropilot" ? "/libtflite_mtk.so" : "/libneuron_runtime.6.so") +
           "\nplug-in: " + testsupport::pluginPath() +
           " (body-detection_mtk-neuropilot6_342x456_V2.0.6), table from " + api +
           "\nconfig: " + config +
           "\nmodel: model.bin (4096 bytes in memory), cache cache\ninit: SDK_SUCCESS (0) in # "
           "ms\n";
}

// Bad command lines and inputs: one message, an exit code, nothing on stdout and nothing written.
TEST(BodysegTool, RefusesBadInputWithOneMessage) {
    struct Case {
        const char* name;
        std::string args;  // a "{host}" line also gets --out bad-<name>
        int exitCode;
        std::string err;  // behind "bodyseg: "
    };
    const std::string initFailed = "algoInitHandle failed: SDK_FAILURE (65535)\n";
    const std::string error = "  [ERROR] [KAVO] [ParseParams.cpp] #  parse_json() ";
    const std::string noGroup = error + "parse_json fail to parse parameter\n";
    const std::string parseFailed =
        "  [ERROR] [KAVO] [BodySegmentAPI.cpp] #  algoInitHandleV1() parse_json failed";
    const Case cases[] = {
        {"no_config", "wide.png", 2, "--config FILE is required (see bodyseg --help)"},
        {"missing_file", "{host} absent.png", 1,
         "cannot read absent.png: No such file or directory"},
        {"raw_too_short", "{host} --size 128x96 partial.nv21", 1,
         "partial.nv21 has 4618 bytes; NV21 128x96, stride 128, scan 96 needs 18432"},
        {"raw_partial_frame", "{host} --size 64x48 partial.nv21", 1,
         "partial.nv21: ends in a partial frame of 10 bytes after 1 frame of NV21 64x48, "
         "stride 64, scan 48 (4608 bytes each)"},
        {"y4m_cut", "{host} cut.y4m", 1, "cut.y4m: truncated YUV4MPEG2 header (no end of line)"},
        {"y4m_short_frame", "{host} short.y4m", 1,
         "short.y4m: frame 0 is cut short: 4599 of 4608 bytes"},
        {"empty_range", "{host} --size 64x48 --frames=3:3 frame.nv21", 2,
         "--frames 3:3 selects no frame (A:B is frames A to B-1, counted from 0)"},
        {"range_past_the_end", "{host} --size 64x48 --frames=1: frame.nv21", 1,
         "--frames 1: selects no frame of frame.nv21 (1 frame, 0 to 0)"},
        {"existing_outputs", "{host} batch", 1,
         "bad-existing_outputs/b_overlay.png exists (use --force to overwrite)"},
        {"same", "{host} same", 1,
         "inputs same/photo.jpg and same/photo.png would both write bad-same/photo_mask.png"},
        {"wrong_platform", "{host} --config mtk.json wide.png", 1,
         initFailed + error + "Platform is wrong, now is mtk\n" + noGroup + parseFailed},
        {"config_not_json", "{host} --config broken.json wide.png", 1,
         initFailed + error +
             "parse_json fail to parse json: * Line 1, Column 13\n  Syntax error: value, object or "
             "array expected.\n" +
             parseFailed},
        {"model_too_short_to_decrypt", "{host} --model short.bin wide.png", 1,
         initFailed + "  [ERROR] [KAVO] [Decryption.cpp] #  model_parse() send wrong value to "
                      "model_sparse\n  [ERROR] [KAVO] [BodySegmentAPI.cpp] #  algoInitHandleV1() "
                      "sparse model failed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string out = std::string("bad-") + c.name;
        const auto count = [&] {
            return fs::exists(out) ? std::distance(fs::directory_iterator(out), {}) : 0;
        };
        const auto before = count();
        const bool host = c.args.rfind("{host}", 0) == 0;
        const auto run = runTool("bodyseg", command(c.args + (host ? " --out " + out : "")));
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(normalized(run.err), "bodyseg: " + c.err + "\n");
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(count(), before);
    }
}

// One input a run: the whole report, the files written and their headers, the raw mask bytes.
TEST(BodysegTool, WritesTheMaskAndOverlayOfEveryKindOfInput) {
    struct Case {
        const char* name;
        std::string config;
        std::string options;
        const char* input;
        const char* frame;  // what the tool says it sent
        int width, height;  // of the overlay: upright
        const char* stages =
            "pre-processing # ms, inference # ms, post-processing # ms, label "
            "shift # ms";
    };
    const Case cases[] = {
        {"second_table_jpeg_forced", "np.json", "--force --api get_algo_api", "tall.jpg",
         "photo 16x24 -> NV21 24x16, stride 24, scan 16, orientation 90", 16, 24},
        {"neuron_odd_upright", "nr.json", "--orientation 0", "odd.png",
         "photo 33x21 -> NV21 32x20, stride 32, scan 20, orientation 0", 33, 21},
        {"switched_nv12_padded", "np.json",
         "--runtime neuron --api get_algo_api --orientation=180 --format nv12 --stride-pad=16 "
         "--scan-pad 4",
         "wide.png", "photo 64x48 -> NV12 64x48, stride 80, scan 52, orientation 180", 64, 48},
        {"switched_raw_nv21", "nr.json",
         "--runtime neuropilot --size 64x48 --stride 64 --orientation 270 --raw-mask", "frame.nv21",
         "raw NV21 64x48, stride 64, scan 48, orientation 270", 48, 64},
        // A non-zero property replaces the host's level at init, as on a phone.
        {"property_without_debug", "np.json",
         "--prop persist.camera.algo.aibeautybodydetect.loglvl=7", "wide.png",
         "photo 64x48 -> NV21 48x64, stride 48, scan 64, orientation 90", 64, 48,
         "not logged (the plug-in's log mask lacks DEBUG, 8)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string out = std::string("run-") + c.name;
        const std::string stem = out + "/" + fs::path(c.input).stem().string();
        const bool raw = c.options.find("--raw-mask") != std::string::npos;
        const bool switched = c.options.find("--runtime") != std::string::npos;
        const auto run = runTool(
            "bodyseg", command("{host} " + c.options + " --out " + out + " " + c.input, c.config));
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(
            normalized(run.out),
            preamble(
                (c.config == "nr.json") != switched ? "NeuronRuntime" : "Neuropilot", switched,
                c.options.find("get_algo") == std::string::npos ? "getAlgoAPI" : "get_algo_api",
                c.config) +
                "[1/1] " + c.input + ": " + c.frame + "\n    stages: " + c.stages +
                "; whole call # ms\n    labels: 0 100.0%\n    wrote " + stem + "_mask.png, " +
                stem + "_overlay.png" + (raw ? ", " + stem + "_mask.bin" : "") +
                "\nrelease: SDK_SUCCESS (0)\n1 of 1 inputs written to " + out + "\n");
        EXPECT_EQ(pngHeader(stem + "_mask.png"), (std::array<int, 3>{456, 342, 3}));
        EXPECT_EQ(pngHeader(stem + "_overlay.png"), (std::array<int, 3>{c.width, c.height, 2}));
        EXPECT_EQ(readBytes(stem + "_mask.bin"), std::vector<uint8_t>(raw ? 456 * 342 : 0, 0));
        EXPECT_EQ(std::distance(fs::directory_iterator(out), {}), raw ? 3 : 2);
    }
}

// pan writes a video of a window moved across a photo; run as a sequence from frame 1 on, it gives
// the report with the steadiness figures, the overlay video, the table and the masks.
TEST(BodysegTool, PansAPhotoAndRunsTheVideoAsASequence) {
    const auto pan = runTool("bodyseg", command("pan --size 32x24 --frames 3 wide.png pan.y4m"));
    ASSERT_EQ(pan.exitCode, 0) << pan.err;
    EXPECT_EQ(pan.out,
              "pan: wrote pan.y4m, 3 frames of a 32x24 window across wide.png, orientation 90\n");
    const auto run = runTool("bodyseg", command("{host} --out seq --frames 1: --raw-mask pan.y4m"));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(
        normalized(run.out),
        preamble("Neuropilot", false, "getAlgoAPI", "np.json") +
            "[1/1] pan.y4m: y4m C420jpeg 30:1 -> NV21 24x32, stride 24, scan 32, orientation "
            "90; frames 1 to 2 of 3\n    stages (median of 2 frames): pre-processing # ms, "
            "inference # ms, post-processing # ms, label shift # ms; whole call # ms\n    "
            "person: median 0.0% of the mask\n    steadiness: IoU with the previous frame "
            "median 1.000, worst 1.000 (frame 2); labels changed median 0.00%, most 0.00% "
            "(frame 2)\n    wrote seq/pan_overlay.y4m, seq/pan_steadiness.csv, seq/pan_masks.bin, "
            "seq/pan_overlay_first.png, seq/pan_overlay_middle.png, seq/pan_overlay_last.png, "
            "seq/pan_overlay_least_steady.png\nrelease: SDK_SUCCESS (0)\n1 of 1 inputs written "
            "to seq\n");
    const std::string video = readText("seq/pan_overlay.y4m");
    const std::string header = "YUV4MPEG2 W32 H24 F30:1 Ip A1:1 C420jpeg\n";
    EXPECT_EQ(video.substr(0, header.size()), header);
    EXPECT_EQ(video.size(), header.size() + 2 * (6 + 32 * 24 * 3 / 2));
    EXPECT_EQ(std::regex_replace(readText("seq/pan_steadiness.csv"), std::regex("(,[0-9.]+){5}\n"),
                                 ",#\n"),
              "frame,person_share,iou_with_previous,changed_share,pre_processing_ms,inference_ms,"
              "post_processing_ms,label_shift_ms,whole_call_ms\n1,0.000000,,,#\n"
              "2,0.000000,1.000000,0.000000,#\n");
    EXPECT_EQ(readBytes("seq/pan_masks.bin"), std::vector<uint8_t>(2 * 456 * 342, 0));
    EXPECT_EQ(std::distance(fs::directory_iterator("seq"), {}), 7);
}

// Directories (sorted, not recursed into) and list files; undecodable photos are skipped with their
// reason and still counted.
TEST(BodysegTool, TakesDirectoriesAndLists) {
    const auto run = runTool("bodyseg", command("{host} --out batch-out batch --list list.txt"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err,
              "bodyseg: cannot decode cut.png: read beyond end of data\nbodyseg: cannot "
              "decode truncated.jpg: Premature end of JPEG file\n");
    std::istringstream lines(run.out);
    std::string sent;
    for (std::string line; std::getline(lines, line);)
        sent += line.rfind('[', 0) == 0 ? line.substr(0, line.find(' ', 6)) + "\n" : "";
    EXPECT_EQ(sent, "[1/5] batch/a.jpg:\n[2/5] batch/b.png:\n[4/5] batch/nested/c.png:\n");
    EXPECT_NE(run.out.find("\n3 of 5 inputs written to batch-out\n"), std::string::npos);
}

// bench: a row a stage and the frames per second.
TEST(BodysegTool, BenchReportsEveryStageAndFramesPerSecond) {
    const auto run = runTool(
        "bodyseg", command("bench {host} --frames 5 --warmup 2 --size 320x240 --format nv12 "
                           "--stride 384 --scan 256 --orientation 270",
                           "nr.json"));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(normalized(run.out),
              preamble("NeuronRuntime", false, "getAlgoAPI", "nr.json") +
                  "bench: 5 frames after 2 warm-up, synthetic NV12 320x240, stride 384, scan 256, "
                  "orientation 270\n  stage               median       p90       p99   (ms)\n"
                  "  pre-processing # # #\n  inference # # #\n  post-processing # # #\n"
                  "  label shift # # #\n  whole call # # #\n"
                  "frames per second: # (5 whole calls in # ms)\nrelease: SDK_SUCCESS (0)\n");
}

}  // namespace
