// The built plug-in, loaded the way a camera host loads it.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "PluginPaths.h"

namespace apitest {

class LoadedPlugin {
  public:
    LoadedPlugin() : handle_(dlopen(testsupport::pluginPath().c_str(), RTLD_NOW | RTLD_LOCAL)) {}
    ~LoadedPlugin() {
        if (handle_ != nullptr)
            dlclose(handle_);
    }
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;

    bool loaded() const { return handle_ != nullptr; }
    static std::string error() {
        const char* text = dlerror();
        return text != nullptr ? text : "";
    }

    // The exported symbol `name` as a `Fn`, or null.
    template <typename Fn>
    Fn symbol(const char* name) const {
        return reinterpret_cast<Fn>(dlsym(handle_, name));
    }

  private:
    void* handle_;
};

}  // namespace apitest
