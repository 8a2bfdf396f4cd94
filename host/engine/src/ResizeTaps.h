// Where each output row or column of TFLite's RESIZE_BILINEAR samples its input, for the engine's
// own resizing kernels: the source position (by the operator's sampling mode) clamped into the
// input, its two neighbours and the weight of the second.
#pragma once

#include <cstdint>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

struct ResizeTap {
    int32_t first = 0;
    int32_t second = 0;
    float weight = 0.0f;
};

// `in` and `out` are positive extents of one dimension.
std::vector<ResizeTap> resizeTaps(int32_t in, int32_t out, const OpOptions& options);

}  // namespace hostengine
