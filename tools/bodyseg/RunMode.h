// bodyseg's run mode: every input through one handle, masks and overlays written per input.
#pragma once

#include "Options.h"

namespace bodyseg {

// Exit status: 0 when every input was written and the release succeeded, else 1.
int runInputs(const Options& options);

}  // namespace bodyseg
