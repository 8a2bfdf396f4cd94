#include "PluginPaths.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace testsupport {

std::string pluginPath() {
    return BODYSEG_PLUGIN_PATH;
}
std::string standinDir() {
    return BODYSEG_STANDIN_DIR;
}
std::string binaryDir() {
    return BODYSEG_BIN_DIR;
}
std::string sourceDir() {
    return BODYSEG_SOURCE_DIR;
}

namespace {

std::string* gTempDir = nullptr;
pid_t gTempDirOwner = 0;

int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

// Only the process that made the directory removes it: forked children leave it to their parent.
void removeTempDir() {
    if (gTempDir != nullptr && getpid() == gTempDirOwner) {
        nftw(gTempDir->c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
}

}  // namespace

std::string tempDir() {
    static std::string dir = [] {
        const char* base = getenv("TMPDIR");
        std::string pattern = std::string(base ? base : "/tmp") + "/bodyseg-test-XXXXXX";
        char* made = mkdtemp(&pattern[0]);
        if (made == nullptr)
            return std::string("/tmp");
        gTempDir = new std::string(made);
        gTempDirOwner = getpid();
        atexit(removeTempDir);
        return *gTempDir;
    }();
    return dir;
}

}  // namespace testsupport
