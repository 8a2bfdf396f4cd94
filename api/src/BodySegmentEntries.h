// The plug-in's entry points. Hosts reach them only through the tables of BodySegmentAPI.h.
#pragma once

#include "BodySegmentAPI.h"

namespace bodysegment {

// "body-detection_mtk-neuropilot6_342x456_V2.0.6", the same pointer on every call.
const char* getVersion();
void setLogLevel(int level);

// Handle creation and release. `param` is a BodySegInitParam. Results: 0, SDK_FAILURE (65535), and
// from releaseHandle SDK_MEMORY_FREE_ERR (1040) when the final leak check finds memory still held.
int algoInitHandle(void** handle, void* param);
int algoInitHandleV1(void** handle, void* param);
int releaseHandle(void* handle, void* reserved);
int releaseHandleV1(void* handle, void* reserved);

// One frame: NV21/NV12 in, 456 x 342 label mask out. 0 or SDK_FAILURE.
int processImage(void* handle, InputImage* in, Image* out, void* reserved0, void* reserved1);
int processImageV1(void* handle, Image* in, Image* out, void* reserved0, void* reserved1);

// Present only to fill their table slots: log "the function not support" and return 0.
int setParameters(void* handle, void* params);
int getParameters(void* handle, void* params);

}  // namespace bodysegment
