#include <time.h>

#include "BodySegmentFunc.h"
#include "LogPrintf.h"

namespace bodysegment {

namespace {

unsigned long long monotonicMicros() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000000ULL +
           static_cast<unsigned long long>(now.tv_nsec) / 1000ULL;
}

}  // namespace

void time_start(unsigned long long* t) {
    *t = monotonicMicros();
}

// A stopwatch that was never started (0) therefore reports the clock's absolute value.
void time_end(unsigned long long* t, const char* label) {
    const unsigned long long elapsed = monotonicMicros() - *t;
    *t = 0;
    KAVO_LOGD("%s = %llu ms", label, elapsed / 1000ULL);
}

}  // namespace bodysegment
