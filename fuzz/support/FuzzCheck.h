// A broken invariant in a fuzz target: the message goes to standard error and the process aborts,
// which libFuzzer records as a crash and saves the input that caused it.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition, ...)                                                         \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "fuzz check failed at %s:%d: %s\n  ", __FILE__, __LINE__, \
                         #condition);                                                      \
            std::fprintf(stderr, __VA_ARGS__);                                             \
            std::fprintf(stderr, "\n");                                                    \
            std::abort();                                                                  \
        }                                                                                  \
    } while (0)
