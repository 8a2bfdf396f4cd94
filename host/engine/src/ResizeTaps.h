// Where each output row or column of TFLite's RESIZE_BILINEAR samples its input, for the engine's
// own resizing kernels: the source position (by the operator's sampling mode) clamped into the
// input, its two neighbours and the weight of the second. Also how those kernels split their work.
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

// Output rows per task of the engine's resizing kernels: enough to reuse each input row they
// resample, few enough to share a frame-sized map among the pool's threads.
constexpr size_t kResizeBandRows = 32;

// Whether `floatsPerBand` floats of scratch for each band of `batches` maps of `outRows` rows stay
// within 64 MiB. Shapes that would need more are left to XNNPACK, whose memory the engine bounds.
bool resizeScratchFits(int64_t batches, int64_t outRows, int64_t floatsPerBand);

}  // namespace hostengine
