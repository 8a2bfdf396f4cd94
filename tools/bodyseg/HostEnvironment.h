// What a phone provides before the plug-in runs: system properties in the process-wide store the
// plug-in reads, and the vendor AI runtime already loaded, so that the plug-in's own
// dlopen("libtflite_mtk.so") or dlopen("libneuron_runtime.6.so") finds it by its soname.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bodyseg {

// Sets each property with __system_property_set, in order; false names the first refused one.
bool setProperties(const std::vector<std::pair<std::string, std::string>>& properties,
                   std::string* error);

// Loads the runtime library at `path` with RTLD_NOW | RTLD_GLOBAL and keeps it loaded.
bool makeRuntimeAvailable(const std::string& path, std::string* error);

}  // namespace bodyseg
