// What of the frame path a host cannot reach through the boundary: the refusals and libyuv failure
// reports of the processing functions, and the debug helpers (palette visualisation, dump files,
// the directory maker's other paths). The stopwatches are pinned by the verbose log-line table.
#include <android/log.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "BodySegmentFunc.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace {

using testsupport::onlyLine;

TEST(Func, RefusalsAndFailingLibyuvStagesReturnTheirResultWithOneErrorLine) {
    const std::vector<uint8_t> frame(640 * 480 * 3 / 2, 100);
    std::vector<uint8_t> tmp(frame.size()), scaled(342 * 456 * 3 / 2), rotated(scaled.size());
    std::vector<uint8_t> out(342 * 456 * 3, 0xA5), labels(342 * 456);
    unsigned char palette[1][3] = {{1, 2, 3}};
    bodysegment::Settings s, zeroWidth, noNetwork;
    s.width = s.stride = 640;
    s.height = s.scan = 480;
    zeroWidth = noNetwork = s;
    zeroWidth.width = 0;
    noNetwork.net_width = 0;
    // Any one null argument is refused without writing anything.
    for (int missing = 0; missing < 3; ++missing) {
        SCOPED_TRACE("null argument " + std::to_string(missing));
        const auto keep = [&](auto* p, int slot) { return slot == missing ? nullptr : p; };
        const std::tuple<const char*, const char*, std::function<int()>> refusals[] = {
            {"pre_process_bodysegment", "pre_proces_bodysegment",
             [&] {
                 return bodysegment::pre_process_bodysegment(
                     keep(frame.data(), 0), keep(out.data(), 1), tmp.data(), scaled.data(),
                     rotated.data(), keep(&s, 2));
             }},
            {"post_process_bodysegment", "post_proces_bodysegment",
             [&] {
                 return bodysegment::post_process_bodysegment(keep(out.data(), 0),
                                                              keep(labels.data(), 1), keep(&s, 2));
             }},
            {"visual_bgr", "visual_bgr", [&] {
                 return bodysegment::visual_bgr(keep(labels.data(), 0), 1, keep(out.data(), 1),
                                                keep(palette, 2));
             }}};
        for (const auto& [function, name, call] : refusals) {
            testsupport::LogCapture log;
            EXPECT_EQ(call(), -1);
            EXPECT_TRUE(
                onlyLine(log, ANDROID_LOG_ERROR, function, std::string("send nullptr to ") + name));
            EXPECT_EQ(out, std::vector<uint8_t>(out.size(), 0xA5));
        }
    }
    // Pre-processing returns the sum of the libyuv results: a zero width fails the conversion and
    // the scaling, and only the scaling for a format that is not converted.
    for (const auto& [type, result] : {std::pair{5, -2}, std::pair{7, -1}}) {
        zeroWidth.image_type = type;
        testsupport::LogCapture log;
        EXPECT_EQ(bodysegment::pre_process_bodysegment(frame.data(), out.data(), tmp.data(),
                                                       scaled.data(), rotated.data(), &zeroWidth),
                  result);
        EXPECT_TRUE(onlyLine(log, ANDROID_LOG_ERROR, "pre_process_bodysegment",
                             "pre_proces_bodysegment failed"));
    }
    testsupport::LogCapture log;
    EXPECT_EQ(bodysegment::post_process_bodysegment(out.data(), labels.data(), &noNetwork), -1);
    EXPECT_TRUE(onlyLine(log, ANDROID_LOG_ERROR, "post_process_bodysegment",
                         "post_proces_bodysegment failed"));
}

TEST(Func, DebugHelpersWritePaletteBytesDumpFilesAndReportTheirFailures) {
    unsigned char palette[3][3] = {{0, 0, 0}, {10, 20, 30}, {200, 100, 50}};
    const unsigned char labels[] = {2, 0, 1, 2};
    std::vector<unsigned char> bgr(3 * 4 + 1, 0xEE);
    EXPECT_EQ(0, bodysegment::visual_bgr(labels, 4, bgr.data(), palette));
    EXPECT_EQ(bgr,
              (std::vector<unsigned char>{200, 100, 50, 0, 0, 0, 10, 20, 30, 200, 100, 50, 0xEE}));

    testsupport::LogLevelScope verbose(15);
    const std::string path = testsupport::writeTempFile("dump.bin", std::string(100, 'x'));
    const std::vector<uint8_t> bytes = {0x00, '\n', '\r', 0xFF, 0x1A, 0x00, 'a'};
    testsupport::LogCapture log;
    bodysegment::writeFile(path, bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(testsupport::readFileBytes(path), bytes) << "not truncated, or bytes changed";
    EXPECT_TRUE(onlyLine(log, ANDROID_LOG_INFO, "writeFile", "write to " + path + " successfully"));
    log.clear();
    bodysegment::writeFile(testsupport::tempDir() + "/no_such_dir/dump.bin", bytes.data(), 1);
    EXPECT_TRUE(onlyLine(log, ANDROID_LOG_ERROR, "writeFile", "output file not found"));

    // Making a missing directory is pinned through the boundary (the NeuroPilot cache directory).
    log.clear();
    EXPECT_EQ(0, bodysegment::make_dir(testsupport::tempDir().c_str()));
    EXPECT_TRUE(onlyLine(log, ANDROID_LOG_INFO, "make_dir", testsupport::tempDir() + " existing"));
    log.clear();
    const std::string orphan = testsupport::tempDir() + "/no_such_parent/child";
    EXPECT_EQ(-1, bodysegment::make_dir(orphan.c_str()));
    EXPECT_EQ(testsupport::messages(log, ANDROID_LOG_INFO),
              std::vector<std::string>{orphan + " not existing, now make it"});
    EXPECT_TRUE(testsupport::loggedOnce(log, ANDROID_LOG_ERROR, "make_dir",
                                        "mkdir error: errno_2, No such file or directory"));
    EXPECT_EQ(log.lines().size(), 2u);
}

}  // namespace
