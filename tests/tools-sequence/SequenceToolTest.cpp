// bodyseg run as a user runs it on sequences, with the stand-in runtime in script mode: a raw dump
// of two frames end to end, and every bad sequence input with its one line and exit status.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "PluginPaths.h"
#include "SequenceReader.h"
#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

using testsupport::writeTempFile;

// A fresh output directory for every run, so that no run finds another's files.
toolstest::ToolRun runOn(const std::vector<std::string>& more) {
    static int runs = 0;
    std::vector<std::string> args = {
        "--config",    writeTempFile("config.json", testsupport::configJson("Neuropilot")),
        "--model",     writeTempFile("model.tflite", testsupport::plainModel()),
        "--prop",      "vendor.standin.runtime.mode=script",
        "--cache-dir", testsupport::tempDir() + "/cache",
        "--out",       testsupport::tempDir() + "/out" + std::to_string(++runs)};
    args.insert(args.end(), more.begin(), more.end());
    return toolstest::runTool("bodyseg", args);
}

const size_t kFrameBytes = 64 * 48 * 3 / 2;

TEST(SequenceTool, TwoFrameDumpGivesVideoTableAndMaskStream) {
    const std::string dump = writeTempFile("two.nv21", std::vector<uint8_t>(2 * kFrameBytes, 128));
    const auto run = runOn({"--size", "64x48", "--raw-mask", dump});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("frames 0 to 1 of 2"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("steadiness: IoU with the previous frame"), std::string::npos);
    const std::string out = testsupport::tempDir() + "/out1/two";
    EXPECT_EQ(std::filesystem::file_size(out + "_masks.bin"), 2u * 155952);
    for (const char* png : {"_first", "_middle", "_last", "_least_steady"})
        EXPECT_TRUE(std::filesystem::exists(out + "_overlay" + png + ".png")) << png;

    const bodyseg::Input video{out + "_overlay.y4m", "", bodyseg::InputKind::Y4m};
    bodyseg::SequenceReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(video, bodyseg::PixelFormat::NV21, 0, {}, &error)) << error;
    EXPECT_EQ(reader.frameCount(), 2u);  // upright: 48x64
    const std::vector<uint8_t> table = toolstest::readBytes(out + "_steadiness.csv");
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 3);  // a heading and two frames
}

struct BadSequence {
    const char* file;
    std::string bytes;
    std::string options;  // one option and its value, or empty
    std::string message;  // found in the one line of stderr
    int exitCode;
};

TEST(SequenceTool, BadSequenceInputsGetOneLine) {
    const std::string frame(kFrameBytes, '\x80');
    const BadSequence cases[] = {
        {"cut.y4m", "YUV4MPEG2 W64 H48", "", "truncated YUV4MPEG2 header (no end of line)", 1},
        {"nosize.y4m", "YUV4MPEG2 W64 F30:1\n", "", "header without W and H", 1},
        {"444.y4m", "YUV4MPEG2 W64 H48 C444\n", "", "unsupported colour space C444", 1},
        {"short.y4m", "YUV4MPEG2 W64 H48\nFRAME\n" + frame.substr(9), "",
         "frame 0 is cut short: 4599 of 4608 bytes", 1},
        {"partial.nv21", frame + frame.substr(8), "",
         "ends in a partial frame of 4600 bytes after 1 frames of NV21 64x48", 1},
        {"empty.nv21", frame, "--frames=3:3", "--frames 3:3 selects no frame", 2},
        {"past.nv21", frame + frame, "--frames=2:", "--frames 2: selects no frame of", 1},
    };
    for (const BadSequence& c : cases) {
        std::vector<std::string> args = {"--size", "64x48", writeTempFile(c.file, c.bytes)};
        if (!c.options.empty())
            args.insert(args.begin(), c.options);
        const auto run = runOn(args);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.file;
        EXPECT_EQ(run.err.rfind("bodyseg: ", 0), 0u) << c.file;
        EXPECT_NE(run.err.find(c.message), std::string::npos) << c.file << ": " << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << c.file;
    }
}

TEST(SequenceTool, NothingIsOverwrittenWithoutForce) {
    const std::string out = testsupport::tempDir() + "/pan.y4m";
    writeTempFile("pan.y4m", std::string("kept"));
    const auto run = toolstest::runTool("bodyseg", {"pan", "photo.png", out});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "bodyseg: " + out + " exists (use --force to overwrite)\n");
}

}  // namespace
