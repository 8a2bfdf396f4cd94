// The two stand-in vendor runtimes in script mode, made available the way a phone image provides
// them: loaded globally before the plug-in binds its vendor functions, so its own dlopen by name
// finds them. Loaded once per fuzz process and never unloaded.
#pragma once

#include <cstdint>

namespace fuzzsupport {

// Selects script mode and loads both libraries; false (with a message on standard error) when
// either cannot be loaded. Call from LLVMFuzzerInitialize, before the first handle is made.
bool loadScriptedRuntimes();

// Vendor objects (interpreters, options, runtime instances) still alive in either library.
int64_t liveVendorObjects();

}  // namespace fuzzsupport
