// bodyseg run as a user runs it, a subprocess on small generated inputs. The stand-in runtimes
// run in script mode, so every mask is background and every stage takes 0 ms; times are masked
// as "#", and so are the plug-in's source line numbers in the error lines it passes on.
#include <stdio.h>
// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <regex>
#include <sstream>

#include "BenchStats.h"
#include "ImageIo.h"
#include "PluginPaths.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

namespace fs = std::filesystem;
using testsupport::tempDir;
using testsupport::writeTempFile;
using toolstest::runTool;

// A photo, PNG or JPEG by its name.
void writePhoto(const std::string& path, int width, int height) {
    bodyseg::RgbImage image{width, height, std::vector<uint8_t>(width * height * 3)};
    for (size_t i = 0; i < image.pixels.size(); ++i)
        image.pixels[i] = static_cast<uint8_t>(i * 7 / 3);
    std::string error;
    if (fs::path(path).extension() == ".png") {
        ASSERT_TRUE(bodyseg::writePng(path, image, &error)) << error;
        return;
    }
    FILE* out = fopen(path.c_str(), "wb");
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, out);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = image.at(0, static_cast<int>(info.next_scanline));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    fclose(out);
}

// stride * scan * 3 / 2 bytes of a frame (any content: script mode answers zeros) and `extra`.
void writeRaw(const std::string& path, int stride, int scan, size_t extra = 0) {
    toolstest::writeBytes(path, std::vector<uint8_t>(stride * scan * 3 / 2 + extra, 16));
}

// Width, height (both below 65536 here) and colour type (2 RGB, 3 palette) from a PNG's header.
std::array<int, 3> pngHeader(const std::string& path) {
    const std::vector<uint8_t> b = toolstest::readBytes(path);
    if (b.size() < 26)
        return {};
    return {b[18] << 8 | b[19], b[22] << 8 | b[23], b[25]};
}

std::string normalized(std::string text) {
    text = std::regex_replace(text, std::regex("[0-9]+(\\.[0-9]+)? ms"), "# ms");
    text = std::regex_replace(text, std::regex(" +[0-9]+\\.[0-9]{2}\\b"), " #");
    text = std::regex_replace(text, std::regex("\\] [0-9]+  "), "] #  ");
    return std::regex_replace(text, std::regex("configuration: [^)]*"), "configuration: #");
}

// Runs every case in the directory of the inputs they share, made once: configurations, models,
// and inputs good and bad. "{host}" in `line` (split at spaces) becomes the configuration
// `config`, the model, script mode and a private cache.
std::vector<std::string> command(const std::string& line, const std::string& config = "np.json") {
    static const bool made = [] {
        fs::create_directories(tempDir() + "/in/batch/nested");
        for (const char* dir : {"same", "bad-existing_outputs", "run-force_overwrites"})
            fs::create_directories(tempDir() + "/in/" + dir);
        fs::current_path(tempDir() + "/in");
        writeTempFile("in/np.json", testsupport::configJson("Neuropilot"));
        writeTempFile("in/nr.json", testsupport::configJson("NeuronRuntime"));
        writeTempFile("in/mtk.json", testsupport::configJson("Neuropilot", true, "mtk"));
        writeTempFile("in/trt.json", testsupport::configJson("TensorRT"));
        writeTempFile("in/broken.json", "{\"Product\": ");
        writeTempFile("in/model.bin", testsupport::plainModel(4096));
        writeTempFile("in/short.bin", testsupport::plainModel(1000));
        writeTempFile("in/batch/notes.txt", "not a photo");
        writeTempFile("in/list.txt", "cut.png\nbatch/nested/c.png\n\ntruncated.jpg  \n");
        writeTempFile("in/bad-existing_outputs/b_overlay.png", "kept");
        writeTempFile("in/run-force_overwrites/wide_overlay.png", "kept");
        writeRaw("frame.nv21", 64, 48);
        writeRaw("plain.yuv", 64, 48);
        writeRaw("padded.nv12", 80, 52);
        writeRaw("partial.nv21", 64, 48, 10);
        writePhoto("wide.png", 64, 48);
        writePhoto("tall.jpg", 90, 150);
        writePhoto("odd.png", 33, 21);
        for (const char* photo : {"same/photo.png", "same/photo.jpg", "batch/a.jpg", "batch/b.png",
                                  "batch/nested/c.png"})
            writePhoto(photo, 20, 20);
        const std::vector<uint8_t> png = toolstest::readBytes("wide.png");
        toolstest::writeBytes("cut.png", {png.begin(), png.begin() + 40});
        const std::vector<uint8_t> jpeg = toolstest::readBytes("tall.jpg");
        toolstest::writeBytes("truncated.jpg", {jpeg.begin(), jpeg.begin() + jpeg.size() / 2});
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
        std::string args;
        int exitCode;
        std::string err;  // behind "bodyseg: "
    };
    const std::string initFailed = "algoInitHandle failed: SDK_FAILURE (65535)\n";
    const std::string error = "  [ERROR] [KAVO] [ParseParams.cpp] #  parse_json() ";
    const std::string noGroup = error + "parse_json fail to parse parameter\n";
    const std::string parseFailed =
        "  [ERROR] [KAVO] [BodySegmentHandle.cpp] #  algoInitHandleV1() parse_json failed";
    const std::string notJson =
        "* Line 1, Column 13\n  Syntax error: value, object or array expected.\n";
    const Case cases[] = {
        {"no_config", "wide.png", 2, "--config FILE is required (see bodyseg --help)"},
        {"missing_file", "{host} absent.png", 1,
         "cannot read absent.png: No such file or directory"},
        {"model_not_a_file", "{host} --model . wide.png", 1, "cannot read .: not a regular file"},
        {"raw_too_short", "{host} --size 128x96 partial.nv21", 1,
         "partial.nv21 has 4618 bytes; NV21 128x96, stride 128, scan 96 needs 18432"},
        {"raw_partial_frame", "{host} --size 64x48 partial.nv21", 1,
         "partial.nv21: ends in a partial frame of 10 bytes after 1 frames of NV21 64x48, "
         "stride 64, scan 48 (4608 bytes each)"},
        {"raw_without_size", "{host} frame.nv21", 1, "raw dump frame.nv21 needs --size WxH"},
        {"unknown_input_type", "{host} model.bin", 1,
         "unknown input type '.bin' of model.bin (use .png, .jpg, .jpeg, .nv21, .nv12, .yuv or "
         ".y4m)"},
        {"existing_outputs", "{host} batch", 1,
         "bad-existing_outputs/b_overlay.png exists (use --force to overwrite)"},
        {"unknown_option", "{host} --colour red wide.png", 2,
         "unknown option '--colour' (see bodyseg --help)"},
        {"property_too_long", "{host} --prop debug.x=" + std::string(92, 'x') + " wide.png", 1,
         "cannot set property debug.x: values hold at most 91 bytes and a \"ro.\" property is set "
         "only once"},
        {"same", "{host} same", 1,
         "inputs same/photo.jpg and same/photo.png would both write bad-same/photo_mask.png"},
        {"missing_plugin", "{host} --plugin absent.so wide.png", 1,
         "cannot load the plug-in: absent.so: cannot open shared object file: No such file or "
         "directory"},
        {"missing_runtime", "{host} --standin-dir nowhere wide.png", 1,
         "cannot load the runtime: nowhere/libtflite_mtk.so: cannot open shared object file: "
         "No such file or directory"},
        {"runtime_switch_needs_json", "{host} --config broken.json --runtime neuron wide.png", 1,
         "broken.json is not JSON: " + notJson},
        {"wrong_platform", "{host} --config mtk.json wide.png", 1,
         initFailed + error + "Platform is wrong, now is mtk\n" + noGroup + parseFailed},
        {"no_group_for_the_runtime", "{host} --config trt.json wide.png", 1,
         initFailed + noGroup + parseFailed},
        {"config_not_json", "{host} --config broken.json wide.png", 1,
         initFailed + error + "parse_json fail to parse json: " + notJson + parseFailed},
        {"model_too_short_to_decrypt", "{host} --model short.bin wide.png", 1,
         initFailed +
             "  [ERROR] [KAVO] [Decryption.cpp] #  model_parse() send wrong value to "
             "model_sparse\n  [ERROR] [KAVO] [BodySegmentHandle.cpp] #  algoInitHandleV1() "
             "sparse model failed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string out = std::string("bad-") + c.name;
        const auto count = [&] {
            return fs::exists(out) ? std::distance(fs::directory_iterator(out), {}) : 0;
        };
        const auto before = count();
        const auto run = runTool("bodyseg", command(c.args + " --out " + out));
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
        const char* config;
        const char* options;
        const char* runtime;  // the group the plug-in is given
        const char* input;
        const char* frame;  // what the tool says it sent
        int uprightWidth, uprightHeight;
        bool stagesLogged = true;
        const char* echoed = "";  // a line stderr holds; none: stderr is empty
    };
    const char* const wideFrame = "photo 64x48 -> NV21 48x64, stride 48, scan 64, orientation 90";
    const Case cases[] = {
        {"force_overwrites", "np.json", "--force", "Neuropilot", "wide.png", wideFrame, 64, 48},
        {"second_table_jpeg", "np.json", "--api get_algo_api", "Neuropilot", "tall.jpg",
         "photo 90x150 -> NV21 150x90, stride 150, scan 90, orientation 90", 90, 150},
        {"neuron_odd_upright", "nr.json", "--orientation 0", "NeuronRuntime", "odd.png",
         "photo 33x21 -> NV21 32x20, stride 32, scan 20, orientation 0", 33, 21},
        {"switched_nv12_padded", "np.json",
         "--runtime neuron --api get_algo_api --orientation=180 --format nv12 --stride-pad=16 "
         "--scan-pad 4",
         "NeuronRuntime", "wide.png",
         "photo 64x48 -> NV12 64x48, stride 80, scan 52, orientation 180", 64, 48},
        {"switched_raw_nv21", "nr.json",
         "--runtime neuropilot --size 64x48 --orientation 270 --raw-mask", "Neuropilot",
         "frame.nv21", "raw NV21 64x48, stride 64, scan 48, orientation 270", 48, 64},
        {"raw_padded_nv12", "np.json", "--size 64x48 --stride 80 --scan 52 --raw-mask",
         "Neuropilot", "padded.nv12", "raw NV12 64x48, stride 80, scan 52, orientation 90", 48, 64},
        {"raw_yuv_as_nv12", "nr.json", "--size 64x48 --format nv12 --orientation 0 --raw-mask",
         "NeuronRuntime", "plain.yuv", "raw NV12 64x48, stride 64, scan 48, orientation 0", 64, 48},
        {"errors_only_log", "np.json", "--log-level 1", "Neuropilot", "wide.png", wideFrame, 64, 48,
         false},
        // A non-zero property replaces the host's level at init, as on a phone.
        {"property_without_debug", "np.json",
         "--prop persist.camera.algo.aibeautybodydetect.loglvl=7", "Neuropilot", "wide.png",
         wideFrame, 64, 48, false},
        {"property_with_debug_verbose", "np.json",
         "--log-level 1 --prop persist.camera.algo.aibeautybodydetect.loglvl=9 -v", "Neuropilot",
         "wide.png", wideFrame, 64, 48, true,
         "log E beauty-sdk-body-detect: [ERROR] [KAVO] [BodySegmentHandle.cpp] #  "
         "algoInitHandleV1() body-detection_mtk-neuropilot6_342x456_V2.0.6\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string out = std::string("run-") + c.name;
        const std::string stem = out + "/" + fs::path(c.input).stem().string();
        const std::string options = c.options;
        const bool raw = options.find("--raw-mask") != std::string::npos;
        const auto run = runTool(
            "bodyseg", command("{host} " + options + " --out " + out + " " + c.input, c.config));
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_TRUE(*c.echoed ? normalized(run.err).find(c.echoed) != std::string::npos
                              : run.err.empty())
            << run.err;
        const std::string stages =
            c.stagesLogged
                ? "pre-processing # ms, inference # ms, post-processing # ms, label shift # ms"
                : "not logged (the plug-in's log mask lacks DEBUG, 8)";
        EXPECT_EQ(
            normalized(run.out),
            preamble(c.runtime, options.find("--runtime") != std::string::npos,
                     options.find("get_algo") == std::string::npos ? "getAlgoAPI" : "get_algo_api",
                     c.config) +
                "[1/1] " + c.input + ": " + c.frame + "\n    stages: " + stages +
                "; whole call # ms\n    labels: 0 100.0%\n    wrote " + stem + "_mask.png, " +
                stem + "_overlay.png" + (raw ? ", " + stem + "_mask.bin" : "") +
                "\nrelease: SDK_SUCCESS (0)\n1 of 1 inputs written to " + out + "\n");
        EXPECT_EQ(pngHeader(stem + "_mask.png"), (std::array<int, 3>{456, 342, 3}));
        EXPECT_EQ(pngHeader(stem + "_overlay.png"),
                  (std::array<int, 3>{c.uprightWidth, c.uprightHeight, 2}));
        EXPECT_EQ(toolstest::readBytes(stem + "_mask.bin"),
                  std::vector<uint8_t>(raw ? 456 * 342 : 0, 0));
        EXPECT_EQ(std::distance(fs::directory_iterator(out), {}), raw ? 3 : 2);
    }
}

// Directories (sorted, not recursed into) and list files; undecodable photos are skipped with their
// reason.
TEST(BodysegTool, TakesDirectoriesAndLists) {
    const auto run = runTool("bodyseg", command("{host} --out batch-out batch"));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("\n[1/2] batch/a.jpg: photo 20x20"), std::string::npos);
    EXPECT_NE(run.out.find("\n[2/2] batch/b.png: photo 20x20"), std::string::npos);
    EXPECT_NE(run.out.find("\n2 of 2 inputs written to batch-out\n"), std::string::npos);

    const auto listed = runTool("bodyseg", command("{host} --out list-out --list list.txt"));
    EXPECT_EQ(listed.exitCode, 1);
    EXPECT_EQ(listed.err,
              "bodyseg: cannot decode cut.png: read beyond end of data\nbodyseg: cannot "
              "decode truncated.jpg: Premature end of JPEG file\n");
    EXPECT_NE(listed.out.find("\n[2/3] batch/nested/c.png: photo 20x20"), std::string::npos);
    EXPECT_NE(listed.out.find("\n1 of 3 inputs written to list-out\n"), std::string::npos);

    const auto help = runTool("bodyseg", {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: bodyseg [options] --config FILE --model FILE INPUT...\n", 0),
              0u);
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

// The bench's numbers from n, n - 1, ..., 1 (unsorted on purpose): count, median and the
// nearest-rank p90 and p99, which the report above can only show masked.
TEST(BodysegTool, BenchSummariesAreMedianAndNearestRankPercentiles) {
    using Row = std::array<double, 4>;
    for (const Row& row : {Row{1, 1, 1, 1}, Row{2, 1.5, 2, 2}, Row{10, 5.5, 9, 10},
                           Row{100, 50.5, 90, 99}, Row{200, 100.5, 180, 198}}) {
        std::vector<double> samples;
        for (double i = row[0]; i >= 1; --i)
            samples.push_back(i);
        const bodyseg::Summary s = bodyseg::summarize(samples);
        EXPECT_EQ((Row{static_cast<double>(s.count), s.median, s.p90, s.p99}), row);
    }
}

}  // namespace
