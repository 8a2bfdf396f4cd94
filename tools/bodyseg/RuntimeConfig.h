// The runtime side of the model configuration: which runtime a file selects, and a copy of a file
// that selects another one. The root "AISDK" picks the "ParamGroup" entry, so one file can carry a
// group per runtime and the runtime is switched by that root member alone. Whether the file is
// usable is the plug-in's judgement, not the tool's.
#pragma once

#include <string>

#include "Options.h"

namespace bodyseg {

// The configuration's word for a runtime: "Neuropilot" or "NeuronRuntime".
const char* runtimeWord(Runtime runtime);

// The runtime named by the file's root "AISDK"; false when the file cannot be read, is not a JSON
// object, or names neither runtime.
bool configuredRuntime(const std::string& path, Runtime* runtime);

// A temporary copy of a configuration with its root "AISDK" replaced; removed when destroyed.
class RuntimeConfigCopy {
  public:
    RuntimeConfigCopy() = default;
    ~RuntimeConfigCopy();
    RuntimeConfigCopy(const RuntimeConfigCopy&) = delete;
    RuntimeConfigCopy& operator=(const RuntimeConfigCopy&) = delete;

    bool write(const std::string& source, Runtime runtime, std::string* error);
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace bodyseg
