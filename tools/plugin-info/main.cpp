// bodyseg-info: loads the plug-in as a camera host would and reports what it offers.
// Usage: bodyseg-info [path/to/libVLAlgoCamAIBeautyBodyDetection.so]
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "BodySegmentAPI.h"

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : "libVLAlgoCamAIBeautyBodyDetection.so";
    void* plugin = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        std::fprintf(stderr, "bodyseg-info: cannot load %s: %s\n", path.c_str(), dlerror());
        return 1;
    }
    auto getApi = reinterpret_cast<int (*)(BodySegAlgoAPI*)>(dlsym(plugin, "getAlgoAPI"));
    if (getApi == nullptr) {
        std::fprintf(stderr, "bodyseg-info: %s has no getAlgoAPI\n", path.c_str());
        return 1;
    }
    BodySegAlgoAPI api = {};
    const int status = getApi(&api);
    if (status != 0) {
        std::fprintf(stderr, "bodyseg-info: getAlgoAPI failed with %d\n", status);
        return 1;
    }
    std::printf("plug-in : %s\n", path.c_str());
    std::printf("version : %s\n", api.getVersion ? api.getVersion() : "(no getVersion)");
    const char* slots[] = {"getVersion",    "setLogLevel",   "statusToString", "algoInitHandle",
                           "setParameters", "getParameters", "processImage",   "releaseHandle"};
    const void* const* table = reinterpret_cast<const void* const*>(&api);
    std::printf("getAlgoAPI table:\n");
    for (int i = 0; i < 8; ++i)
        std::printf("  [%d] %-15s %s\n", i, slots[i], table[i] ? "present" : "not yet available");
    return 0;
}
