// The installed kit, used as an integrator uses it: the build installed into a fresh prefix, the
// installed bodyseg run with nothing but its own location to find the plug-in and the stand-ins,
// and a host project built against the installed package that loads the plug-in it names.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "PluginPaths.h"
#include "TestInputs.h"

namespace {

const std::string kTemp = testsupport::tempDir();
const std::string kPlugin = "/lib/libVLAlgoCamAIBeautyBodyDetection.so";

// Runs `command` in a shell and expects it to succeed; returns what it printed.
std::string expectRuns(const std::string& command) {
    const std::string log = kTemp + "/command.log";
    const int status = std::system((command + " >'" + log + "' 2>&1").c_str());
    const std::vector<uint8_t> bytes = testsupport::readFileBytes(log);
    const std::string output(bytes.begin(), bytes.end());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command << ":\n" << output;
    return output;
}

// The build installed into a fresh prefix; a host project built against the installed package, then
// the installed bodyseg, each loading the installed plug-in.
TEST(InstallTest, InstalledKitRunsAndBuildsAHostProject) {
    expectRuns(BODYSEG_CMAKE " --install '" BODYSEG_BUILD_DIR "' --prefix '" + kTemp + "/p'");
    const std::string prefix = std::filesystem::weakly_canonical(kTemp + "/p").string();
    const std::string build = kTemp + "/host-build";
    expectRuns(BODYSEG_CMAKE " -G '" BODYSEG_GENERATOR "' -DCMAKE_CXX_COMPILER='" BODYSEG_CXX
                             "' -S '" BODYSEG_HOST_PROJECT "' -B '" +
               build + "' -DCMAKE_PREFIX_PATH='" + prefix + "'");
    expectRuns(BODYSEG_CMAKE " --build '" + build + "'");
    const std::string host = expectRuns("'" + build + "/host'");
    EXPECT_EQ(host.rfind(prefix + kPlugin + " ", 0), 0u) << host;
    EXPECT_NE(host.find("SDK_SUCCESS"), std::string::npos) << host;

    const std::string output = expectRuns(
        prefix + "/bin/bodyseg --prop vendor.standin.runtime.mode=script --config " +
        testsupport::writeTempFile("config.json", testsupport::configJson("Neuropilot")) +
        " --model " + testsupport::writeTempFile("model.bin", testsupport::plainModel()) +
        " --cache-dir " + kTemp + "/cache --out " + kTemp + "/out --size 32x24 " +
        testsupport::writeTempFile("frame.nv21", std::string(32 * 24 * 3 / 2, '\x10')));
    EXPECT_NE(output.find(prefix + "/lib/bodyseg/standin/libtflite_mtk.so"), std::string::npos);
    EXPECT_NE(output.find(prefix + kPlugin), std::string::npos) << output;
    const std::vector<uint8_t> mask = testsupport::readFileBytes(kTemp + "/out/frame_mask.png");
    ASSERT_GE(mask.size(), 24u);  // the PNG header's width and height: 456 x 342
    EXPECT_EQ(std::vector<uint8_t>(mask.begin() + 16, mask.begin() + 24),
              (std::vector<uint8_t>{0, 0, 1, 200, 0, 0, 1, 86}));
}

}  // namespace
