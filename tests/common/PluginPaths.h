// Where the build put the plug-in, the stand-in libraries and the tools.
#pragma once

#include <string>

namespace testsupport {

std::string pluginPath();     // the built libVLAlgoCamAIBeautyBodyDetection.so
std::string libraryDir();     // directory of every shared library the build makes
std::string standinDir();     // the stand-in vendor runtimes
std::string standinOldDir();  // a Neuron Runtime from before loading networks from memory
std::string binaryDir();      // directory of the tools
std::string sourceDir();      // the source tree
std::string tempDir();        // a fresh directory for this test program, removed at its exit

}  // namespace testsupport
