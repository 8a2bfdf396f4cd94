// The plug-in's entry points. Hosts reach them only through the tables of BodySegmentAPI.h.
#pragma once

#include "BodySegmentAPI.h"

namespace bodysegment {

// "body-detection_mtk-neuropilot6_342x456_V2.0.6", the same pointer on every call.
const char* getVersion();
void setLogLevel(int level);

}  // namespace bodysegment
