// Counts the heap blocks the whole process asks for while a body runs. The test program that
// links MallocCounter.cpp interposes the C allocator, so every library, the stand-in runtimes
// included, allocates through it. Only for builds without a sanitizer: their runtimes own malloc.
#pragma once

#include <functional>

namespace mtktest {

// Calls of malloc, calloc and realloc, from any thread, while `body` ran.
long mallocsDuring(const std::function<void()>& body);

}  // namespace mtktest
