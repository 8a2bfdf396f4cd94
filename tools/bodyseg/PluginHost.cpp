#include "PluginHost.h"

#include <dlfcn.h>

namespace bodyseg {

namespace {

// dlsym's object pointer as the function type the export has.
template <typename Fn>
Fn symbol(void* library, const char* name) {
    return reinterpret_cast<Fn>(dlsym(library, name));
}

}  // namespace

bool PluginHost::load(const std::string& path, TableKind table, std::string* error) {
    table_ = table;
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        *error = "cannot load the plug-in: " + std::string(dlerror());
        return false;
    }
    const std::string name = exportName();
    int status = 0;
    bool complete = false;
    if (table == TableKind::GetAlgoAPI) {
        auto get = symbol<int (*)(BodySegAlgoAPI*)>(library, "getAlgoAPI");
        if (get == nullptr) {
            *error = path + " has no getAlgoAPI";
            return false;
        }
        status = get(&api_);
        statusToString_ = api_.statusToString;
        complete = api_.getVersion && api_.setLogLevel && api_.statusToString &&
                   api_.algoInitHandle && api_.processImage && api_.releaseHandle;
    } else {
        auto get = symbol<int (*)(BodySegAlgoAPIV1*)>(library, "get_algo_api");
        if (get == nullptr) {
            *error = path + " has no get_algo_api";
            return false;
        }
        status = get(&apiV1_);
        statusToString_ = symbol<BodySegStatusToStringFn>(library, "statusToString");
        complete = apiV1_.getVersion && apiV1_.setLogLevel && apiV1_.algoInitHandle &&
                   apiV1_.processImage && apiV1_.releaseHandle && statusToString_;
    }
    if (status != 0) {
        *error = name + " failed with " + std::to_string(status);
        return false;
    }
    if (!complete) {
        *error = name + " left a slot this host calls empty";
        return false;
    }
    return true;
}

const char* PluginHost::exportName() const {
    return table_ == TableKind::GetAlgoAPI ? "getAlgoAPI" : "get_algo_api";
}

const char* PluginHost::version() const {
    return table_ == TableKind::GetAlgoAPI ? api_.getVersion() : apiV1_.getVersion();
}

std::string PluginHost::statusText(int code) const {
    const char* name = statusToString_(code);
    if (name == nullptr)
        return std::to_string(code) + " (no name)";
    return std::string(name) + " (" + std::to_string(code) + ")";
}

void PluginHost::setLogLevel(int level) const {
    (table_ == TableKind::GetAlgoAPI ? api_.setLogLevel : apiV1_.setLogLevel)(level);
}

int PluginHost::init(void** handle, BodySegInitParam* param) const {
    return (table_ == TableKind::GetAlgoAPI ? api_.algoInitHandle : apiV1_.algoInitHandle)(handle,
                                                                                           param);
}

int PluginHost::process(void* handle, Image* in, Image* out) const {
    if (table_ == TableKind::GetAlgoAPI) {
        InputImage input = {in};
        return api_.processImage(handle, &input, out, nullptr, nullptr);
    }
    return apiV1_.processImage(handle, in, out, nullptr, nullptr);
}

int PluginHost::release(void* handle) const {
    return (table_ == TableKind::GetAlgoAPI ? api_.releaseHandle : apiV1_.releaseHandle)(handle,
                                                                                         nullptr);
}

}  // namespace bodyseg
