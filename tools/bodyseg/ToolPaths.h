// Where the tool looks for what it was not told about, from its own location (/proc/self/exe):
// first the installed kit's layout (bin/, lib/, lib/bodyseg/standin/), then the build's (bin/,
// lib/, lib/standin/), so that one binary works from the build tree and from any install prefix.
#pragma once

#include <string>

#include "Options.h"

namespace bodyseg {

std::string defaultPluginPath();  // <lib dir>/libVLAlgoCamAIBeautyBodyDetection.so
std::string defaultStandinDir();  // the stand-in runtimes' directory
std::string defaultCacheDir();    // $TMPDIR/bodyseg-cache, /tmp without TMPDIR

// The library that provides a runtime's C ABI, by the name the plug-in opens it with.
const char* runtimeLibraryName(Runtime runtime);

}  // namespace bodyseg
