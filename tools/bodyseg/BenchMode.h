// bodyseg's bench mode: one synthetic frame sent N times, reported per stage as median, p90, p99
// and frames per second.
#pragma once

#include "Options.h"

namespace bodyseg {

// Exit status: 0 when every frame succeeded and the release succeeded, else 1.
int runBench(const Options& options);

}  // namespace bodyseg
