// Where the tool looks for what it was not told about: the build (and install) layout puts the
// tool in bin/, the plug-in in lib/ and the runtime stand-ins in lib/standin/.
#pragma once

#include <string>

#include "Options.h"

namespace bodyseg {

std::string defaultPluginPath();  // <tool dir>/../lib/libVLAlgoCamAIBeautyBodyDetection.so
std::string defaultStandinDir();  // <tool dir>/../lib/standin
std::string defaultCacheDir();    // $TMPDIR/bodyseg-cache, /tmp without TMPDIR

// The library that provides a runtime's C ABI, by the name the plug-in opens it with.
const char* runtimeLibraryName(Runtime runtime);

}  // namespace bodyseg
