// Helpers shared by the assist tests (and the end-to-end host): temporary files.
#pragma once

#include <fstream>
#include <string>

#include "PluginPaths.h"

namespace assisttest {

inline std::string writeTempFile(const std::string& name, const std::string& bytes) {
    const std::string path = testsupport::tempDir() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    return path;
}

}  // namespace assisttest
