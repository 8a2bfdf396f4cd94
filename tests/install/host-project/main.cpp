// Loads the plug-in from the path the package gives and fills its table, as a camera host does.
#include <dlfcn.h>
#include <stdio.h>

#include "BodySegmentAPI.h"
#include "StatusCodes.h"

int main() {
    void* plugin = dlopen(BODYSEG_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    auto getTable = reinterpret_cast<decltype(&getAlgoAPI)>(dlsym(plugin, "getAlgoAPI"));
    BodySegAlgoAPI table{};
    if (getTable == nullptr || getTable(&table) != SDK_SUCCESS || table.getVersion == nullptr)
        return 1;
    printf("%s %s %s\n", BODYSEG_PLUGIN, table.getVersion(), table.statusToString(SDK_SUCCESS));
    return dlclose(plugin);
}
