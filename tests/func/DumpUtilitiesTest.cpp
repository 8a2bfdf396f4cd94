// Debug dump helpers: palette visualisation, directory creation and raw file writing.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BodySegmentFunc.h"
#include "VerboseLog.h"
#include "PluginPaths.h"

namespace functest {
namespace {

std::vector<unsigned char> readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(FuncVisualBgr, EachLabelBecomesItsThreePaletteBytes) {
    unsigned char palette[3][3] = {{0, 0, 0}, {10, 20, 30}, {200, 100, 50}};
    const unsigned char labels[] = {2, 0, 1, 2};
    std::vector<unsigned char> dst(3 * 4 + 1, 0xEE);
    EXPECT_EQ(0, bodysegment::visual_bgr(labels, 4, dst.data(), palette));
    const std::vector<unsigned char> want = {200, 100, 50, 0, 0, 0, 10, 20, 30, 200, 100, 50, 0xEE};
    EXPECT_EQ(want, dst);

    std::vector<unsigned char> untouched(3, 0xEE);
    EXPECT_EQ(0, bodysegment::visual_bgr(labels, 0, untouched.data(), palette));
    EXPECT_EQ(std::vector<unsigned char>(3, 0xEE), untouched);
}

TEST(FuncVisualBgr, NullArgumentsAreRefused) {
    unsigned char palette[1][3] = {{1, 2, 3}};
    const unsigned char labels[] = {0};
    unsigned char dst[3] = {};
    struct NullCase {
        const char* name;
        const unsigned char* labels;
        unsigned char* dst;
        unsigned char (*palette)[3];
    };
    const NullCase cases[] = {
        {"labels", nullptr, dst, palette},
        {"dst", labels, nullptr, palette},
        {"palette", labels, dst, nullptr},
    };
    for (const NullCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LogCapture log;
        EXPECT_EQ(-1, bodysegment::visual_bgr(c.labels, 1, c.dst, c.palette));
        EXPECT_EQ(1u, log.lines().size());
        EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "visual_bgr", "send nullptr to visual_bgr"));
    }
}

TEST(FuncMakeDir, CreatesAMissingDirectoryWithOwnerOnlyAccess) {
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
}

TEST(FuncMakeDir, MissingParentFailsWithErrnoAndItsText) {
    const std::string path = testsupport::tempDir() + "/no_such_parent/child";
    VerboseLog verbose;
    testsupport::LogCapture log;
    EXPECT_EQ(-1, bodysegment::make_dir(path.c_str()));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_INFO, "make_dir", path + " not existing, now make it"));
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "make_dir",
                           "mkdir error: errno_2, No such file or directory"));
    EXPECT_EQ(2u, log.lines().size());
}

TEST(FuncWriteFile, WritesTheBytesUnchangedAndTruncates) {
    const std::string path = testsupport::tempDir() + "/dump.bin";
    const std::vector<unsigned char> longer(100, 'x');
    bodysegment::writeFile(path, longer.data(), static_cast<unsigned>(longer.size()));

    const std::vector<unsigned char> bytes = {0x00, '\n', '\r', 0xFF, 0x1A, 0x00, 'a'};
    VerboseLog verbose;
    testsupport::LogCapture log;
    bodysegment::writeFile(path, bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(bytes, readAll(path));
    EXPECT_TRUE(
        loggedOnce(log, ANDROID_LOG_INFO, "writeFile", "write to " + path + " successfully"));
    EXPECT_EQ(1u, log.lines().size());
}

TEST(FuncWriteFile, UnopenablePathIsReported) {
    const std::string path = testsupport::tempDir() + "/no_such_dir/dump.bin";
    const unsigned char byte = 1;
    VerboseLog verbose;
    testsupport::LogCapture log;
    bodysegment::writeFile(path, &byte, 1);
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_ERROR, "writeFile", "output file not found"));
    EXPECT_EQ(1u, log.lines().size());
}

}  // namespace
}  // namespace functest
