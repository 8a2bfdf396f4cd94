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

// Opens every vendor function that returns a status: counts the call and returns the status a
// test injected for this function, if any.
#define STANDIN_ENTER()                                                 \
    if (int32_t injected = ::standin::libraryState().enter(__func__)) { \
        return injected;                                                \
    }

// One ERROR line on the Android log under the library's tag.
void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The whole file, or false.
bool readFile(const char* path, std::vector<uint8_t>* bytes);

}  // namespace standin
