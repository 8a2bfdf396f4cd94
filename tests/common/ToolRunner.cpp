#include "ToolRunner.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "PluginPaths.h"

namespace toolstest {

namespace {

std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

std::string tempPath(const std::string& name) {
    return testsupport::tempDir() + "/" + name;
}

ToolRun runTool(const std::string& tool, const std::vector<std::string>& args) {
    const std::string out = tempPath("tool.out");
    const std::string err = tempPath("tool.err");
    std::string command = quoted(testsupport::binaryDir() + "/" + tool);
    for (const std::string& arg : args)
        command += " " + quoted(arg);
    command += " >" + quoted(out) + " 2>" + quoted(err);
    const int status = std::system(command.c_str());
    const int exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return {exitCode, readText(out), readText(err)};
}

std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace toolstest
