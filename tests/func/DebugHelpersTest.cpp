// The helpers around the frame path: palette visualisation, dump directories and files, and the
// stopwatches. No duration is asserted, only where it is measured from.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <time.h>

#include <string>
#include <vector>

#include "BodySegmentFunc.h"
#include "PluginPaths.h"
#include "ToolRunner.h"
#include "VerboseLog.h"

namespace functest {
namespace {

TEST(FuncVisualBgr, EachLabelBecomesItsThreePaletteBytes) {
    unsigned char palette[3][3] = {{0, 0, 0}, {10, 20, 30}, {200, 100, 50}};
    const unsigned char labels[] = {2, 0, 1, 2};
    std::vector<unsigned char> dst(3 * 4 + 1, 0xEE);
    EXPECT_EQ(0, bodysegment::visual_bgr(labels, 4, dst.data(), palette));
    const std::vector<unsigned char> want = {200, 100, 50, 0, 0, 0, 10, 20, 30, 200, 100, 50, 0xEE};
    EXPECT_EQ(want, dst);
}

TEST(FuncMakeDir, CreatesOwnerOnlyOnceAndReportsAMissingParentWithErrno) {
    const std::string path = testsupport::tempDir() + "/made_by_make_dir";
    VerboseLog verbose;
    testsupport::LogCapture log;
    EXPECT_EQ(0, bodysegment::make_dir(path.c_str()));
    struct stat info {};
    ASSERT_EQ(0, stat(path.c_str(), &info));
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(0700u, info.st_mode & 07777u);
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "make_dir", path + " not existing, now make it"));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "make_dir", "make successfully"));
    EXPECT_EQ(2u, log.lines().size());

    log.clear();
    EXPECT_EQ(0, bodysegment::make_dir(path.c_str()));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "make_dir", path + " existing"));
    EXPECT_EQ(1u, log.lines().size());

    log.clear();
    const std::string orphan = testsupport::tempDir() + "/no_such_parent/child";
    EXPECT_EQ(-1, bodysegment::make_dir(orphan.c_str()));
    EXPECT_TRUE(
        loggedOnce(log, ANDROID_LOG_INFO, "make_dir", orphan + " not existing, now make it"));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "make_dir",
                           "mkdir error: errno_2, No such file or directory"));
    EXPECT_EQ(2u, log.lines().size());
}

TEST(FuncWriteFile, WritesTheBytesUnchangedAndTruncatesOrReportsAnUnopenablePath) {
    const std::string path = testsupport::tempDir() + "/dump.bin";
    const std::vector<unsigned char> longer(100, 'x');
    bodysegment::writeFile(path, longer.data(), static_cast<unsigned>(longer.size()));

    const std::vector<unsigned char> bytes = {0x00, '\n', '\r', 0xFF, 0x1A, 0x00, 'a'};
    VerboseLog verbose;
    testsupport::LogCapture log;
    bodysegment::writeFile(path, bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(bytes, toolstest::readBytes(path));
    EXPECT_TRUE(
        loggedOnce(log, ANDROID_LOG_INFO, "writeFile", "write to " + path + " successfully"));
    EXPECT_EQ(1u, log.lines().size());

    log.clear();
    bodysegment::writeFile(testsupport::tempDir() + "/no_such_dir/dump.bin", bytes.data(), 1);
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "writeFile", "output file not found"));
    EXPECT_EQ(1u, log.lines().size());
}

unsigned long long clockMicros() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000000ULL +
           static_cast<unsigned long long>(now.tv_nsec) / 1000ULL;
}

// The milliseconds of the one DEBUG line "<label> = <ms> ms".
unsigned long long loggedMillis(const testsupport::LogCapture& log, const std::string& label) {
    const auto lines = log.matching("time_end() " + label + " = ");
    EXPECT_EQ(1u, lines.size());
    if (lines.size() != 1)
        return 0;
    const std::string& text = lines[0].text;
    const size_t from = text.find(label + " = ") + label.size() + 3;
    const unsigned long long ms = std::stoull(text.substr(from));
    EXPECT_TRUE(
        loggedOnce(log, ANDROID_LOG_DEBUG, "time_end", label + " = " + std::to_string(ms) + " ms"));
    return ms;
}

// A stopwatch that ended is reset to 0, so ending it again (or one never started) reports the
// clock's absolute value.
TEST(FuncStopwatch, MeasuresTheMonotonicClockInMicrosecondsAndLogsOnlyAtDebug) {
    testsupport::LogCapture log;
    unsigned long long t = 0;
    bodysegment::time_start(&t);
    bodysegment::time_end(&t, "release time");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(0u, t);

    VerboseLog verbose;
    const unsigned long long before = clockMicros();
    bodysegment::time_start(&t);
    const unsigned long long started = t;
    EXPECT_LE(before, started);
    bodysegment::time_end(&t, "pre process bodysegment time");
    const unsigned long long ended = clockMicros();
    EXPECT_LE(started, ended);
    EXPECT_EQ(0u, t);
    EXPECT_LE(loggedMillis(log, "pre process bodysegment time"), (ended - started) / 1000);

    const unsigned long long from = clockMicros() / 1000;
    bodysegment::time_end(&t, "lable redistribute time");
    const unsigned long long absolute = loggedMillis(log, "lable redistribute time");
    EXPECT_LE(from, absolute);
    EXPECT_LE(absolute, clockMicros() / 1000);
}

}  // namespace
}  // namespace functest
