// Runs one of the built tools as a separate process and collects what it printed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace toolstest {

struct ToolRun {
    int exitCode;
    std::string out;
    std::string err;
};

// `tool` is a program name in the build's binary directory; arguments are passed unchanged.
ToolRun runTool(const std::string& tool, const std::vector<std::string>& args);

std::string tempPath(const std::string& name);
std::vector<uint8_t> readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace toolstest
