// The installed kit, used as an integrator uses it: the build installed into a fresh prefix, the
// installed bodyseg run with nothing but its own location to find the plug-in and the stand-ins,
// and a host project built against the installed package that loads the plug-in it names.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "ImageIo.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace {

const std::string kTemp = testsupport::tempDir();
const std::string kPlugin = "/lib/libVLAlgoCamAIBeautyBodyDetection.so";

// Runs `command` in a shell and expects it to succeed; returns what it printed.
std::string expectRuns(const std::string& command) {
    const std::string log = kTemp + "/command.log";
    const int status = std::system((command + " >'" + log + "' 2>&1").c_str());
    std::ifstream in(log);
    const std::string output{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command << ":\n" << output;
    return output;
}

// The build installed once, under the test program's temporary directory.
std::string installedPrefix() {
    static const std::string prefix = [] {
        expectRuns(BODYSEG_CMAKE " --install '" BODYSEG_BUILD_DIR "' --prefix '" + kTemp + "/p'");
        return std::filesystem::weakly_canonical(kTemp + "/p").string();
    }();
    return prefix;
}

TEST(InstallTest, InstalledBodysegFindsTheInstalledPluginAndStandins) {
    const std::string prefix = installedPrefix();
    std::string error;
    ASSERT_TRUE(
        bodyseg::writePng(kTemp + "/photo.png", {32, 24, std::vector<uint8_t>(2304, 99)}, &error));
    const std::string output = expectRuns(
        prefix + "/bin/bodyseg --prop vendor.standin.runtime.mode=script --config " +
        testsupport::writeTempFile("config.json", testsupport::configJson("Neuropilot")) +
        " --model " + testsupport::writeTempFile("model.bin", testsupport::plainModel()) +
        " --cache-dir " + kTemp + "/cache --out " + kTemp + "/out " + kTemp + "/photo.png");
    EXPECT_NE(output.find(prefix + "/lib/bodyseg/standin/libtflite_mtk.so"), std::string::npos);
    EXPECT_NE(output.find(prefix + kPlugin), std::string::npos) << output;
    bodyseg::RgbImage mask;
    ASSERT_TRUE(bodyseg::readPhoto(kTemp + "/out/photo_mask.png", &mask, &error)) << error;
    EXPECT_EQ(mask.width, 456);
    EXPECT_EQ(mask.height, 342);
}

TEST(InstallTest, HostProjectBuildsAgainstThePackageAndLoadsThePlugin) {
    const std::string prefix = installedPrefix();
    const std::string build = kTemp + "/host-build";
    expectRuns(BODYSEG_CMAKE " -G '" BODYSEG_GENERATOR "' -DCMAKE_CXX_COMPILER='" BODYSEG_CXX
                             "' -S '" BODYSEG_HOST_PROJECT "' -B '" +
               build + "' -DCMAKE_PREFIX_PATH='" + prefix + "'");
    expectRuns(BODYSEG_CMAKE " --build '" + build + "'");
    const std::string output = expectRuns("'" + build + "/host'");
    EXPECT_EQ(output.rfind(prefix + kPlugin + " ", 0), 0u) << output;
    EXPECT_NE(output.find("SDK_SUCCESS"), std::string::npos) << output;
}

}  // namespace
