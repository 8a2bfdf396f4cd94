// One frame through the handle: the input and output Image records filled as a camera host fills
// them, the whole call timed by the tool, and the plug-in's own stage times and error lines taken
// from its log.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "Frame.h"
#include "PluginLog.h"
#include "Session.h"
#include "StageTimes.h"

namespace bodyseg {

struct FrameResult {
    int status = 0;
    double callMs = 0;  // processImage as the tool timed it
    StageTimes stages;
    std::vector<std::string> errorLines;  // what the plug-in logged at ERROR during the call
};

// `mask` receives BODYSEG_MASK_BYTES label bytes.
FrameResult sendFrame(const Session& session, Frame& frame, uint8_t* mask);

// "processImage failed: SDK_FAILURE (65535)" and the plug-in's error lines, one a line.
std::string describeFailure(const Session& session, const FrameResult& result);

}  // namespace bodyseg
