#include "StandinRuntimes.h"

#include <dlfcn.h>
#include <sys/system_properties.h>

#include <cstdio>
#include <string>

#include "standin_control.h"

namespace fuzzsupport {

namespace {

struct Runtime {
    const char* file;
    const char* liveKeys[2];
    void* handle;
};

Runtime gRuntimes[] = {
    {"libtflite_mtk.so", {"live_options", "live_interpreters"}, nullptr},
    {"libneuron_runtime.6.so", {"live_runtimes", nullptr}, nullptr},
};

}  // namespace

bool loadScriptedRuntimes() {
    __system_property_set(STANDIN_MODE_PROPERTY, STANDIN_MODE_SCRIPT);
    for (Runtime& runtime : gRuntimes) {
        const std::string path = std::string(BODYSEG_STANDIN_DIR) + "/" + runtime.file;
        runtime.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
        if (runtime.handle == nullptr) {
            std::fprintf(stderr, "cannot load the stand-in runtime %s: %s\n", path.c_str(),
                         dlerror());
            return false;
        }
    }
    return true;
}

int64_t liveVendorObjects() {
    int64_t live = 0;
    for (const Runtime& runtime : gRuntimes) {
        auto recorded = reinterpret_cast<decltype(&standin_recorded_int)>(
            dlsym(runtime.handle, "standin_recorded_int"));
        for (const char* key : runtime.liveKeys) {
            int64_t count = 0;
            if (key != nullptr && recorded != nullptr && recorded(key, &count))
                live += count;
        }
    }
    return live;
}

}  // namespace fuzzsupport
