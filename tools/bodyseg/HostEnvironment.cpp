#include "HostEnvironment.h"

#include <dlfcn.h>
#include <sys/system_properties.h>

namespace bodyseg {

bool setProperties(const std::vector<std::pair<std::string, std::string>>& properties,
                   std::string* error) {
    for (const auto& [key, value] : properties) {
        if (__system_property_set(key.c_str(), value.c_str()) != 0) {
            *error = "cannot set property " + key + ": values hold at most " +
                     std::to_string(PROP_VALUE_MAX - 1) +
                     " bytes and a \"ro.\" property is set only once";
            return false;
        }
    }
    return true;
}

bool makeRuntimeAvailable(const std::string& path, std::string* error) {
    if (dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr) {
        *error = "cannot load the runtime: " + std::string(dlerror());
        return false;
    }
    return true;
}

}  // namespace bodyseg
