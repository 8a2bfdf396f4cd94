// Takes over the Android log for a fuzz target: nothing is printed (a million refused inputs would
// otherwise drown the fuzzer's own report), but the ERROR lines of the current input are kept so
// that a target can check how many were written and what they say.
#pragma once

#include <string>
#include <vector>

namespace fuzzsupport {

// Installs the capturing logger; call once, from LLVMFuzzerInitialize.
void captureLog();

// The ERROR lines since the last clear, oldest first.
const std::vector<std::string>& errorLines();
void clearLog();

}  // namespace fuzzsupport
