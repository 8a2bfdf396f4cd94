// bodyseg's pan mode: a demonstration sequence that needs nothing but a photo. A window slides
// from the photo's left edge to its right edge, and each view is written as the frame a sensor
// mounted at --orientation delivers, one .y4m frame each, so that a run with the same orientation
// sees an upright, moving scene.
#pragma once

#include "Options.h"

namespace bodyseg {

// Exit status: 0 when the video was written, 1 for an unreadable photo, a window that does not
// fit, an existing output without --force or a failed write.
int runPan(const Options& options);

}  // namespace bodyseg
