// Where the build put the plug-in and the stand-in libraries, and the test program's scratch
// directory.
#pragma once

#include <string>

namespace testsupport {

std::string pluginPath();  // the built libVLAlgoCamAIBeautyBodyDetection.so
std::string standinDir();  // the stand-in vendor runtimes
std::string binaryDir();   // the tools
std::string sourceDir();   // the source tree
std::string tempDir();     // a fresh directory for this test program, removed at its exit

}  // namespace testsupport
