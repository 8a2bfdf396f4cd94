#include "ToolPaths.h"

#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace bodyseg {

namespace {

// The lib/ beside the tool's own bin/ directory.
std::string libraryDirectory() {
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0)
        return "../lib";
    const std::filesystem::path exe(std::string(path, static_cast<size_t>(length)));
    return (exe.parent_path().parent_path() / "lib").string();
}

}  // namespace

std::string defaultPluginPath() {
    return libraryDirectory() + "/libVLAlgoCamAIBeautyBodyDetection.so";
}

std::string defaultStandinDir() {
    return libraryDirectory() + "/standin";
}

std::string defaultCacheDir() {
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/bodyseg-cache";
}

const char* runtimeLibraryName(Runtime runtime) {
    return runtime == Runtime::Neuron ? "libneuron_runtime.6.so" : "libtflite_mtk.so";
}

}  // namespace bodyseg
