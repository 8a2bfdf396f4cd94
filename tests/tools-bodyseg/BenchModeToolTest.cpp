// bodyseg bench: the report's shape for N frames, and what it says when stage lines are missing.
#include <gtest/gtest.h>

#include <regex>

#include "TestInputs.h"
#include "ToolRunner.h"

namespace {

using toolstest::runTool;

toolstest::ToolRun bench(const std::vector<std::string>& more) {
    std::vector<std::string> args = {"bench"};
    const std::vector<std::string> host =
        bodysegtest::hostArgs(bodysegtest::writeConfig("bench.json", "NeuronRuntime"),
                              bodysegtest::writeModel("bench.bin", 4096));
    args.insert(args.end(), host.begin(), host.end());
    args.insert(args.end(), more.begin(), more.end());
    return runTool("bodyseg", args);
}

const char kNumber[] = "[0-9]+\\.[0-9]{2}";

std::string row(const std::string& name) {
    return "\n  " + name + " +" + kNumber + " +" + kNumber + " +" + kNumber + "\n";
}

TEST(BenchMode, ReportsMedianP90P99PerStageAndFramesPerSecond) {
    const auto run = bench({"--frames", "5", "--warmup", "2", "--size", "320x240", "--format",
                            "nv12", "--stride", "384", "--scan", "256", "--orientation", "270"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("bench: 5 frames after 2 warm-up, synthetic NV12 320x240, stride 384, "
                           "scan 256, orientation 270\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("\n  stage               median       p90       p99   (ms)\n"),
              std::string::npos)
        << run.out;
    for (const char* stage :
         {"pre-processing", "inference", "post-processing", "label shift", "whole call"}) {
        EXPECT_TRUE(std::regex_search(run.out, std::regex(row(stage)))) << stage << run.out;
    }
    EXPECT_TRUE(std::regex_search(
        run.out, std::regex(std::string("\nframes per second: [0-9]+\\.[0-9]{2} \\(5 whole calls "
                                        "in [0-9]+\\.[0-9] ms\\)\n"))))
        << run.out;
    EXPECT_EQ(run.out.find("note: "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nrelease: SDK_SUCCESS (0)\n"), std::string::npos) << run.out;
}

TEST(BenchMode, SaysWhyStageTimesAreMissing) {
    const auto run = bench({"--frames", "2", "--size", "64x48", "--log-level", "1"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("\n  inference              n/a       n/a       n/a\n"),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(std::regex_search(run.out, std::regex(row("whole call")))) << run.out;
    EXPECT_NE(run.out.find("note: stage times come from the plug-in's DEBUG lines"),
              std::string::npos)
        << run.out;
}

TEST(BenchMode, DefaultsToAFullHdFrame) {
    const auto run = bench({"--frames", "1", "--warmup", "0"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("bench: 1 frames after 0 warm-up, synthetic NV21 1920x1080, stride "
                           "1920, scan 1080, orientation 90\n"),
              std::string::npos)
        << run.out;
}

}  // namespace
