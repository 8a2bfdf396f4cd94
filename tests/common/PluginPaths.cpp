#include "PluginPaths.h"

#include <stdlib.h>
#include <unistd.h>

namespace testsupport {

std::string pluginPath() {
    return BODYSEG_PLUGIN_PATH;
}
std::string libraryDir() {
    return BODYSEG_LIB_DIR;
}
std::string standinDir() {
    return BODYSEG_STANDIN_DIR;
}
std::string standinOldDir() {
    return BODYSEG_STANDIN_OLD_DIR;
}
std::string binaryDir() {
    return BODYSEG_BIN_DIR;
}
std::string sourceDir() {
    return BODYSEG_SOURCE_DIR;
}

std::string tempDir() {
    static std::string dir = [] {
        const char* base = getenv("TMPDIR");
        std::string pattern = std::string(base ? base : "/tmp") + "/bodyseg-test-XXXXXX";
        char* made = mkdtemp(&pattern[0]);
        return std::string(made ? made : "/tmp");
    }();
    return dir;
}

}  // namespace testsupport
