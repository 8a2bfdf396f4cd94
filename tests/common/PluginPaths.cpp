#include "PluginPaths.h"

#include <dirent.h>
#include <ftw.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

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

// A program killed outright (a crash, a timeout) cannot remove its directory; the next program
// removes every directory whose owner, named in it, no longer exists.
void removeDirectoriesOfEndedPrograms(const std::string& base) {
    DIR* dir = opendir(base.c_str());
    if (dir == nullptr)
        return;
    const std::string prefix = "bodyseg-test-";
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        char* end = nullptr;
        const long owner =
            name.rfind(prefix, 0) == 0 ? std::strtol(name.c_str() + prefix.size(), &end, 10) : 0;
        if (owner > 0 && *end == '-' && kill(static_cast<pid_t>(owner), 0) != 0 && errno == ESRCH)
            nftw((base + "/" + name).c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    closedir(dir);
}

}  // namespace

std::string tempDir() {
    static std::string dir = [] {
        const char* tmp = getenv("TMPDIR");
        const std::string base = tmp ? tmp : "/tmp";
        removeDirectoriesOfEndedPrograms(base);
        std::string pattern = base + "/bodyseg-test-" + std::to_string(getpid()) + "-XXXXXX";
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
