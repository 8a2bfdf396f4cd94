// What each stand-in library provides to the shared parts: its own state and its log tag, and the
// small helpers every vendor function uses.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "StandinState.h"

namespace standin {

// Defined once per library.
State& libraryState();
const char* logTag();

// One ERROR line on the Android log under the library's tag.
void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The whole file, or false.
bool readFile(const char* path, std::vector<uint8_t>* bytes);

}  // namespace standin
