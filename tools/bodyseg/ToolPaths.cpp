#include "ToolPaths.h"

#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace bodyseg {

namespace {

const char* const kPluginName = "libVLAlgoCamAIBeautyBodyDetection.so";

// The directory of the running executable; relative paths resolve against the working directory
// when the link cannot be read.
std::filesystem::path toolDirectory() {
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0)
        return ".";
    return std::filesystem::path(std::string(path, static_cast<size_t>(length))).parent_path();
}

// `installed` (relative to the tool) when it exists, otherwise `built`: a build tree never holds
// the installed layout, and an install prefix never holds the build's.
std::string installedOrBuilt(const std::string& installed, const std::string& built) {
    const std::filesystem::path dir = toolDirectory();
    std::error_code error;
    if (std::filesystem::exists(dir / installed, error))
        return (dir / installed).lexically_normal().string();
    return (dir / built).lexically_normal().string();
}

}  // namespace

std::string defaultPluginPath() {
    return installedOrBuilt(std::string(BODYSEG_INSTALLED_LIB_DIR) + "/" + kPluginName,
                            std::string(BODYSEG_BUILT_LIB_DIR) + "/" + kPluginName);
}

std::string defaultStandinDir() {
    return installedOrBuilt(BODYSEG_INSTALLED_STANDIN_DIR, BODYSEG_BUILT_STANDIN_DIR);
}

std::string defaultCacheDir() {
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/bodyseg-cache";
}

const char* runtimeLibraryName(Runtime runtime) {
    return runtime == Runtime::Neuron ? "libneuron_runtime.6.so" : "libtflite_mtk.so";
}

}  // namespace bodyseg
