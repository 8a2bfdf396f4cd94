#include "ResizeTaps.h"

#include <algorithm>

namespace hostengine {

std::vector<ResizeTap> resizeTaps(int32_t in, int32_t out, const OpOptions& options) {
    const float scale = options.alignCorners && out > 1 ? static_cast<float>(in - 1) / (out - 1)
                                                        : static_cast<float>(in) / out;
    std::vector<ResizeTap> taps(static_cast<size_t>(out));
    for (int32_t o = 0; o < out; ++o) {
        const float mapped = options.halfPixelCenters ? (o + 0.5f) * scale - 0.5f : o * scale;
        const float source = std::clamp(mapped, 0.0f, static_cast<float>(in - 1));
        const int32_t first = static_cast<int32_t>(source);
        taps[o] = ResizeTap{first, std::min(first + 1, in - 1), source - static_cast<float>(first)};
    }
    return taps;
}

bool resizeScratchFits(int64_t batches, int64_t outRows, int64_t floatsPerBand) {
    constexpr long double kMaxScratchBytes = 64.0L * 1024 * 1024;
    const int64_t bandsPerMap = (outRows + static_cast<int64_t>(kResizeBandRows) - 1) /
                                static_cast<int64_t>(kResizeBandRows);
    return static_cast<long double>(batches) * bandsPerMap * floatsPerBand * sizeof(float) <=
           kMaxScratchBytes;
}

}  // namespace hostengine
